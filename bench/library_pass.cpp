// Time of the library's own work in one frame pass, without inference, by number of people.
//
// The stages run in the order of the analysis task. Output goes to bench_pass's standard output
// stream, so the library's diagnostic lines are sent to /dev/null while the stages run.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "bench/quiet_host.h"
#include "vca/vca.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFrames = 64;

// Sends the library's prints to /dev/null for its lifetime.
class Muted {
  public:
    Muted() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    ~Muted() {
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }
    Muted(const Muted&) = delete;
    Muted& operator=(const Muted&) = delete;

  private:
    int saved_;
};

struct Library {
    VCA_NN_RESULT_S merged{};
    std::vector<TRACKER_RSLT_S> tracks;
    DET_OBJECTS_S no_depth{};

    explicit Library(VCA_ALGO_CFG_S cfg) {
        VCA_CTRL_S* ctrl = vca_get_pCtrl_param();
        vca_data_init(ctrl);
        vca_trker_init(ctrl);
        vca_depth_algo_init();
        vca_algo_set_cfg_params(0, &cfg);
    }
    ~Library() {
        vca_trk_obj_list_release(tracks);
        vca_depth_algo_uninit();
        vca_trker_uninit(vca_get_pCtrl_param());
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

struct StageTimes {
    Clock::duration depth{};
    Clock::duration merge{};
    Clock::duration track{};
    Clock::duration lines{};
    Clock::duration regions{};
    Clock::duration heat{};
    Clock::duration display{};
};

void run_pass(Library& library, const bench::CrowdFrame& frame, StageTimes& times) {
    vca_get_pCtrl_param()->raw_img.plane_addr = reinterpret_cast<uintptr_t>(frame.depth_mm.data());
    const auto t0 = Clock::now();
    vca_update_depth_map(frame.depth_mm.data());
    const auto t1 = Clock::now();
    vca_obj_merge_real_depth_rslt(&frame.detections, &library.no_depth, &library.merged.objects);
    const auto t2 = Clock::now();
    vca_obj_proc_tracking(&library.merged, library.tracks, 0, false);
    const auto t3 = Clock::now();
    vca_local_dev_sync_tracking_info_show(library.tracks);
    const auto t4 = Clock::now();
    vca_event_counting_line_uturn_proc(library.tracks);
    const auto t5 = Clock::now();
    vca_event_counting_region_stay_proc(library.tracks);
    const auto t6 = Clock::now();
    vca_event_heat_map_dwell_and_motion(library.tracks);
    const auto t7 = Clock::now();
    vca_event_counting_refresh_line_result();
    const auto t8 = Clock::now();
    vca_event_counting_refresh_rgn_result(library.tracks);
    const auto t9 = Clock::now();
    vca_event_heat_map_refresh_total_result(library.tracks);
    const auto t10 = Clock::now();
    vca_feed_frm_cnt_add(1);
    times.depth += t1 - t0;
    times.merge += t2 - t1;
    times.track += t3 - t2;
    times.display += t4 - t3;
    times.lines += t5 - t4 + t8 - t7;
    times.regions += t6 - t5 + t9 - t8;
    times.heat += t7 - t6 + t10 - t9;
}

void measure_pass(benchmark::State& state, const VCA_ALGO_CFG_S& cfg) {
    const auto crowd = bench::make_crowd(static_cast<int>(state.range(0)), kFrames);
    Muted muted;
    Library library(cfg);
    StageTimes warm_up;
    for (const auto& frame : crowd)
        run_pass(library, frame, warm_up);
    StageTimes times;
    size_t next = 0;
    for (auto _ : state)
        run_pass(library, crowd[next++ % crowd.size()], times);
    const auto per_pass = [&](Clock::duration total) {
        const double us = std::chrono::duration<double, std::micro>(total).count();
        return us / static_cast<double>(state.iterations());
    };
    state.counters["depth_us"] = per_pass(times.depth);
    state.counters["merge_us"] = per_pass(times.merge);
    state.counters["track_us"] = per_pass(times.track);
    state.counters["display_us"] = per_pass(times.display);
    state.counters["lines_us"] = per_pass(times.lines);
    state.counters["regions_us"] = per_pass(times.regions);
    state.counters["heat_us"] = per_pass(times.heat);
}

// The stages that are switched off are called as well: they are part of every pass.
void counting_pass(benchmark::State& state) {
    measure_pass(state, bench::counting_config());
}

void everything_pass(benchmark::State& state) {
    measure_pass(state, bench::everything_config());
}

// What slaves in a row report: everyone stands where two neighbours see him, `people` in view of
// each, with a few pixels between what the two make of it.
MASTER_MSG_S report_of_slave(int slave, int people) {
    MASTER_MSG_S report{};
    report.slave_idx = static_cast<uint32_t>(slave);
    report.msg.count = people;
    for (int k = 0; k < people; ++k) {
        const int person = slave * (people / 2) + k;
        SLAVE_TRACK_S& track = report.msg.tracks[k];
        track.track_id = static_cast<uint32_t>(k + 1);
        track.score = 0.9f;
        track.height = 1700.0f;
        track.foot_x = track.cx = 100 * person + (7 * slave + 3 * k) % 9 - 4;
        track.foot_y = track.cy = 272 + 100 * (person % 3 - 1) + (5 * slave + k) % 9 - 4;
    }
    return report;
}

// A master's work on what 15 slaves send; it sees nobody itself.
void measure_master(benchmark::State& state, int people_of_slave) {
    VCA_ALGO_CFG_S cfg = bench::counting_config();
    cfg.devWorkMode = 1;
    cfg.InstallHeight = 6000;
    Muted muted;
    Library library(cfg);
    std::vector<TRACKER_RSLT_S> own;
    StageTimes times;
    const auto pass = [&] {
        for (int slave = 0; slave < VCA_SLAVE_MAX; ++slave) {
            MASTER_MSG_S report = report_of_slave(slave, people_of_slave);
            dev_cscd_master_recive_slave_track(0, &report);
        }
        const auto t0 = Clock::now();
        dev_cascade_local_master_merge_slave_obj(&library.merged, own);
        const auto t1 = Clock::now();
        vca_obj_proc_tracking(&library.merged, library.tracks, vca_get_pCtrl_param()->trk_merged,
                              true);
        const auto t2 = Clock::now();
        vca_feed_frm_cnt_add(1);
        times.merge += t1 - t0;
        times.track += t2 - t1;
        return std::chrono::duration<double>(t2 - t0).count();
    };
    for (int i = 0; i < kFrames; ++i)
        pass();
    times = {};
    for (auto _ : state)
        state.SetIterationTime(pass());
    const auto per_pass = [&](Clock::duration total) {
        const double us = std::chrono::duration<double, std::micro>(total).count();
        return us / static_cast<double>(state.iterations());
    };
    state.counters["merge_us"] = per_pass(times.merge);
    state.counters["track_us"] = per_pass(times.track);
    state.counters["objects"] = library.merged.objects.num;
}

void merge_120(benchmark::State& state) {
    measure_master(state, 8);
}

// 90 people each are offered, 128 of all are taken.
void merge_15_x_90(benchmark::State& state) {
    measure_master(state, 90);
}

BENCHMARK(counting_pass)->Arg(1)->Arg(10)->Arg(30)->Arg(100)->Unit(benchmark::kMicrosecond);
BENCHMARK(everything_pass)->Arg(1)->Arg(10)->Arg(30)->Arg(100)->Unit(benchmark::kMicrosecond);
BENCHMARK(merge_120)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(merge_15_x_90)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
