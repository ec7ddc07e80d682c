#include "tests/golden/busy_scene.h"

#include <algorithm>
#include <cstdlib>

#include "tests/support/test_config.h"

namespace golden {
namespace {

using test::Point;

constexpr int kWalkers = 56;
constexpr int kWidth = 960, kHeight = 544;
constexpr int kRawWidth = 480, kRawHeight = 256;
constexpr uint16_t kFloorMm = 3000;

enum Habit { kAcross, kAlong, kTurnsBack, kWaits, kStands, kHabits };

// Scrambles a number into 32 bits that look random.
uint32_t scramble(uint32_t n) {
    n = (n ^ (n >> 16)) * 0x7feb352du;
    n = (n ^ (n >> 15)) * 0x846ca68bu;
    return n ^ (n >> 16);
}

int between(uint32_t seed, int low, int high) {
    return low + static_cast<int>(scramble(seed) % static_cast<uint32_t>(high - low + 1));
}

// A walker in one of its rounds: it comes, does what it does, and goes.
struct Round {
    Habit habit;
    Point from, to;
    int length;  // frames
    int gap;     // frames without the walker before the next round
    int side_px;
    int height_mm;
    bool adult;
    bool by_depth;  // seen by the depth model only
};

// Walkers 0 and 1, 2 and 3, ... of the first twelve go side by side.
Round round_of(int walker, int round) {
    const bool pair = walker < 12;
    const auto seed = static_cast<uint32_t>((pair ? walker / 2 : walker) * 1000 + round) * 16u;
    Round r{};
    r.habit = pair ? kAcross : static_cast<Habit>(walker % kHabits);
    const int x = between(seed, 60, kWidth - 60);
    const int y = between(seed + 1, 60, kHeight - 60);
    const bool forth = scramble(seed + 2) % 2 == 0;
    const int aside = pair ? 70 * (walker % 2) : 0;
    switch (r.habit) {
        case kAcross:
        case kTurnsBack:
            r.from = {x + aside, forth ? 20 : kHeight - 20};
            r.to = {x + aside + between(seed + 3, -80, 80), forth ? kHeight - 20 : 20};
            break;
        case kAlong:
            r.from = {forth ? 20 : kWidth - 20, y};
            r.to = {forth ? kWidth - 20 : 20, y + between(seed + 3, -60, 60)};
            break;
        case kWaits:
            r.from = {x, y};
            r.to = {x + between(seed + 3, -50, 50), y + between(seed + 4, -50, 50)};
            break;
        default:
            r.from = r.to = {x, y};
    }
    r.length = between(seed + 5, 40, r.habit == kWaits || r.habit == kStands ? 400 : 110);
    r.gap = between(seed + 6, 15, 120);
    r.side_px = between(seed + 7, 44, 90);
    r.height_mm = between(seed + 8, 1450, 1900);
    if (walker % 17 == 16) r.height_mm = between(seed + 8, 300, 2700);
    r.adult = walker % 9 != 8;
    r.by_depth = walker % 7 == 6;
    return r;
}

struct Seen {
    int walker;
    Point centre;
    Round round;
};

Point place(const Round& r, int step) {
    const int whole = 1000;
    int part = whole * step / r.length;
    if (r.habit == kTurnsBack) part = std::min(part, whole - part);
    if (r.habit == kWaits) part = std::abs(2 * part - whole);
    return {r.from.x + (r.to.x - r.from.x) * part / whole,
            r.from.y + (r.to.y - r.from.y) * part / whole};
}

// Who is in view at a frame; a walker of twenty is missed, for one frame or for six.
std::vector<Seen> people_at(int frame) {
    std::vector<Seen> seen;
    for (int walker = 0; walker < kWalkers; ++walker) {
        int start = 7 * walker % 90;
        for (int n = 0; start <= frame; ++n) {
            const Round round = round_of(walker, n);
            const int step = frame - start;
            start += round.length + round.gap;
            if (step >= round.length) continue;
            const auto seed = static_cast<uint32_t>(walker * 5000 + frame);
            const auto slow = static_cast<uint32_t>(walker * 5000 + frame / 6);
            if (scramble(seed) % 20 == 0 || scramble(slow + 77) % 40 == 0) continue;
            seen.push_back({walker, place(round, step), round});
        }
    }
    return seen;
}

test::Person person_of(const Seen& seen, int frame) {
    const auto seed = static_cast<uint32_t>(seen.walker * 7000 + frame);
    const int side = seen.round.side_px + between(seed, -3, 3);
    test::Person p;
    p.x = seen.centre.x - side / 2 + between(seed + 1, -2, 2);
    p.y = seen.centre.y - side / 2 + between(seed + 2, -2, 2);
    p.w = side + between(seed + 3, -2, 2);
    p.h = side;
    p.class_id = seen.round.adult ? 1 : 2;
    p.score = static_cast<float>(between(seed + 4, 40, 99)) / 100.0f;
    return p;
}

// A head half as wide as the box, with shoulders around it.
void draw(std::vector<uint16_t>& raw, const test::Person& p, int height_mm) {
    const int cx = (2 * p.x + p.w) / 4, cy = (2 * p.y + p.h) * kRawHeight / kHeight / 2;
    const int radius = std::max(p.w / 4, 1);
    for (int y = std::max(cy - radius, 0); y < std::min(cy + radius, kRawHeight); ++y) {
        for (int x = std::max(cx - radius, 0); x < std::min(cx + radius, kRawWidth); ++x) {
            const int d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
            const int down = d2 * 4 < radius * radius ? d2 : 250 + d2;
            uint16_t& pixel = raw[static_cast<size_t>(y * kRawWidth + x)];
            pixel = static_cast<uint16_t>(std::min<int>(pixel, kFloorMm - height_mm + down));
        }
    }
}

std::vector<uint16_t> floor_image(int frame) {
    std::vector<uint16_t> raw(size_t{kRawWidth} * kRawHeight);
    for (size_t i = 0; i < raw.size(); ++i) {
        const uint32_t noise =
            scramble(static_cast<uint32_t>(frame) * 131u + static_cast<uint32_t>(i / 8));
        raw[i] = noise % 61 == 0 ? uint16_t{0} : static_cast<uint16_t>(kFloorMm - 8 + noise % 17);
    }
    return raw;
}

void set_regions(VCA_ALGO_CFG_S& cfg, int shift) {
    test::set_region(cfg, 0, {{40 + shift, 60}, {420, 40}, {380, 300}, {60, 260 + shift}});
    test::set_region(cfg, 1, {{400, 200}, {700 + shift, 220}, {660, 500}, {430, 470}});
    test::set_region(cfg, 2, {{700, 40}, {930, 60}, {900, 260 - shift}, {800, 120}, {710, 250}});
    test::set_region(cfg, 3, {{20, 300}, {200, 310}, {110 + shift, 520}});
}

}  // namespace

VCA_ALGO_CFG_S busy_config(VCA_WORK_MODE_E mode, int phase) {
    VCA_ALGO_CFG_S cfg = test::plain_config();
    cfg.devWorkMode = mode;
    cfg.StandAloneTrk = phase == 1 ? 0 : 1;
    cfg.TargetHeightMin = 800;
    cfg.TargetHeightMax = 2200;
    cfg.GenderRecognize = cfg.StaffDetection = 1;
    cfg.ChildDistinction = 1;
    cfg.ChildHeightThresh = 1500;
    cfg.GroupEn = 1;
    cfg.HtmpEn = 1;
    cfg.ShowDetectBox = cfg.ShowHistoryBox = 1;
    const bool flip = phase == 2;
    test::set_line(cfg, 0, {{20, 150}, {480, 170 + 30 * phase}, {940, 150}}, flip);
    test::set_line(cfg, 1, {{60, 272}, {900, 272}}, !flip);
    test::set_line(cfg, 2, {{480, 40}, {500, 200}, {470, 350}, {490, 500}}, false);
    test::set_line(cfg, 3, {{100, 420}, {860, 400 - 20 * phase}}, false);
    if (phase > 0) test::set_uturn(cfg, 3, {});
    test::set_uturn(cfg, 1, {{60, 200}, {900, 200}, {900, 350}, {60, 350}});
    set_regions(cfg, 12 * phase);
    test::set_exclusion(cfg, 0, 0, {{900, 470}, {955, 470}, {955, 540}, {900, 540}});
    test::set_exclusion(cfg, 1, 1, {{5, 5}, {60, 5}, {60, 60}, {5, 60}});
    if (mode == VCA_WORK_MASTER) {
        cfg.cscdMapSize[2] = 1400;
        cfg.cscdMapSize[3] = 800;
    }
    return cfg;
}

test::Frame busy_frame(int frame) {
    test::Frame f;
    f.flag = 70'000u + static_cast<uint32_t>(frame) * 3u;
    f.raw = floor_image(frame);
    for (const Seen& seen : people_at(frame)) {
        const test::Person p = person_of(seen, frame);
        if (seen.round.habit != kStands) draw(f.raw, p, seen.round.height_mm);
        if (!seen.round.by_depth) f.colour.push_back(p);
        if (seen.round.by_depth || frame % 3 == seen.walker % 3) f.depth.push_back(p);
    }
    f.has_raw = frame % 97 != 96;
    f.has_depth = frame % 211 != 210;
    return f;
}

int64_t busy_step_us(int frame) {
    if (frame == 1234) return -3'000'000;
    if (frame % 400 == 399) return 900'000;
    return 66'000 + 250 * (frame % 5);
}

MASTER_MSG_S busy_report(uint32_t slave, int frame) {
    MASTER_MSG_S report{};
    report.slave_idx = slave;
    report.msg.frame = static_cast<uint32_t>(frame);
    for (const Seen& seen : people_at(frame)) {
        const bool shared = slave == 0 ? seen.centre.x > 600 : seen.centre.y > 350;
        const bool own = seen.walker % 5 == static_cast<int>(slave);
        if ((!shared && !own) || report.msg.count == VCA_SLAVE_TRACK_MAX) continue;
        SLAVE_TRACK_S& track = report.msg.tracks[report.msg.count++];
        const auto seed = static_cast<uint32_t>(seen.walker * 9000 + frame) * 2u + slave;
        track.track_id = static_cast<uint32_t>(seen.walker + 1);
        track.class_id = VCA_CLASS_PERSON;
        track.score = 0.75f;
        track.gender = seen.walker % 3;
        track.height = static_cast<float>(seen.round.height_mm);
        track.staff = seen.walker % 11 == 0;
        const int shift = own && !shared ? 500 : 0;
        track.cx = seen.centre.x + shift + between(seed, -6, 6);
        track.cy = seen.centre.y + shift / 2 + between(seed + 1, -6, 6);
        track.foot_x = track.cx + between(seed + 2, -4, 4);
        track.foot_y = track.cy + between(seed + 3, -4, 4);
    }
    return report;
}

NearestTracker::Target* NearestTracker::nearest(const IOU_TRK_OBJ_S& object,
                                                const std::vector<int32_t>& taken) {
    constexpr int32_t kReach = 2 * 70;
    Target* best = nullptr;
    int32_t best_distance = kReach;
    for (Target& target : targets_) {
        const int32_t distance = std::abs(target.x - (2 * object.x + object.w)) +
                                 std::abs(target.y - (2 * object.y + object.h));
        if (distance >= best_distance) continue;
        if (std::find(taken.begin(), taken.end(), target.id) != taken.end()) continue;
        best = &target;
        best_distance = distance;
    }
    return best;
}

IOU_TRK_RSLT_S NearestTracker::update(const std::vector<IOU_TRK_OBJ_S>& objects) {
    constexpr int kMissingMax = 8;
    for (Target& target : targets_)
        ++target.missing;
    IOU_TRK_RSLT_S result{};
    std::vector<int32_t> taken;
    for (const IOU_TRK_OBJ_S& object : objects) {
        if (result.num == VCA_TRK_MAX) break;
        Target* target = nearest(object, taken);
        if (target == nullptr) target = &targets_.emplace_back(Target{next_id_++, 0, 0, 0});
        *target = {target->id, 2 * object.x + object.w, 2 * object.y + object.h, 0};
        taken.push_back(target->id);
        result.objs[result.num] = object;
        result.objs[result.num++].id = target->id;
    }
    std::erase_if(targets_, [](const Target& target) { return target.missing > kMissingMax; });
    return result;
}

}  // namespace golden
