// How long a frame takes from pixels in memory to events at the sinks, step by step, by the number
// of people in view, each step beside its floor. Prints Markdown tables.
//
//   bench_chain [--data DIR] [--frames N] [--only CASE] [--paced] [--depth-to FILE]
//
// DIR holds the recorded data, by default ../shared/data seen from the project. The frames are made
// beforehand, so nothing else runs. One case after the other, or CASE alone, each run in a process
// of its own. With --paced the events are also committed while the frames come as often as the
// camera takes them, which takes a case 40 s more. With --depth-to nothing is measured: FILE gets
// the depth images of CASE, for count_detector.
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/chain_cases.h"
#include "bench/chain_commits.h"
#include "bench/chain_steps.h"
#include "bench/child_runs.h"
#include "bench/measure.h"
#include "bench/people_rows.h"
#include "host/app/run.h"
#include "host/app/run_store.h"
#include "host/base/text.h"
#include "host/score/samples.h"
#include "host/sinks/event_file.h"
#include "tests/support/unique_folder.h"

namespace {

using bench::ChainCase;
using bench::FrameTimes;
using host::format_text;

constexpr std::size_t kStart = 30;         // frames; the floor is looked for and memory is taken
constexpr std::size_t kFewestFrames = 20;  // of a row

struct Settings {
    std::string data = std::string(VCA_PROJECT_DIR) + "/../shared/data";
    std::string only;
    std::string depth_to;
    std::size_t frames = 600;
    bool paced = false;
};

// A case whose frames are in memory, or in a recording, and that is ready to run.
class Ready {
  public:
    Ready(const ChainCase& one, std::size_t frames, const std::string& store)
        : kept_(bench::keep_frames(one.options.source, frames)) {
        if (kept_->frames.size() < 2) throw std::runtime_error("no frames");
        host::RunOptions options = one.options;
        // One frame is left, so that the scene does not end and no empty frames follow.
        options.frames = static_cast<std::int64_t>(kept_->frames.size() - 1);
        if (!store.empty()) options.store = (folder_.path() / store).string();
        std::unique_ptr<host::FrameSource> source;
        if (one.recorded) {
            const std::filesystem::path file = folder_.path() / "kept.mkv";
            bench::record(*kept_, file, options);
            recorded_bytes_ = static_cast<double>(std::filesystem::file_size(file)) /
                              static_cast<double>(kept_->frames.size());
            source = host::open_source(options.source);
        } else {
            auto kept = std::make_unique<bench::KeptSource>(kept_);
            memory_ = kept.get();
            source = std::move(kept);
        }
        plan_ = host::prepare_run(options, std::move(source));
    }

    host::RunPlan& plan() { return plan_; }
    const bench::KeptFrames& kept() const { return *kept_; }
    const bench::KeptSource* memory() const { return memory_; }  // null: a recording
    double recorded_bytes() const { return recorded_bytes_; }    // of a frame
    const std::filesystem::path& folder() const { return folder_.path(); }

