#include "bench/soak_host.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "tests/support/fake_platform.h"

namespace soak {
namespace {

constexpr size_t kFailuresKept = 10;

// Follows people by the nearest centre; what it cannot follow gets a new id.
class NearestTracker {
  public:
    void reset_all() { *this = {}; }

    IOU_TRK_RSLT_S update(std::span<const IOU_TRK_OBJ_S> added) {
        IOU_TRK_RSLT_S result{};
        for (Target& target : targets_)
            ++target.lost;
        const size_t known = targets_.size();
        for (const IOU_TRK_OBJ_S& obj : added) {
            Target& target = match(obj, known);
            target.x = obj.x + obj.w / 2;
            target.y = obj.y + obj.h / 2;
            target.lost = 0;
            if (++target.hits < kHitsMin || result.num == VCA_TRK_MAX) continue;
            result.objs[result.num] = obj;
            result.objs[result.num++].id = target.id;
        }
        std::erase_if(targets_, [](const Target& t) { return t.lost > kLostMax; });
        return result;
    }

  private:
    static constexpr int kReachPx = 45;
    static constexpr int kLostMax = 12;
    static constexpr int kHitsMin = 3;

    struct Target {
        int32_t id;
        int32_t x, y;
        int lost;
        int hits;
    };

    Target& match(const IOU_TRK_OBJ_S& obj, size_t known) {
        size_t best = known;
        int64_t best_distance = kReachPx * kReachPx;
        for (size_t i = 0; i < known; ++i) {
            const int64_t dx = targets_[i].x - (obj.x + obj.w / 2);
            const int64_t dy = targets_[i].y - (obj.y + obj.h / 2);
            const int64_t distance = dx * dx + dy * dy;
            if (targets_[i].lost == 0 || distance >= best_distance) continue;
            best = i;
            best_distance = distance;
        }
        if (best != known) return targets_[best];
        targets_.push_back({next_id_++, 0, 0, 0, 0});
        return targets_.back();
    }

    std::vector<Target> targets_;
    int32_t next_id_ = 1;
};

template <typename Record>
const Record& as(const void* payload) {
    return *static_cast<const Record*>(payload);
}

void check(bool good, const char* what) {
    if (!good) fail(what);
}

void read_message(int id, const void* payload, Ledger& seen) {
    switch (id) {
        case VCA_MSG_TRACKS:
            seen.people_shown = as<SHOW_MSG_S>(payload).num;
            break;
        case VCA_MSG_REGIONS:
            seen.people_in_regions = static_cast<int32_t>(as<RGN_MSG_S>(payload).num);
            for (const int32_t count : as<RGN_MSG_S>(payload).peopleCnt)
                check(count >= 0 && count <= seen.people_in_regions, "regions: people inside");
            break;
        case VCA_MSG_LINE_COUNT: {
            const auto& msg = as<LINE_COUNT_MSG_S>(payload);
            check(msg.line >= 0 && msg.line < VCA_LINE_NUM, "count: line");
            check(msg.cross == VCA_DIR_1 || msg.cross == VCA_DIR_2, "count: direction");
            break;
        }
        case VCA_MSG_GROUP_COUNT: {
            const auto& msg = as<GROUP_COUNT_MSG_S>(payload);
            check(msg.members >= dev_get_config()->GroupObjNumMin, "group: too small");
            check(msg.line >= 0 && msg.line < VCA_LINE_NUM, "group: line");
            break;
        }
        default:
            break;
    }
}

class Host : public fake::Platform {
  public:
    Host() : Platform({.threads = true}) {}

    Ledger ledger;
    std::function<bool(std::vector<uint16_t>&)> maker;
    std::function<void(VCA_NN_RESULT_S&)> detector;
    int64_t clock_us = 1767225600LL * 1000000;

  private:
    void misuse(const std::string& what) override { fail(what); }
    int message(int, int id, const void* payload, int) override;
    const NN_MODEL_CFG_S* model_config(NN_MODEL_TYPE_E) override { return &model_; }
    int detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) override;
    int classify(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) override;
    bool refuses_image() override { return once_in(random_, 400); }
    int crop(const VCA_IMAGE_S&, const VCA_RGN_S&, VCA_IMAGE_S& dst) override {
        return dst.host_handle == 0 ? -1 : 0;
    }
    fake::FrameSet next_set() override;
    void tracker_started(int inst) override { trackers_[inst].reset_all(); }
    IOU_TRK_RSLT_S track(int inst, std::span<const IOU_TRK_OBJ_S> added) override {
        return trackers_[inst].update(added);
    }

