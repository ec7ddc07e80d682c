// A long run of the library: changing crowds under changing configurations in all work modes, with
// every kind of message, on a host that counts what it lends. Usage: soak [frames]
//
// The run is made of shifts. A shift begins with a full picture on a master, goes on with crowds
// and configurations drawn at random and ends with an empty picture, in which nothing may be left:
// no image, no group, nobody shown. After every second shift both stages go down and up again.
// The exit status is 1 when anything was left, not returned, or grew.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "bench/soak_host.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SOAK_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SOAK_SANITIZED 1
#endif
#endif
#ifdef SOAK_SANITIZED
extern "C" size_t __sanitizer_get_current_allocated_bytes(void);  // gcc ships no header for it
#endif

namespace {

using soak::draw;
using soak::once_in;

constexpr int64_t kFramesMin = 10000;
constexpr int64_t kShiftMax = 50000;
constexpr int64_t kFullFrames = 400;
// Groups close within 81 passes of silence, records end after five.
constexpr int64_t kTailFrames = 260;

// Growth since a tenth of the run that still counts as flat.
constexpr int64_t kHeapGrowthMax = 64 * 1024;
constexpr int64_t kResidentGrowthMax = 1024 * 1024;

struct Memory {
    int64_t heap = 0;      // bytes in use
    int64_t resident = 0;  // bytes
};

Memory memory_now() {
    Memory now;
#ifdef SOAK_SANITIZED
    now.heap = static_cast<int64_t>(__sanitizer_get_current_allocated_bytes());
#else
    const struct mallinfo2 info = mallinfo2();
    now.heap = static_cast<int64_t>(info.uordblks + info.hblkhd);
#endif
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        long total = 0;
        long resident = 0;
        if (std::fscanf(file, "%ld %ld", &total, &resident) == 2)
            now.resident = resident * sysconf(_SC_PAGESIZE);
        std::fclose(file);
    }
    return now;
}

// Memory at comparable moments: the first one after a tenth of the run against all later ones.
struct Series {
    const char* name;
    // While the task runs its lists of tracks keep their room, of which more pages become resident
    // whenever more people than ever before are followed at once. The heap counts all of that room
    // from the beginning.
    bool resident_is_flat;
    std::optional<Memory> first;
    Memory last;
    int64_t heap_max = 0;
    int samples = 0;

    void add(const Memory& now) {
        if (!first) first = now;
        last = now;
        heap_max = std::max(heap_max, now.heap);
        ++samples;
    }
    int64_t heap_growth() const { return first ? heap_max - first->heap : 0; }
    int64_t resident_growth() const { return first ? last.resident - first->resident : 0; }
};

// Groups as they are between two passes.
struct GroupWatch {
    std::set<int32_t> open;
    int64_t opened = 0;
    int64_t closed = 0;
    size_t most_open = 0;

    void look() {
        const auto& groups = *vca_dev_get_counting_groups();
        std::set<int32_t> now;
        for (const DEV_COUNTING_GROUP_S& group : groups) {
            now.insert(group.id);
            if (group.members.empty()) soak::fail("a group without members");
            if (group.err > group.errMax || group.errMax > 80) soak::fail("a group past its time");
        }
        for (const int32_t id : now)
            opened += open.count(id) == 0;
        for (const int32_t id : open)
            closed += now.count(id) == 0;
        open = std::move(now);
        most_open = std::max(most_open, open.size());
    }
};

class LongRun {
  public:
    explicit LongRun(int64_t frames)
        : frames_(frames), shift_frames_(std::min(kShiftMax, frames / 10)) {
        soak::use_clock();
        soak::set_frame_maker([this](std::vector<uint16_t>& depth_mm) { return make(depth_mm); });
        soak::set_detector([this](VCA_NN_RESULT_S& result) { crowd_.detect(result); });
    }

    void run() {
        start();
        for (int shift = 1; soak::ledger().sets_lent < frames_; ++shift) {
            play_shift();
            if (shift % 2 != 0) continue;
            stop();
            start();
        }
        stop();
    }