  private:
    test::UniqueFolder folder_{"vca-bench-chain"};
    std::shared_ptr<const bench::KeptFrames> kept_;
    const bench::KeptSource* memory_ = nullptr;
    double recorded_bytes_ = 0.0;
    host::RunPlan plan_;
};

// ---- The steps ----

// Making a frame, told as one time, is several steps.
void split_making(Ready& ready, FrameTimes& frame) {
    const double made_ms = frame.step_ms[bench::kHandOver];
    if (ready.memory() == nullptr) {
        frame.step_ms[bench::kDecoding] = made_ms;
        frame.step_ms[bench::kHandOver] = bench::kNone;
        return;
    }
    const double handed_ms = ready.memory()->times_ms().at(frame.number);
    frame.step_ms[bench::kHandOver] = handed_ms;
    if (ready.plan().source->info().camera.levelled)
        frame.step_ms[bench::kLevelling] = made_ms - handed_ms;
}

using Frames = std::vector<const FrameTimes*>;

template <typename Value>
std::vector<double> values_of(const Frames& frames, Value value) {
    std::vector<double> values;
    for (const FrameTimes* frame : frames) {
        const double one = value(*frame);
        if (!std::isnan(one)) values.push_back(one);
    }
    return values;
}

std::string both(const std::vector<double>& values) {
    if (values.empty()) return "–";
    return format_text("%.3f / %.3f", host::quantile(values, 0.5), host::quantile(values, 0.999));
}

std::string row_head(const ChainCase& one, std::size_t row, const Frames& frames) {
    const std::vector<double> people =
        values_of(frames, [](const FrameTimes& f) { return static_cast<double>(f.people); });
    double sum = 0.0;
    for (const double each : people)
        sum += each;
    return format_text("| %s | %s | %.0f | %zu |", one.name.c_str(), bench::kPeopleRows[row].name,
                       sum / static_cast<double>(people.size()), frames.size());
}

std::string times_row(const Frames& frames) {
    std::string text;
    for (std::size_t step = 0; step < bench::kSteps; ++step) {
        text += ' ' +
                both(values_of(frames, [step](const FrameTimes& f) { return f.step_ms[step]; })) +
                " |";
    }
    text += ' ' + both(values_of(frames, [](const FrameTimes& f) { return f.all_ms; })) + " |";
    return text + ' ' +
           both(values_of(frames, [](const FrameTimes& f) { return f.processor_ms; })) + " |\n";
}

std::string floors_row(const Frames& frames) {
    std::string text;
    for (std::size_t step = 0; step < bench::kSteps; ++step) {
        const std::vector<double> steps_ms =
            values_of(frames, [step](const FrameTimes& f) { return f.step_ms[step]; });
        const std::vector<double> floors_ms =
            values_of(frames, [step](const FrameTimes& f) { return f.floor_ms[step]; });
        if (steps_ms.empty() || floors_ms.empty())
            text += " – |";
        else
            text += format_text(" %.1f / %.2f |", 1e3 * host::quantile(steps_ms, 0.5),
                                1e3 * host::quantile(floors_ms, 0.5));
    }
    return text + '\n';
}

// Lines that begin with the table they belong to: T times, F floors, P processor time, L the list
// of what is done once.
std::string measure_steps(const ChainCase& one, const Settings& settings) {
    Ready ready(one, settings.frames, "");
    bench::StepSink sink;
    const std::atomic<bool> never{false};
    const double before_ms = bench::processor_ms();
    host::run(ready.plan(), {&sink}, never);
    const double after_ms = bench::processor_ms();
    std::vector<FrameTimes>& frames = sink.frames();
    for (FrameTimes& frame : frames)
        split_making(ready, frame);
    const VCA_ALGO_CFG_S config = host::plan_config(ready.plan());
    bench::measure_floors(
        {ready.kept(), config.InstallHeight,
         host::height_correction_mm(ready.plan(), *ready.plan().height_mm),
         ready.plan().source->info().camera.levelled.has_value(), ready.recorded_bytes()},
        frames);
    std::array<Frames, bench::kPeopleRows.size()> rows;
    Frames steady;
    for (std::size_t i = kStart; i < frames.size(); ++i) {
        rows[bench::people_row(frames[i].people)].push_back(&frames[i]);
        steady.push_back(&frames[i]);
    }
    if (steady.empty()) throw std::runtime_error("too few frames");
    std::string text;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (rows[row].size() < kFewestFrames) continue;
        const std::string head = row_head(one, row, rows[row]);
        text += "T" + head + times_row(rows[row]);
        text += "F" + head + floors_row(rows[row]);
    }
    const bench::StepAndFloor search = bench::measure_floor_search(ready.kept());
    text += format_text("L- %s: %.0f / %.2f\n", one.name.c_str(), 1e3 * search.step_ms,
                        1e3 * search.floor_ms);
    const double with_start_ms = (after_ms - before_ms) / static_cast<double>(frames.size());
    const double steady_ms = (sink.processor_at_ms().back() - sink.processor_at_ms()[kStart - 1]) /
                             static_cast<double>(steady.size());
    return text +
           format_text("P| %s | %zu | %.3f | %.3f |", one.name.c_str(), frames.size(),
                       with_start_ms, steady_ms) +
           " " + both(values_of(steady, [](const FrameTimes& f) { return f.processor_ms; })) +
           " |\n";
}

// ---- The sinks ----

double mean(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values)
        sum += value;
    return values.empty() ? 0.0 : sum / static_cast<double>(values.size());
}

// Cells: time of a frame, its floor, bytes.
std::string sink_cells(const bench::TimedSink& sink, double bytes) {
    const double frames = static_cast<double>(sink.frames_ms().size());
    return format_text(" %.1f | %.3f | %.0f |", 1e3 * mean(sink.frames_ms()),
                       1e3 * bench::copy_ms(bytes) / frames, bytes / frames);
}

