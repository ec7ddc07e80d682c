// The master's merge written down plainly.
#include "tests/cascade/merge_model.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

namespace cascade {
namespace {

constexpr size_t kCandidates = 128;
constexpr uint32_t kDevices = 16;

// i32 arithmetic that wraps.
int32_t add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
int32_t mul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Truncates toward zero and stays within i32.
int32_t truncated(float value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483648.0f) return INT_MAX;
    if (value < -2147483648.0f) return INT_MIN;
    return static_cast<int32_t>(value);
}

float iou_of(const DET_OBJ_S& a, const DET_OBJ_S& b) {
    const int32_t left = std::max(a.x, b.x), right = std::min(add(a.x, a.w), add(b.x, b.w));
    const int32_t top = std::max(a.y, b.y), bottom = std::min(add(a.y, a.h), add(b.y, b.h));
    const int32_t w = std::max(0, sub(right, left)), h = std::max(0, sub(bottom, top));
    const auto inter = static_cast<float>(mul(w, h));
    return inter / (static_cast<float>(mul(a.w, a.h)) + static_cast<float>(mul(b.w, b.h)) - inter);
}

void make_square(DET_OBJ_S& box, int32_t side) {
    box.x = sub(add(box.x, box.w / 2), side / 2);
    box.y = sub(add(box.y, box.h / 2), side / 2);
    box.w = box.h = side;
    box.area = mul(side, side);
}

int32_t mean(int32_t a, int32_t b) {
    return truncated(0.5f * static_cast<float>(a) + 0.5f * static_cast<float>(b));
}

void fold(DET_OBJ_S& a, const DET_OBJ_S& b) {
    a.x = mean(a.x, b.x);
    a.y = mean(a.y, b.y);
    a.w = mean(a.w, b.w);
    a.h = mean(a.h, b.h);
    if (a.staff != 1) a.staff = b.staff;
    if (a.gender == VCA_GENDER_UNKNOWN) a.gender = b.gender;
    if (b.height > a.height) a.height = b.height;
    if (b.score > a.score) a.score = b.score;
}

void mark(Candidate& c) {
    c.merged = true;
    c.match.reserved3 = c.centre.reserved3 = 0x01000000u;  // the record's last byte
}

void fold_into_last(Merged& out, bool written, const Candidate& c) {
    if (!written) return;
    fold(out.objs[out.num - 1], c.match);
    fold(out.raw_objs[out.num - 1], c.centre);
}

bool append(Merged& out, const Candidate& c) {
    if (out.num >= 128) return false;
    out.objs[out.num] = c.match;
    out.raw_objs[out.num] = c.centre;
    ++out.num;
    return true;
}

// The unmerged person of a device who overlaps `box` best; null when nobody does.
Candidate* best_of(std::vector<Candidate>& all, uint32_t device, const DET_OBJ_S& box) {
    Candidate* best = nullptr;
    float best_iou = -0.1f;
    for (Candidate& c : all) {
        if (c.merged || c.match.aux0 != device) continue;
        const float iou = iou_of(c.match, box);
        if (!(iou > best_iou)) continue;
        best_iou = iou;
        best = &c;
    }
    return best_iou > 0.01f ? best : nullptr;
}

DET_OBJ_S square_of(const Report& report, uint32_t device, uint32_t frame, int32_t x, int32_t y,
                    int32_t side) {
    DET_OBJ_S box{};
    box.reserved0 = report.id;
    box.aux0 = device;
    box.reserved1 = frame;
    box.x = sub(x, side / 2);
    box.y = sub(y, side / 2);
    box.w = box.h = side;
    box.class_id = report.class_id;
    box.score = report.score;
    box.gender = report.gender;
    box.height = report.height;
    box.staff = report.staff;
    return box;
}

}  // namespace

int32_t square_side(int32_t install_height_mm) {
    const int32_t limited = std::clamp(install_height_mm, 2000, 6000);
    const float low = 1.0f - static_cast<float>(limited - 2000) / 4000.0f;
    return truncated(std::fma(180.0f, low, 60.0f) + 0.5f);
}

