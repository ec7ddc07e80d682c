// Times of the parts of a frame pass, each beside its floor, with 100 people and everything on.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

#include "bench/measure.h"
#include "bench/report.h"
#include "bench/staged_pass.h"
#include "vca/messages.h"

namespace {

using bench::Floor;
using bench::StagedPass;

constexpr int kWarmUpFrames = 2 * bench::kStayFrames;

using Step = StagedPass::Stage;
using FloorOf = void (StagedPass::*)(Floor&) const;

struct Times {
    std::vector<double> step_us;
    std::vector<double> floor_us;
    std::vector<double> bytes;
};

template <typename Work>
double time_us(Work work) {
    const auto start = bench::Clock::now();
    work();
    return bench::us_between(start, bench::Clock::now());
}

void report(benchmark::State& state, const Times& times, const char* label, double base_us = 0.0) {
    const double step_us = bench::median(times.step_us) - base_us;
    for (auto _ : state)
        state.SetIterationTime(step_us * 1e-6);
    state.SetLabel(label);
    state.counters["bytes"] = bench::median(times.bytes);
    state.counters["step_us"] = step_us;
    state.counters["floor_us"] = bench::median(times.floor_us);
}

template <typename Work>
void time_floor(Times& times, Floor& floor, Work work) {
    floor.begin();
    times.floor_us.push_back(time_us([&] { work(floor); }));
    times.bytes.push_back(static_cast<double>(floor.bytes()));
}

// One stage in the course of passes. Step and floor take turns, so that neither finds in the cache
// what the other brought there.
void measure_stage(benchmark::State& state, Step step, FloorOf floor_of, const char* label) {
    const bench::Muted muted;
    StagedPass pass(bench::kPeopleMax);
    Floor floor;
    Times times;
    const int frames = kWarmUpFrames + static_cast<int>(state.max_iterations);
    for (int frame = 0; frame < frames; ++frame) {
        pass.advance();
        for (const Step stage : StagedPass::kStages) {
            const bool timed = stage == step && frame >= kWarmUpFrames;
            if (timed && frame % 2 != 0)
                time_floor(times, floor, [&](Floor& f) { (pass.*floor_of)(f); });
            const double us = time_us([&] { (pass.*stage)(); });
            if (timed && frame % 2 == 0) times.step_us.push_back(us);
        }
    }
    report(state, times, label);
}

// The floor map learns from every sixth frame, and from every cell once in 25 of these.
void depth_map(benchmark::State& state) {
    constexpr int kCallsPerUpdate = 6;
    constexpr int kUpdatesPerRound = 25;
    constexpr int kRounds = 200;
    constexpr int kCell[] = {60, 32};
    const bench::Muted muted;
    StagedPass pass(bench::kPeopleMax);
    Floor floor;
    Times times;
    for (int round = 0; round < kRounds; ++round) {
        double step_us = 0;
        for (int call = 0; call < kCallsPerUpdate * kUpdatesPerRound; ++call) {
            pass.advance();
            const double us = time_us([&] { pass.update_depth_map(); });
            const bool worked = vca_depth_get_state()->depthCallCnt % kCallsPerUpdate == 0;
            if (worked) step_us += us;
        }
        times.step_us.push_back(step_us / kUpdatesPerRound);
        const auto* image = reinterpret_cast<const uint16_t*>(
            static_cast<uintptr_t>(vca_get_pCtrl_param()->raw_img.plane_addr));
        time_floor(times, floor, [&](Floor& f) {
            for (int cell = 0; cell < VCA_DEPTH_GRID * VCA_DEPTH_GRID; ++cell) {
                const int x = cell % VCA_DEPTH_GRID * kCell[0];
                const int y = cell / VCA_DEPTH_GRID * kCell[1];
                for (int row = y; row < y + kCell[1]; ++row)
                    f.copy(image + row * 480 + x, kCell[0] * sizeof(uint16_t));
                f.fill(2 * sizeof(int32_t) + sizeof(uint8_t));
            }
        });
        times.floor_us.back() /= kUpdatesPerRound;
        times.bytes.back() /= kUpdatesPerRound;
    }
    report(state, times, "depth map, one update (on every sixth frame)");
}

void height_estimate(benchmark::State& state) {
    constexpr int kRounds = 2000;
    const bench::Muted muted;
    StagedPass pass(bench::kPeopleMax);
    for (int frame = 0; frame < bench::kWalkFrames; ++frame) {
        pass.advance();
        for (const Step stage : StagedPass::kStages)
            (pass.*stage)();
    }
    std::vector<TRACKER_RSLT_S> tracks = pass.tracks();
    const auto* image = reinterpret_cast<const uint16_t*>(
        static_cast<uintptr_t>(vca_get_pCtrl_param()->raw_img.plane_addr));
    Floor floor;
    Times times;
    for (int round = 0; round < kRounds; ++round) {
        times.step_us.push_back(time_us([&] {
            for (TRACKER_RSLT_S& trk : tracks)
                vca_dev_deal_obj_height(&trk, dev_calc_obj_height(&trk, image));
        }));
        time_floor(times, floor, [&](Floor& f) {
            for (const TRACKER_RSLT_S& trk : tracks) {
                const DET_OBJ_S& box = trk.curObj;
                const int x = box.x / 2;
                const int y = box.y * 256 / 544;
                for (int row = y; row < y + box.h * 256 / 544 - 1; ++row)
                    f.copy(image + row * 480 + x,
                           static_cast<size_t>(box.w / 2 - 1) * sizeof(uint16_t));
                f.copy(&box, sizeof(box));
                f.copy(trk.heightSamples);
                f.copy(&trk.height, sizeof(trk.height));
                f.copy(&trk.rawHeight, sizeof(trk.rawHeight));
            }
        });
    }
    report(state, times, "height estimate of 100 people");
}

// A track that has walked 250 pixels across the picture; its grids and the total's part under them.
void heat_fold(benchmark::State& state) {
    constexpr int kRounds = 5000;
    constexpr int32_t kRect[] = {60, 50, 130, 75};
    const bench::Muted muted;
    StagedPass pass(1);
    const auto trk = std::make_unique<TRACKER_RSLT_S>();
    const auto total = vca_dev_get_heat_map_rslt();
    Floor floor;
    Times times;
    for (int round = 0; round < kRounds; ++round) {
        for (HEAT_GRID_S* grid : {&trk->heatDwell, &trk->heatMotion}) {
            grid->cover(kRect[0], kRect[1], kRect[2], kRect[3]);
            for (int32_t y = kRect[1]; y < kRect[3]; ++y)
                std::fill(grid->cell[y] + kRect[0], grid->cell[y] + kRect[2], 100);
        }
        time_floor(times, floor, [&](Floor& f) {
            f.copy_grid(trk->heatDwell);
            f.copy_grid(trk->heatMotion);
            for (int32_t y = kRect[1]; y < kRect[3]; ++y) {
                const size_t bytes = static_cast<size_t>(kRect[2] - kRect[0]) * sizeof(int32_t);
                f.copy(total->dwell[y] + kRect[0], bytes);
                f.copy(total->motion[y] + kRect[0], bytes);
            }
        });
        times.step_us.push_back(time_us([&] { vca_trker_heat_map_update_result(trk.get()); }));
    }
    report(state, times, "heat fold of a track, 70 x 25 cells");
}

// What slaves in a row report: everyone stands where two neighbours see him, with a few pixels
// between what the two make of it.
MASTER_MSG_S report_of_row(int slave, int people) {
    MASTER_MSG_S message{};
    message.slave_idx = static_cast<uint32_t>(slave);
    message.msg.count = people;
    for (int k = 0; k < people; ++k) {
        const int person = slave * (people / 2) + k;
        SLAVE_TRACK_S& track = message.msg.tracks[k];
        track.track_id = static_cast<uint32_t>(k + 1);
        track.score = 0.9f;
        track.height = 1700.0f;
        track.foot_x = track.cx = 100 * person + (7 * slave + 3 * k) % 9 - 4;
        track.foot_y = track.cy = 272 + 100 * (person % 3 - 1) + (5 * slave + k) % 9 - 4;
    }
    return message;
}

void measure_merge(benchmark::State& state, int people_of_slave, const char* label) {
    constexpr int kRounds = 4000;
    const bench::Muted muted;
    VCA_ALGO_CFG_S cfg = bench::Crowd(1, VCA_WORK_MASTER).counting_config();
    vca_base_init();
    vca_algo_set_cfg_params(0, &cfg);
    VCA_NN_RESULT_S merged{};
    std::vector<TRACKER_RSLT_S> own;
    std::vector<MASTER_MSG_S> messages;
    for (int slave = 0; slave < VCA_SLAVE_MAX; ++slave) {
        messages.push_back(report_of_row(slave, people_of_slave));
        dev_cscd_master_recive_slave_track(0, &messages.back());
    }
    Floor floor;
    Times times;
    for (int round = 0; round < kRounds; ++round) {
        times.step_us.push_back(
            time_us([&] { dev_cascade_local_master_merge_slave_obj(&merged, own); }));
        time_floor(times, floor, [&](Floor& f) {
            int left = VCA_DET_MAX;
            for (const MASTER_MSG_S& message : messages) {
                const int count = std::min(left, message.msg.count);
                f.copy(message.msg.tracks, static_cast<size_t>(count) * sizeof(SLAVE_TRACK_S));
                left -= count;
            }
            const auto objects = static_cast<size_t>(merged.objects.num);
            f.copy(merged.objects.objs, objects * sizeof(DET_OBJ_S));
            f.copy(merged.objects.raw_objs, objects * sizeof(DET_OBJ_S));
        });
    }
    for (MASTER_MSG_S& message : messages) {
        message.msg.count = 0;
        dev_cscd_master_recive_slave_track(0, &message);
    }
    vca_base_uninit();
    report(state, times, label);
}

void merge_120(benchmark::State& state) {
    measure_merge(state, 8, "master's merge of 120 candidates");
}

// 90 people each are offered, 128 of all are taken.
void merge_15_x_90(benchmark::State& state) {
    measure_merge(state, 90, "master's merge, 15 slaves of 90 people");
}

// Every line with five points, every polygon with ten.
VCA_ALGO_CFG_S full_config(int shift_px) {
    VCA_ALGO_CFG_S cfg = bench::Crowd(1, VCA_WORK_ALONE).everything_config();
    const auto decagon = [&](POINT12(&pt)[VCA_POLY_PT_NUM], int k) {
        for (int i = 0; i < VCA_POLY_PT_NUM; ++i) {
            const double angle = i * 2 * 3.14159265 / VCA_POLY_PT_NUM;
            pt[i] = {1,
                     {},
                     300 + 100 * k + shift_px + static_cast<int32_t>(240 * std::cos(angle)),
                     272 + static_cast<int32_t>(240 * std::sin(angle))};
        }
    };
    for (int k = 0; k < 4; ++k) {
        for (int i = 0; i < VCA_LINE_PT_NUM; ++i)
            cfg.line[k].pt[i] = {1, {}, 100 + 180 * i, 100 + 100 * k + shift_px};
        cfg.line[k].UturnEn = 1;
        decagon(cfg.line[k].uturn_pt, k);
        cfg.rgn[k].used = cfg.rgn[k].en_a = 1;
        decagon(cfg.rgn[k].pt, k);
        decagon(cfg.excl[k].pt, k);
    }
    return cfg;
}

void configuration(benchmark::State& state) {
    constexpr int kRounds = 1000;
    const bench::Muted muted;
    vca_base_init();
    VCA_ALGO_CFG_S cfg[] = {full_config(0), full_config(10)};
    Floor floor;
    Times times;
    for (int round = 0; round < kRounds; ++round) {
        VCA_ALGO_CFG_S& next = cfg[round % 2];
        times.step_us.push_back(time_us([&] { vca_algo_set_cfg_params(0, &next); }));
        time_floor(times, floor, [&](Floor& f) {
            f.copy(&next, sizeof(next));
            f.copy(dev_get_config(), sizeof(VCA_DEV_CFG_S));
        });
    }
    vca_base_uninit();
    report(state, times, "applying a configuration, 12 polygons of 10 points");
}

enum class Turn { kNone, kBirth, kRemoval };

// Tracking passes of 100 people in which the first of the list is erased, or somebody comes; what
// it takes more than a pass without.
void measure_turn(benchmark::State& state, Turn turn, const char* label) {
    const bench::Muted muted;
    StagedPass pass(bench::kPeopleMax);
    Floor floor;
    Times times;
    std::vector<double> plain_us;
    const int frames = kWarmUpFrames + static_cast<int>(state.max_iterations);
    for (int frame = 0; frame < frames; ++frame) {
        pass.advance();
        for (const Step stage : StagedPass::kStages) {
            const int born = bench::messages_sent(VCA_MSG_TRACK_BORN);
            const int removed = bench::messages_sent(VCA_MSG_TRACK_REMOVED);
            const double us = time_us([&] { (pass.*stage)(); });
            if (stage != &StagedPass::track || frame < kWarmUpFrames) continue;
            const bool birth = bench::messages_sent(VCA_MSG_TRACK_BORN) != born;
            const bool removal = bench::messages_sent(VCA_MSG_TRACK_REMOVED) != removed;
            if (birth && removal) continue;
            const Turn seen = birth ? Turn::kBirth : removal ? Turn::kRemoval : Turn::kNone;
            if (seen == Turn::kNone) plain_us.push_back(us);
            if (seen != turn) continue;
            times.step_us.push_back(us);
            time_floor(times, floor, [&](Floor& f) {
                const auto& tracks = pass.tracks();
                const size_t first = turn == Turn::kBirth ? tracks.size() - 1 : 0;
                for (size_t i = first; i < tracks.size(); ++i)
                    f.copy_record(tracks[i]);
            });
        }
    }
    report(state, times, label, bench::median(plain_us));
}

void flag_files(benchmark::State& state) {
    constexpr int kRounds = 4000;
    Times times;
    for (int round = 0; round < kRounds; ++round)
        times.step_us.push_back(time_us([] {
            auto* table = reinterpret_cast<LOG_DBG_S*>(vca_get_logs_dbg());
            avs_log_debug_update_status(table, VCA_LOG_DBG_COUNT);
            avs_log_debug_update_status(table, VCA_LOG_DBG_COUNT);
        }));
    report(state, times, "looking for the 25 debug switch files (between two passes)");
}

template <typename... Arguments>
void add(const char* name, int iterations, Arguments... arguments) {
    benchmark::RegisterBenchmark(name, arguments...)->Iterations(iterations)->UseManualTime();
}

}  // namespace