// "S": events of a frame, and the cells of the file of events.
std::string measure_event_file(const ChainCase& one, const Settings& settings) {
    Ready ready(one, settings.frames, "");
    const std::string path = (ready.folder() / "events.jsonl").string();
    host::EventFile file(path);
    bench::TimedSink timed({&file});
    const std::atomic<bool> never{false};
    host::run(ready.plan(), {&timed}, never);
    const auto bytes = static_cast<double>(std::filesystem::file_size(path));
    return format_text("S| %s | %.1f |", one.name.c_str(),
                       static_cast<double>(timed.events()) /
                           static_cast<double>(timed.frames_ms().size())) +
           sink_cells(timed, bytes) + '\n';
}

struct StoreRun {
    std::string cells;      // of the store as a sink
    std::string processor;  // with the start, steady, median and 99.9th percentile
    double steady_ms = 0.0;
};

// Of a database, with what stands beside it.
double database_bytes(const std::string& path) {
    double bytes = 0.0;
    for (const char* const ending : {"", "-wal"}) {
        std::error_code missing;
        const std::uintmax_t size = std::filesystem::file_size(path + ending, missing);
        if (!missing) bytes += static_cast<double>(size);
    }
    return bytes;
}

double empty_database_bytes(host::RunPlan& plan) {
    const std::string wanted = plan.options.store;
    plan.options.store = wanted + ".empty";
    for (const std::unique_ptr<host::Sink>& sink : host::open_run_store(plan))
        sink->finish();
    return database_bytes(std::exchange(plan.options.store, wanted));
}

// Processor time of a frame from the end of the start to now, with what comes after the last frame.
double steady_to_now(const bench::StepSink& steps, double now_ms) {
    const std::vector<double>& at_ms = steps.processor_at_ms();
    if (at_ms.size() <= kStart) throw std::runtime_error("too few frames");
    return (now_ms - at_ms[kStart - 1]) / static_cast<double>(at_ms.size() - kStart);
}

// The rest of the lines of "S" and "P".
std::string measure_store(const ChainCase& one, const Settings& settings) {
    Ready ready(one, settings.frames, "camera.db");
    const double empty_bytes = empty_database_bytes(ready.plan());
    const std::atomic<bool> never{false};
    bench::StepSink steps;
    const double before_ms = bench::processor_ms();
    std::vector<std::unique_ptr<host::Sink>> store = host::open_run_store(ready.plan());
    std::vector<host::Sink*> sinks;
    for (const std::unique_ptr<host::Sink>& sink : store)
        sinks.push_back(sink.get());
    bench::TimedSink timed(sinks);
    host::run(ready.plan(), {&timed, &steps}, never);
    store.clear();
    const double after_ms = bench::processor_ms();
    const double bytes = database_bytes(ready.plan().options.store) - empty_bytes;
    const std::vector<FrameTimes>& frames = steps.frames();
    std::vector<double> each_ms;
    for (std::size_t i = kStart; i < frames.size(); ++i)
        each_ms.push_back(frames[i].processor_ms);
    return "S" + sink_cells(timed, std::max(bytes, 0.0)) +
           format_text("\nP %.3f | %.3f | ",
                       (after_ms - before_ms) / static_cast<double>(frames.size()),
                       steady_to_now(steps, after_ms)) +
           both(each_ms) + " |\n";
}

std::string measure_paced(const ChainCase& one, const Settings& settings) {
    Ready ready(one, settings.frames, "camera.db");
    bench::StepSink steps;
    const std::vector<double> waits_ms = bench::run_at_pace(ready.plan(), {&steps});
    const double steady_ms = steady_to_now(steps, bench::processor_ms());
    std::string waits = waits_ms.empty()
                            ? "– | 0"
                            : format_text("%.0f / %.0f | %zu", host::quantile(waits_ms, 0.5),
                                          host::quantile(waits_ms, 1.0), waits_ms.size());
    return format_text("P %.3f | ", steady_ms) + waits + " |\n";
}

// ---- Tables ----

// The part of a text that is of this table.
std::string part_of(const std::string& text, char table) {
    std::string part;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
        if (text[begin] == table) part += text.substr(begin + 1, end - begin - 1) + '\n';
    }
    return part;
}

// The rows of one case in each table.
struct Rows {
    std::string times, floors, processor, sinks, once;
};

std::string without_end(std::string line) {
    if (!line.empty() && line.back() == '\n') line.pop_back();
    return line;
}

