// How long a frame takes from pixels in memory to events at the sinks, step by step, by the number
// of people in view. Prints Markdown tables.
//
//   bench_chain [--data DIR] [--frames N] [--only CASE]
//
// DIR holds the recorded data, by default ../shared/data seen from the project. The frames are made
// beforehand, so nothing else runs. One case after the other, or CASE alone, each in a process of
// its own.
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/child_runs.h"
#include "host/app/run.h"
#include "host/app/run_store.h"
#include "host/score/samples.h"
#include "tests/support/unique_path.h"

namespace {

// Frames of another source, kept in memory; only depth, as from a camera without colour.
class KeptSource final : public host::FrameSource {
  public:
    KeptSource(host::FrameSource& from, std::size_t most) {
        info_ = from.info();
        host::SourceFrame frame;
        while (frames_.size() < most && from.next(frame)) {
            blank_ = frame.planes;
            frames_.push_back({frame.number, frame.time_s, std::move(frame.planes.raw_mm)});
            frame.planes.raw_mm = {};
        }
    }

    bool next(host::SourceFrame& frame) override {
        if (next_ == frames_.size()) return false;
        const Kept& kept = frames_[next_++];
        frame.number = kept.number;
        frame.time_s = kept.time_s;
        if (frame.planes.colour_nv12.empty()) frame.planes = blank_;
        frame.planes.raw_mm.assign(kept.raw_mm.begin(), kept.raw_mm.end());
        return true;
    }

    std::size_t frames() const { return frames_.size(); }

  private:
    struct Kept {
        std::int64_t number = 0;
        double time_s = 0.0;
        std::vector<std::uint16_t> raw_mm;
    };
    std::vector<Kept> frames_;
    host::FramePlanes blank_;
    std::size_t next_ = 0;
};

constexpr std::array<std::size_t, 6> kMostPeople{0, 1, 4, 15, 40, 1000};
const std::array<const char*, kMostPeople.size()> kPeopleNames{"0",       "1",        "2 to 4",
                                                               "5 to 15", "16 to 40", "more"};

struct Steps {
    std::vector<double> hand_over_ms, detection_ms, tracker_ms, library_ms, all_ms;
};

// Steps of the passes, by the number of people who are followed.
class StepSink final : public host::Sink {
  public:
    void end_frame(const host::PassReport& report) override {
        if (report.blank) return;
        std::size_t row = 0;
        while (report.tracks.size() > kMostPeople[row])
            ++row;
        Steps& steps = rows_[row];
        steps.hand_over_ms.push_back(report.source_ms);
        steps.detection_ms.push_back(report.detection_ms);
        steps.tracker_ms.push_back(report.tracker_ms);
        steps.library_ms.push_back(report.pass_ms - report.detection_ms - report.tracker_ms);
        steps.all_ms.push_back(report.source_ms + report.pass_ms);
    }
    const std::array<Steps, kMostPeople.size()>& rows() const { return rows_; }

