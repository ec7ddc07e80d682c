// Time of the library's own work in one frame pass, without inference: from the frame set's
// handing over to its giving back, by number of people, configuration and work mode.
#include <benchmark/benchmark.h>
#include <time.h>

#include <string>

#include "bench/measure.h"
#include "bench/quiet_host.h"
#include "bench/report.h"

namespace {

using bench::Crowd;

// Twice the longest stay, so that nobody of the first frame, when all came at once, is left.
constexpr int kWarmUpFrames = 2 * bench::kStayFrames;

double thread_cpu_us() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e6 + static_cast<double>(ts.tv_nsec) * 1e-3;
}

// The thread's own time lacks what other processes of the machine took of the pass.
class PassTimer : public bench::PassObserver {
  public:
    explicit PassTimer(int frames) {
        wall_us.reserve(static_cast<size_t>(frames));
        cpu_us.reserve(static_cast<size_t>(frames));
    }

    void begin() override {
        inference_us_ = 0.0;
        cpu_start_us_ = thread_cpu_us();
        start_ = bench::Clock::now();
    }
    void pause() override { pause_start_ = bench::Clock::now(); }
    void resume() override {
        inference_us_ += bench::us_between(pause_start_, bench::Clock::now());
    }
    void end() override {
        const auto end = bench::Clock::now();
        const double cpu_end_us = thread_cpu_us();
        if (++passes_ <= kWarmUpFrames) return;
        wall_us.push_back(bench::us_between(start_, end) - inference_us_);
        cpu_us.push_back(cpu_end_us - cpu_start_us_ - inference_us_);
    }

    std::vector<double> wall_us;
    std::vector<double> cpu_us;

  private:
    int passes_ = 0;
    double inference_us_ = 0.0;
    double cpu_start_us_ = 0.0;
    bench::Clock::time_point start_;
    bench::Clock::time_point pause_start_;
};

void measure_pass(benchmark::State& state, VCA_WORK_MODE_E mode, bool everything) {
    const Crowd crowd(static_cast<int>(state.range(0)), mode);
    const VCA_ALGO_CFG_S cfg = everything ? crowd.everything_config() : crowd.counting_config();
    const auto frames = static_cast<int>(state.max_iterations);
    PassTimer timer(frames);
    {
        const bench::Muted muted;
        bench::run_library(crowd, cfg, kWarmUpFrames + frames, timer);
    }
    size_t pass = 0;
    for (auto _ : state)
        state.SetIterationTime(timer.wall_us[pass++] * 1e-6);
    const double typical_us = bench::median(timer.wall_us);
    const double slow_us = bench::quantile(timer.wall_us, 0.999);
    const double slow_cpu_us = bench::quantile(timer.cpu_us, 0.999);
    state.counters["median_us"] = typical_us;
    state.counters["p999_us"] = slow_us;
    state.counters["ratio"] = slow_us / typical_us;
    state.counters["cpu_p999_us"] = slow_cpu_us;
    state.counters["cpu_ratio"] = slow_cpu_us / bench::median(timer.cpu_us);
}

}  // namespace

void bench::register_passes(int frames) {
    constexpr struct {
        const char* name;
        VCA_WORK_MODE_E mode;
    } kModes[] = {
        {"stand-alone", VCA_WORK_ALONE}, {"master", VCA_WORK_MASTER}, {"slave", VCA_WORK_SLAVE}};
    for (const auto& [name, mode] : kModes) {
        for (const bool everything : {false, true}) {
            const std::string title =
                std::string("pass/") + name + (everything ? "/everything" : "/counting");
            benchmark::RegisterBenchmark(title.c_str(), measure_pass, mode, everything)
                ->Arg(1)
                ->Arg(10)
                ->Arg(30)
                ->Arg(100)
                ->Iterations(frames)
                ->UseManualTime();
        }
    }
}