Rows measure(const ChainCase& one, const Settings& settings) {
    const auto run = [&](std::string (*work)(const ChainCase&, const Settings&)) {
        std::string text = run_in_child([&] { return work(one, settings); });
        if (text.starts_with("failed") || text.ends_with("(ended abnormally)\n"))
            throw std::runtime_error(one.name + ": " + text);
        return text;
    };
    const std::string steps = run(measure_steps);
    const std::string events = run(measure_event_file);
    const std::string store = run(measure_store);
    Rows rows;
    rows.times = part_of(steps, 'T');
    rows.floors = part_of(steps, 'F');
    rows.processor = without_end(part_of(steps, 'P')) + part_of(store, 'P');
    rows.sinks = without_end(part_of(events, 'S')) + part_of(store, 'S');
    rows.once = part_of(steps, 'L');
    if (settings.paced)
        rows.processor = without_end(rows.processor) + part_of(run(measure_paced), 'P');
    return rows;
}

void print_table(const char* about, const std::string& head, const std::string& rows) {
    const auto columns = std::count(head.begin(), head.end(), '|') - 1;
    std::printf("%s\n\n%s\n|", about, head.c_str());
    for (std::ptrdiff_t i = 0; i < columns; ++i)
        std::printf("---|");
    std::printf("\n%s\n", rows.c_str());
}

void print_tables(const Rows& rows, bool paced) {
    std::string steps = "| case | people | mean | frames |";
    for (const char* const name : bench::kStepNames)
        steps += std::string(" ") + name + " |";
    print_table("Milliseconds of a frame, median / 99.9th percentile.",
                steps + " all | processor |", rows.times);
    print_table("Steps beside their floors: microseconds, medians, step / floor.", steps,
                rows.floors);
    print_table(
        "Processor time of a whole frame in ms, of all threads: to a null sink and until the "
        "events are committed.",
        std::string("| case | frames | with the start | steady | median / 99.9th percentile | "
                    "committed, with the start | steady | median / 99.9th percentile |") +
            (paced ? " steady at the camera's pace | ms from frame to commit, median / most | "
                     "counts |"
                   : ""),
        rows.processor);
    print_table("Sinks: microseconds of a frame on the thread that tells them, means.",
                "| case | events of a frame | file of events | floor | bytes | store | floor | "
                "bytes |",
                rows.sinks);
    std::printf(
        "Looking for the floor in a frame, once at the start: microseconds, step / floor."
        "\n\n%s",
        rows.once.c_str());
}

// ---- Depth images for count_detector ----

std::string write_depth(const ChainCase& one, const Settings& settings) {
    Ready ready(one, settings.frames, "");
    const host::CameraModel& camera = ready.plan().source->info().camera;
    bench::DepthFileSink sink(
        settings.depth_to,
        {camera.fx, camera.fy, camera.cx, camera.cy,
         ready.plan().options.source.height_mm.value_or(camera.height_mm.value_or(0.0)).value,
         1.0 / ready.kept().info.frames_per_second});
    const std::atomic<bool> never{false};
    host::run(ready.plan(), {&sink}, never);
    return "";
}

Settings read_arguments(int argc, char** argv) {
    Settings settings;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool more = i + 1 < argc;
        if (word == "--paced")
            settings.paced = true;
        else if (word == "--data" && more)
            settings.data = argv[++i];
        else if (word == "--only" && more)
            settings.only = argv[++i];
        else if (word == "--depth-to" && more)
            settings.depth_to = argv[++i];
        else if (word == "--frames" && more)
            settings.frames = std::strtoul(argv[++i], nullptr, 10);
        else
            throw std::runtime_error("unknown argument \"" + word +
                                     "\"; see the head of bench/chain.cpp");
    }
    return settings;
}

int run_cases(const Settings& settings) {
    Rows all;
    bool any = false;
    for (const ChainCase& one : bench::chain_cases(settings.data)) {
        if (!settings.only.empty() && one.name != settings.only) continue;
        any = true;
        if (!settings.depth_to.empty()) {
            const std::string text = run_in_child([&] { return write_depth(one, settings); });
            if (!text.empty()) throw std::runtime_error(one.name + ": " + text);
            continue;
        }
        const Rows rows = measure(one, settings);
        all.times += rows.times;
        all.floors += rows.floors;
        all.processor += rows.processor;
        all.sinks += rows.sinks;
        all.once += rows.once;
    }
    if (!any) throw std::runtime_error("there is no case \"" + settings.only + "\"");
    if (settings.depth_to.empty()) print_tables(all, settings.paced);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run_cases(read_arguments(argc, argv));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_chain: %s\n", e.what());
        return 1;
    }
}