  private:
    std::array<Steps, kMostPeople.size()> rows_;
};

double processor_ms() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval& time) {
        return 1e3 * static_cast<double>(time.tv_sec) + 1e-3 * static_cast<double>(time.tv_usec);
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

// Copying a depth image, the least that a step does that reads one and writes one.
double copy_ms() {
    std::vector<std::uint16_t> from(std::size_t{480} * 256, 1), to(from.size());
    std::vector<double> times;
    for (int i = 0; i < 200; ++i) {
        from[0] = static_cast<std::uint16_t>(i);
        const auto start = std::chrono::steady_clock::now();
        std::memcpy(to.data(), from.data(), from.size() * sizeof from[0]);
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - start;
        times.push_back(to[0] == from[0] ? time.count() : 0.0);
    }
    return host::quantile(times, 0.5);
}

// Processor time of a frame in ms, of all threads, up to events that are committed.
std::string measure_store(host::RunOptions options, std::size_t most) {
    const std::filesystem::path folder = test::unique_path("vca-bench-chain");
    std::filesystem::create_directory(folder);
    options.store = folder / "camera.db";
    const std::unique_ptr<host::FrameSource> source = host::open_source(options.source);
    source->begin();
    auto kept = std::make_unique<KeptSource>(*source, most);
    const auto frames = static_cast<double>(kept->frames());
    host::RunPlan plan = host::prepare_run(options, std::move(kept));
    const std::atomic<bool> never{false};
    const double before_ms = processor_ms();
    {
        const std::vector<std::unique_ptr<host::Sink>> store = host::open_run_store(plan);
        std::vector<host::Sink*> sinks;
        for (const std::unique_ptr<host::Sink>& sink : store)
            sinks.push_back(sink.get());
        host::run(plan, sinks, never);
    }
    const double each_ms = (processor_ms() - before_ms) / frames;
    std::filesystem::remove_all(folder);
    char text[40];
    std::snprintf(text, sizeof text, "%.3f", each_ms);
    return text;
}

std::string measure(const host::RunOptions& options, std::size_t most) {
    const std::unique_ptr<host::FrameSource> source = host::open_source(options.source);
    source->begin();
    auto kept = std::make_unique<KeptSource>(*source, most);
    const auto frames = static_cast<double>(kept->frames());
    host::RunPlan plan = host::prepare_run(options, std::move(kept));
    StepSink sink;
    const std::atomic<bool> never{false};
    const double before_ms = processor_ms();
    host::run(plan, {&sink}, never);
    const double each_ms = (processor_ms() - before_ms) / frames;
    std::string text;
    for (std::size_t row = 0; row < kMostPeople.size(); ++row) {
        const Steps& steps = sink.rows()[row];
        if (steps.all_ms.size() < 30) continue;
        char line[300];
        const auto both = [](const std::vector<double>& values) {
            char cell[40];
            std::snprintf(cell, sizeof cell, "%.3f / %.3f", host::quantile(values, 0.5),
                          host::quantile(values, 0.999));
            return std::string(cell);
        };
        std::snprintf(line, sizeof line, " %s | %zu | %s | %s | %s | %s | %s |\n",
                      kPeopleNames[row], steps.all_ms.size(), both(steps.hand_over_ms).c_str(),
                      both(steps.detection_ms).c_str(), both(steps.tracker_ms).c_str(),
                      both(steps.library_ms).c_str(), both(steps.all_ms).c_str());
        text += line;
    }
    char cost[80];
    std::snprintf(cost, sizeof cost, "= %.3f ms, copy %.3f ms\n", each_ms, copy_ms());
    return text + cost;
}

host::RunOptions scene(const std::string& name) {
    host::RunOptions options;
    options.source.scene = name;
    return options;
}

host::RunOptions walks(const std::string& file) {
    host::RunOptions options;
    options.source.source = "walks";
    options.source.trajectories = file;
    options.source.height_mm = 6000.0;
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    std::string data = std::string(VCA_PROJECT_DIR) + "/../shared/data";
    std::string only;
    std::size_t frames = 600;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::string(argv[i]) == "--data") data = argv[i + 1];
        if (std::string(argv[i]) == "--only") only = argv[i + 1];
        if (std::string(argv[i]) == "--frames") frames = std::strtoul(argv[i + 1], nullptr, 10);
    }
    host::RunOptions recorded;
    recorded.source.source = "depth-folder";
    recorded.source.folder = data + "/depth_walk";
    recorded.source.camera_file = VCA_PROJECT_DIR "/host/examples/tof_512x424.toml";
    const std::vector<std::pair<std::string, host::RunOptions>> cases{
        {"scene entrance", scene("entrance")},
        {"scene crowd", scene("crowd")},
        {"recorded walks, corridor, 6 m",
         walks(data + "/trajectories/bidirectional_corridor_400_b_03.txt")},
        {"recorded walks, passage, 6 m",
         walks(data + "/trajectories/unidirectional_uo_180_180_070.txt")},
        {"one person, real sensor", recorded},
    };
    std::printf(
        "Milliseconds, median / 99.9th percentile.\n\n"
        "| case | people | frames | hand-over | detection | tracker | library | all |\n"
        "|---|---|---|---|---|---|---|---|\n");
    std::string costs;
    for (const auto& [name, options] : cases) {
        if (!only.empty() && name != only) continue;
        const std::string text =
            run_in_child([&options, frames] { return measure(options, frames); });
        std::size_t begin = 0;
        for (std::size_t end; (end = text.find('\n', begin)) != text.npos; begin = end + 1) {
            const std::string line = text.substr(begin, end - begin);
            if (line.starts_with("="))
                costs +=
                    "- " + name + ": " + line.substr(2) + ", committed " +
                    run_in_child([&options, frames] { return measure_store(options, frames); }) +
                    " ms\n";
            else
                std::printf("| %s |%s\n", name.c_str(), line.c_str());
        }
        if (text.starts_with("failed")) std::printf("| %s | %s |\n", name.c_str(), text.c_str());
        std::fflush(stdout);
    }
    std::printf(
        "\nProcessor time of a whole frame, the start included, of copying a depth image, and "
        "of a whole frame with its events committed:\n\n%s",
        costs.c_str());
    return 0;
}