    std::vector<uint16_t> depth_mm_;
    std::array<uint8_t, 64> pixels_{};
    NearestTracker trackers_[2];
    Random random_{4711};
    NN_MODEL_CFG_S model_{.host = {}, .trk_conf_lo = 0.2f, .det_show_thresh = 0.5f};
};

Host& host() {
    static Host instance;
    return instance;
}

int64_t read_clock(void* ctx) {
    return *static_cast<int64_t*>(ctx);
}

int Host::message(int, int id, const void* payload, int) {
    read_message(id, payload, ledger);
    ++ledger.messages[id];
    if (!once_in(random_, 1000)) return 0;
    ++ledger.unsent;
    return -1;
}

int Host::detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
    if (once_in(random_, 500)) return -1;
    if (model != fake::kStaffModel) {
        detector(*static_cast<VCA_NN_RESULT_S*>(result));
        return 0;
    }
    const int32_t staff = once_in(random_, 10);
    const float score = 0.8f;
    std::memcpy(result, &staff, sizeof(staff));
    std::memcpy(static_cast<uint8_t*>(result) + sizeof(staff), &score, sizeof(score));
    return 0;
}

int Host::classify(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
    if (once_in(random_, 500)) return -1;
    const bool male = once_in(random_, 2);
    const int32_t best = male ? 1 : 2;
    const float probability[3] = {male ? 0.7f : 0.2f, male ? 0.2f : 0.7f, 0.0f};
    std::memcpy(result, &best, sizeof(best));
    std::memcpy(static_cast<uint8_t*>(result) + sizeof(best), probability, sizeof(probability));
    return 0;
}

fake::FrameSet Host::next_set() {
    if (blocks_held() != 0 || mappings_held() != 0) fail("an earlier frame set is still out");
    if (!maker(depth_mm_)) return {};
    const int missing = once_in(random_, 100) ? draw(random_, 1, 7) : 0;
    const bool mapped = !once_in(random_, 300);
    const auto lend = [&](int bit, const void* pixels, size_t bytes) -> fake::Picture {
        if ((missing & bit) != 0) return {};
        return {true, mapped ? pixels : nullptr, static_cast<uint32_t>(bytes), 0};
    };
    fake::FrameSet set;
    set.real = lend(1, pixels_.data(), 32);
    set.depth = lend(2, pixels_.data() + 32, 32);
    set.raw = lend(4, depth_mm_.data(), depth_mm_.size() * sizeof(uint16_t));
    ++(missing == 0 ? ledger.sets_lent : ledger.partial_sets);
    set.flag = static_cast<uint32_t>(ledger.sets_lent) | 1u;
    return set;
}

}  // namespace

Ledger& ledger() {
    return host().ledger;
}

fake::Books books() {
    return host().books();
}

void fail(const std::string& what) {
    Ledger& seen = host().ledger;
    ++seen.failure_count;
    if (seen.failures.size() < kFailuresKept)
        seen.failures.push_back("frame " + std::to_string(seen.sets_lent) + ": " + what);
}

void set_frame_maker(std::function<bool(std::vector<uint16_t>&)> maker) {
    host().maker = std::move(maker);
}

void set_detector(std::function<void(VCA_NN_RESULT_S&)> detector) {
    host().detector = std::move(detector);
}

void deliver(int id, const void* payload) {
    if (!host().deliver(id, payload)) fail("no handler for message " + std::to_string(id));
}

void use_clock() {
    vca_set_time_source(read_clock, &host().clock_us);
}

void advance_clock(int64_t us) {
    host().clock_us += us;
}

}  // namespace soak

fake::Platform& fake::platform() {
    return soak::host();
}

// The library rests for 1 ms between two passes; a million of those would be most of the run.
extern "C" int usleep(useconds_t) {
    return 0;
}