bool takes_part(const TRACKER_RSLT_S& trk, int32_t install_height_mm) {
    const float span = install_height_mm < 2400 ? 1.0f : 2.0f;
    const float still = trk.moveIoU < 0.0f ? 0.0f : trk.moveIoU > 1.0f ? 1.0f : trk.moveIoU;
    const int32_t grace = std::max(1, truncated(span * still + 1.0f + 0.5f));
    return trk.lostCnt < grace && trk.age >= 1 && trk.curObj.w >= 11 && trk.curObj.h >= 11;
}

std::vector<Candidate> collect(const std::vector<TRACKER_RSLT_S>& tracks,
                               const std::vector<SlaveState>& slaves, int32_t install_height_mm) {
    const int32_t side = square_side(install_height_mm);
    std::vector<Candidate> all;
    for (const TRACKER_RSLT_S& trk : tracks) {
        if (!takes_part(trk, install_height_mm) || all.size() == kCandidates) continue;
        Candidate c{trk.footBox, trk.curObj};
        c.match.aux0 = c.centre.aux0 = 0;
        c.match.reserved1 = c.centre.reserved1 = trk.lastFrm;
        all.push_back(c);
    }
    for (size_t index = 0; index < slaves.size(); ++index) {
        const SlaveState& slave = slaves[index];
        const auto device = static_cast<uint32_t>(index + 1);
        for (int32_t k = 0; k < std::min(slave.count, 90); ++k) {
            if (all.size() == kCandidates) break;
            const auto place = static_cast<size_t>(k);
            // a message that claims more people than were put into it holds zeros there
            Report report{0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
            if (place < slave.reports.size()) report = slave.reports[place];
            all.push_back(
                {square_of(report, device, slave.frame, report.foot_x, report.foot_y, side),
                 square_of(report, device, slave.frame, report.cx, report.cy, side)});
        }
    }
    for (Candidate& c : all) {
        make_square(c.match, side);
        make_square(c.centre, side);
    }
    return all;
}

Merged merge_plainly(std::vector<Candidate> all) {
    Merged out;
    for (;;) {
        float best = -0.1f;
        size_t first = 0, second = 0;
        for (size_t i = 0; i < all.size(); ++i)
            for (size_t j = 0; j < all.size(); ++j) {
                if (all[i].merged || all[j].merged) continue;
                if (all[i].match.aux0 == all[j].match.aux0) continue;
                const float iou = iou_of(all[i].match, all[j].match);
                if (!(iou > best)) continue;
                best = iou;
                first = i;
                second = j;
            }
        if (!(best > 0.01f)) break;
        mark(all[first]);
        mark(all[second]);
        bool in_group[kDevices] = {};
        in_group[all[first].match.aux0] = in_group[all[second].match.aux0] = true;
        const bool written = append(out, all[first]);
        fold_into_last(out, written, all[second]);
        for (uint32_t device = 0; device < kDevices; ++device) {
            if (in_group[device]) continue;
            Candidate* joining = best_of(all, device, all[first].match);
            if (joining == nullptr) continue;
            mark(*joining);
            in_group[device] = true;
            fold_into_last(out, written, *joining);
        }
    }
    for (Candidate& c : all) {
        if (c.merged) continue;
        mark(c);
        append(out, c);
    }
    return out;
}

std::string difference(const VCA_NN_RESULT_S& result, const Merged& want) {
    const DET_OBJECTS_S& have = result.objects;
    if (have.num != want.num)
        return std::to_string(have.num) + " objects instead of " + std::to_string(want.num);
    for (const uint8_t byte : result.header)
        if (byte != 0x6B) return "header was written";
    const std::pair<const DET_OBJ_S*, const DET_OBJ_S*> lists[] = {{have.objs, want.objs},
                                                                   {have.raw_objs, want.raw_objs}};
    for (const auto& [mine, other] : lists)
        for (int i = 0; i < 128; ++i) {
            if (fix::same(mine[i], other[i])) continue;
            std::vector<uint8_t> a(64), b(64);
            std::memcpy(a.data(), &mine[i], 64);
            std::memcpy(b.data(), &other[i], 64);
            const auto at = std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin();
            return (mine == have.objs ? "match box " : "centre box ") + std::to_string(i) +
                   ", byte " + std::to_string(at);
        }
    return "";
}

}  // namespace cascade