    bool report(std::FILE* out) const;

  private:
    static void start() {
        vca_base_init();
        vca_algo_init();
    }
    void stop();
    void play_shift();

    // On the analysis task.
    bool make(std::vector<uint16_t>& depth_mm);
    void begin_frame(int64_t position);
    void configure(const VCA_ALGO_CFG_S& cfg, int slaves);
    void configure_at_random(int64_t position);
    void send_messages();
    void send_slave_reports();
    void check_nothing_left();
    bool after_warm_up() const { return soak::ledger().sets_lent * 10 >= frames_; }

    const int64_t frames_;
    const int64_t shift_frames_;
    soak::Random random_{20261120};
    soak::Crowd crowd_{97};
    GroupWatch groups_;
    Series quiet_{"running, nobody in view", false, {}, {}, 0, 0};
    Series stopped_{"both stages down", true, {}, {}, 0, 0};
    int64_t shift_start_ = 0;
    int64_t last_position_ = -1;
    int64_t next_config_ = 0;
    int64_t next_crowd_ = 0;
    int slaves_ = 0;
    int64_t configs_[3] = {};
    int64_t frames_by_mode_[3] = {};
    int64_t people_sum_ = 0;
    int64_t empty_frames_ = 0;
    int64_t full_frames_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool playing_ = false;
};

void LongRun::stop() {
    vca_algo_uninit();
    vca_base_uninit();
    const fake::Books books = soak::books();
    if (books.images_created != books.images_destroyed) soak::fail("images left after a stop");
    if (books.locks != books.unlocks) soak::fail("the mutex was not given back");
    if (books.tasks_started != books.tasks_ended) soak::fail("the task was not joined");
    if (after_warm_up()) stopped_.add(memory_now());
}

void LongRun::play_shift() {
    std::unique_lock lock(mutex_);
    shift_start_ = soak::ledger().sets_lent;
    last_position_ = -1;
    playing_ = true;
    changed_.wait(lock, [this] { return !playing_; });
}

bool LongRun::make(std::vector<uint16_t>& depth_mm) {
    const std::lock_guard lock(mutex_);
    if (!playing_) return false;
    if (!vca_dev_get_counting_results()->empty()) soak::fail("counts left in the queue");
    groups_.look();
    // A set that lacked a frame is made again, as the same position.
    const int64_t position = soak::ledger().sets_lent - shift_start_;
    if (position == shift_frames_) {
        check_nothing_left();
        playing_ = false;
        changed_.notify_all();
        return false;
    }
    if (position != last_position_) begin_frame(position);
    last_position_ = position;
    crowd_.draw_depth(depth_mm);
    return true;
}

void LongRun::begin_frame(int64_t position) {
    const int64_t left = shift_frames_ - position;
    soak::advance_clock(66667);
    if (once_in(random_, 5000)) soak::advance_clock(draw(random_, -3600, 3600) * 1000000LL);
    if (position == 0) {
        configure(soak::everything_on(1), VCA_SLAVE_MAX);
        crowd_.aim_for(soak::kPeopleMax);
        next_config_ = next_crowd_ = kFullFrames;
    } else if (left == kTailFrames) {
        crowd_.clear();
        crowd_.aim_for(0);
        configure(soak::everything_on(1), 0);
    } else if (left == kTailFrames / 2) {
        configure(soak::everything_on(0), 0);
    } else if (left > kTailFrames) {
        configure_at_random(position);
    }
    crowd_.step();
    send_messages();
    send_slave_reports();
    ++frames_by_mode_[vca_dev_get_work_mode()];
    people_sum_ += crowd_.size();
    empty_frames_ += crowd_.size() == 0;
    full_frames_ += crowd_.size() >= 90;
}