void bench::register_parts(int frames) {
    const int passes = std::max(frames / 4, 2);
    add("part/height", 1, height_estimate);
    add("part/depth_map", 1, depth_map);
    add("part/merge", passes, measure_stage, &StagedPass::merge_detections,
        &StagedPass::floor_of_merge, "merge of detections, 100 of each detector");
    add("part/tracking", passes, measure_stage, &StagedPass::track, &StagedPass::floor_of_track,
        "tracking of 100 people");
    add("part/lines", passes, measure_stage, &StagedPass::count_lines, &StagedPass::floor_of_lines,
        "line stage, 100 people");
    add("part/regions", passes, measure_stage, &StagedPass::count_regions,
        &StagedPass::floor_of_regions, "region stage, 100 people");
    add("part/heat", passes, measure_stage, &StagedPass::heat, &StagedPass::floor_of_heat,
        "heat map of 100 people");
    add("part/heat_fold", 1, heat_fold);
    add("part/display", passes, measure_stage, &StagedPass::show_tracks, &StagedPass::floor_of_show,
        "display message, 100 people");
    add("part/merge_120", 1, merge_120);
    add("part/merge_15_x_90", 1, merge_15_x_90);
    add("part/configuration", 1, configuration);
    add("part/birth", frames, measure_turn, Turn::kBirth, "birth of a track beside 99 others");
    add("part/removal", frames, measure_turn, Turn::kRemoval, "erasing the first of 100 tracks");
    add("part/flag_files", 1, flag_files);
}