void LongRun::configure(const VCA_ALGO_CFG_S& cfg, int slaves) {
    soak::deliver(VCA_MSG_CONFIG, &cfg);
    ++configs_[cfg.devWorkMode];
    // Regions that are switched off, or left to a master, are not reported empty once more.
    soak::ledger().people_in_regions = 0;
    // What a slave sent last stays until it sends again.
    for (int index = 0; index < VCA_SLAVE_MAX; ++index) {
        MASTER_MSG_S nobody{};
        nobody.slave_idx = static_cast<uint32_t>(index);
        soak::deliver(VCA_MSG_SLAVE_TRACKS, &nobody);
    }
    slaves_ = slaves;
}

void LongRun::configure_at_random(int64_t position) {
    if (position == next_config_) {
        const int mode = draw(random_, 0, 2);
        configure(soak::draw_config(random_, mode),
                  mode == 1 ? draw(random_, 0, VCA_SLAVE_MAX) : 0);
        next_config_ = position + draw(random_, 200, 500);
    }
    if (position == next_crowd_) {
        const int kind = draw(random_, 1, 6);
        crowd_.aim_for(kind == 1   ? 0
                       : kind == 2 ? soak::kPeopleMax
                                   : draw(random_, 1, soak::kPeopleMax));
        next_crowd_ = position + draw(random_, 100, 400);
    }
}

void LongRun::send_messages() {
    const uint8_t request[VCA_HEAT_REQUEST_BYTES] = {9};
    const int32_t number = draw(random_, 0, 1);
    if (once_in(random_, 500)) soak::deliver(VCA_MSG_HEAT_MAP, request);
    if (once_in(random_, 2000)) soak::deliver(VCA_MSG_HEAT_RESET, nullptr);
    if (once_in(random_, 300)) soak::deliver(VCA_MSG_SHOW_DETECTION, &number);
    if (once_in(random_, 50)) soak::deliver(VCA_MSG_INSTALL_HEIGHT, nullptr);
    if (once_in(random_, 200)) soak::deliver(VCA_MSG_ASK_FRAME_COUNT, nullptr);
    const int32_t count = vca_feed_frm_cnt_get() + draw(random_, -3, 3);
    if (once_in(random_, 200)) soak::deliver(VCA_MSG_FRAME_COUNT, &count);
}

void LongRun::send_slave_reports() {
    const auto frame = static_cast<uint32_t>(vca_feed_frm_cnt_get());
    for (int index = 0; index < slaves_; ++index) {
        if (once_in(random_, 3)) continue;
        const MASTER_MSG_S report = crowd_.slave_report(index, slaves_, frame);
        soak::deliver(VCA_MSG_SLAVE_TRACKS, &report);
    }
}

void LongRun::check_nothing_left() {
    const soak::Ledger& seen = soak::ledger();
    const fake::Books books = soak::books();
    if (books.images_created != books.images_destroyed)
        soak::fail("images left with nobody in view");
    if (!groups_.open.empty()) soak::fail("a group is open with nobody in view");
    if (seen.people_shown != 0) soak::fail("somebody is shown with nobody in view");
    if (seen.people_in_regions != 0) soak::fail("somebody is in a region with nobody in view");
    if (after_warm_up()) quiet_.add(memory_now());
}

bool LongRun::report(std::FILE* out) const {
    const soak::Ledger& seen = soak::ledger();
    const fake::Books books = soak::books();
    int failed = 0;
    const auto line = [&](const char* name, int64_t a, const char* of, int64_t b) {
        std::fprintf(out, "%-28s %12" PRId64 " %-10s %12" PRId64 "%s\n", name, a, of, b,
                     a == b ? "" : "  FAILED");
        failed += a != b;
    };
    std::fprintf(out, "%-28s %12" PRId64 " (and %" PRId64 " that lacked a frame)\n", "frame sets",
                 seen.sets_lent, seen.partial_sets);
    std::fprintf(out,
                 "%-28s %12.1f mean (nobody on %" PRId64 " frames, 90 and more on %" PRId64 ")\n",
                 "people", static_cast<double>(people_sum_) / static_cast<double>(seen.sets_lent),
                 empty_frames_, full_frames_);
    for (int mode = 0; mode < 3; ++mode) {
        const char* names[] = {"stand-alone", "master", "slave"};
        std::fprintf(out, "%-28s %12" PRId64 " frames, %" PRId64 " configurations\n", names[mode],
                     frames_by_mode_[mode], configs_[mode]);
    }
    for (const auto& [id, count] : seen.messages)
        std::fprintf(out, "message %-20d %12" PRId64 "\n", id, count);
    line("blocks lent", books.blocks_lent, "returned", books.blocks_returned);
    line("mappings lent", books.mappings_lent, "returned", books.mappings_returned);
    line("images created", books.images_created, "destroyed", books.images_destroyed);
    line("groups opened", groups_.opened, "closed", groups_.closed);
    line("starts of the task", books.tasks_started, "ends", books.tasks_ended);
    line("locks", books.locks, "unlocks", books.unlocks);
    std::fprintf(out, "%-28s %12" PRId64 "\n", "images refused", books.images_refused);
    std::fprintf(out, "%-28s %12zu\n", "most groups open", groups_.most_open);
    for (const Series& series : {quiet_, stopped_}) {
        const bool heap_flat = series.samples > 1 && series.heap_growth() <= kHeapGrowthMax;
        std::fprintf(out,
                     "%-28s %12.1f KiB in use, largest growth %.1f KiB (at most %" PRId64
                     "), %d samples%s\n",
                     series.name, static_cast<double>(series.last.heap) / 1024,
                     static_cast<double>(series.heap_growth()) / 1024, kHeapGrowthMax / 1024,
                     series.samples, heap_flat ? "" : "  FAILED");
        failed += !heap_flat;
#ifdef SOAK_SANITIZED
        const bool judged = false;  // the sanitizer keeps freed memory and its own notes about it
#else
        const bool judged = series.resident_is_flat;
#endif
        const bool resident_flat = !judged || series.resident_growth() <= kResidentGrowthMax;
        std::fprintf(out, "%-28s %12.1f KiB, growth %.1f KiB (%s)%s\n", "  resident",
                     static_cast<double>(series.last.resident) / 1024,
                     static_cast<double>(series.resident_growth()) / 1024,
                     judged ? "at most 1024" : "not judged", resident_flat ? "" : "  FAILED");
        failed += !resident_flat;
    }
    // A run that never met what it is about proves nothing.
    for (const int id : {VCA_MSG_LINE_COUNT, VCA_MSG_GROUP_COUNT, VCA_MSG_REGIONS, VCA_MSG_HEAT_MAP,
                         VCA_MSG_SLAVE_TRACKS, VCA_MSG_TRACK_BORN, VCA_MSG_TRACK_REMOVED}) {
        if (seen.messages.count(id) != 0) continue;
        std::fprintf(out, "message %d never came  FAILED\n", id);
        ++failed;
    }
    for (const std::string& what : seen.failures)
        std::fprintf(out, "%s  FAILED\n", what.c_str());
    std::fprintf(out, "%-28s %12" PRId64 "\n", "failed checks", seen.failure_count + failed);
    return failed == 0 && seen.failure_count == 0;
}

}  // namespace

int main(int argc, char** argv) {
    int64_t frames = 1000000;
    if (argc > 1) {
        char* end = nullptr;
        frames = std::strtoll(argv[1], &end, 10);
        if (argc > 2 || end == argv[1] || *end != '\0' || frames < kFramesMin) {
            std::fprintf(stderr, "usage: %s [frames]\n  frames: at least %" PRId64 "\n", argv[0],
                         kFramesMin);
            return 2;
        }
    }
    // The library prints a line or more for each frame to standard output.
    std::FILE* const out = fdopen(dup(STDOUT_FILENO), "w");
    if (out == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return 2;
    // Left alone the allocator keeps freed lists of tracks, tens of megabytes each, for later. With
    // a fixed threshold they go back to the system and the resident size shows what is in use.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    LongRun run(frames);
    run.run();
    const bool good = run.report(out);
    std::fclose(out);
    return good ? 0 : 1;
}
