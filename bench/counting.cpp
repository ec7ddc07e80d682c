// How right the counts are where it is difficult: recorded walks under cameras at several heights,
// a jam before a door, lines that end inside a stream, few frames a second, many seeds of the
// scenes, crooked cameras, and the recording of a real depth camera. Prints a Markdown table.
//
//   bench_counting [--data DIR] [--cases] [--seeds FIRST-LAST] [--clutter-seconds S]
//                  [ROW ...]
//
// DIR holds the recorded data, by default ../shared/data seen from the project. --cases lists each
// wrong count below the table. Runs go on as many processors as there are.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench/child_runs.h"
#include "bench/count_tally.h"
#include "host/app/run.h"
#include "host/frames/sim_source.h"
#include "sim/simulator.h"
#include "sim/tilt.h"

namespace {

namespace fs = std::filesystem;

struct Settings {
    fs::path data = fs::path(VCA_PROJECT_DIR) / "../shared/data";
    std::uint64_t first_seed = 2;
    std::uint64_t last_seed = 21;
    double clutter_s = 3600.0;
    bool cases = false;
    std::vector<std::string> rows;
};

// One run of the program.
struct Run {
    std::string row;
    std::string name;
    host::RunOptions options;
    std::function<sim::Simulator()> simulator{};  // instead of the source of the options
    int every = 1;                                // of this many frames the first is used
    double from_s = 0.0;                          // the beginning is left out
};

// ---- A run ----

// Every n-th frame of a source, with the crossings of those that are left out.
class FewerFrames final : public host::FrameSource {
  public:
    FewerFrames(std::unique_ptr<host::FrameSource> source, int every)
        : source_(std::move(source)), every_(every) {
        info_ = source_->info();
        info_.frames_per_second /= every;
    }

    bool next(host::SourceFrame& frame) override {
        std::vector<host::TrueCrossing> crossings;
        for (int i = 0; i < every_; ++i) {
            if (!source_->next(frame)) return false;
            crossings.insert(crossings.end(), frame.crossings.begin(), frame.crossings.end());
        }
        frame.number = number_++;
        frame.crossings = std::move(crossings);
        return true;
    }

    void count_truth(const std::vector<host::CountingLine>& lines) override {
        source_->count_truth(lines);
    }

    void begin() override {
        source_->begin();
        info_.camera = source_->info().camera;
    }

  private:
    std::unique_ptr<host::FrameSource> source_;
    int every_;
    std::int64_t number_ = 0;
};

std::string run_here(const Run& one) {
    host::RunPlan plan = one.simulator
                             ? host::prepare_run(one.options, host::open_simulator(one.simulator()))
                             : host::prepare_run(one.options);
    if (one.every > 1) {
        plan.source = std::make_unique<FewerFrames>(std::move(plan.source), one.every);
        plan.source->count_truth(plan.lines);
    }
    TallySink sink(tally_setup(plan, one.from_s));
    const std::atomic<bool> never{false};
    host::run(plan, {&sink}, never);
    std::vector<std::string> cases;
    const CountTally t = sink.tally(cases);
    std::ostringstream text;
    text << t.truth << ' ' << t.missed << ' ' << t.extra << ' ' << t.swaying << ' ' << t.backwards
         << ' ' << t.switches << ' ' << t.gap_frames << ' ' << t.tracked_frames << ' '
         << t.false_boxes << '\n';
    for (const std::string& line : cases)
        text << line << '\n';
    return text.str();
}

// ---- The table ----

struct Interval {
    double low = 0.0;
    double high = 0.0;
};

// 95 % interval of a share (Wilson, Probable Inference, 1927).
Interval wilson(std::int64_t hits, std::int64_t of) {
    if (of == 0) return {0.0, 1.0};
    constexpr double z = 1.959964;
    const auto n = static_cast<double>(of);
    const double p = std::min(static_cast<double>(hits) / n, 1.0);
    const double middle = (p + z * z / (2 * n)) / (1 + z * z / n);
    const double half = z / (1 + z * z / n) * std::sqrt(p * (1 - p) / n + z * z / (4 * n * n));
    return {std::max(middle - half, 0.0), std::min(middle + half, 1.0)};
}

double percent(std::int64_t hits, std::int64_t of) {
    return of > 0 ? 100.0 * static_cast<double>(hits) / static_cast<double>(of) : 0.0;
}

void print_row(const std::string& name, const CountTally& t) {
    const Interval ci = wilson(t.wrong(), t.truth);
    std::printf(
        "| %s | %lld | %lld + %lld = %lld (%.2f %%; %.2f to %.2f %%) | %lld | %lld | %lld | "
        "%lld of %lld (%.3f %%) | %lld |\n",
        name.c_str(), static_cast<long long>(t.truth), static_cast<long long>(t.missed),
        static_cast<long long>(t.extra), static_cast<long long>(t.wrong()),
        percent(t.wrong(), t.truth), 100 * ci.low, 100 * ci.high, static_cast<long long>(t.swaying),
        static_cast<long long>(t.backwards), static_cast<long long>(t.switches),
        static_cast<long long>(t.gap_frames), static_cast<long long>(t.tracked_frames),
        percent(t.gap_frames, t.tracked_frames), static_cast<long long>(t.false_boxes));
    std::fflush(stdout);
}

using Rows = std::vector<std::pair<std::string, CountTally>>;

// The sums of a row, which is added at the end when it is new.
CountTally& row_of(const std::string& name, Rows& rows) {
    for (auto& [known, tally] : rows)
        if (known == name) return tally;
    return rows.emplace_back(name, CountTally{}).second;
}

// ---- The runs ----

// A line on the floor, metres from the point below the camera: x to the right, y down the picture.
struct FloorLine {
    double x0, y0, x1, y1;
};

FloorLine upright(double x, double y0, double y1) {
    return {x, y0, x, y1};
}

FloorLine level(double y, double half) {
    return {-half, y, half, y};
}

host::PlacedLine placed(const FloorLine& line, double height_m, size_t number) {
    const double scale = sim::kDefaultFocalPx / height_m;
    const auto at = [&](double x, double y) {
        return host::PicturePoint{std::round(sim::kCentreU + scale * x),
                                  std::round(sim::kCentreV + scale * y)};
    };
    host::CountingLine counting;
    counting.name = "line " + std::to_string(number);
    counting.points = {at(line.x0, line.y0), at(line.x1, line.y1)};
    return counting;
}

constexpr char kTwoWays[] = "bidirectional_corridor_400_b_03";
constexpr char kOneWay[] = "unidirectional_uo_180_180_070";
constexpr char kClutter[] = "clutter";
constexpr char kBottleneck[] = "bottleneck_030_c_56_h0";
constexpr double kOneWayFps = 16.0;         // its file names none
constexpr double kStandingAtFirst_s = 3.0;  // the jam is there, on the lines, when its file begins

class Walks {
  public:
    Walks(const Settings& settings, std::vector<Run>& runs) : settings_(settings), runs_(runs) {}

    void add(const std::string& row, const std::string& file, double fps, double height_m,
             const host::PicturePoint& at, const std::vector<FloorLine>& lines, int every = 1) {
        Run run;
        run.row = row;
        char name[120];
        std::snprintf(name, sizeof name, "%s, %.1f m, camera at %.1f,%.1f", file.c_str(), height_m,
                      at.x, at.y);
        run.name = name;
        run.every = every;
        if (file == kBottleneck) run.from_s = kStandingAtFirst_s;
        run.options.source.source = "walks";
        run.options.source.trajectories =
            (settings_.data / "trajectories" / (file + ".txt")).string();
        run.options.source.height_mm = 1000.0 * height_m;
        if (fps > 0.0) run.options.source.frames_per_second = fps;
        run.options.source.camera_at = at;
        for (size_t i = 0; i < lines.size(); ++i)
            run.options.lines.push_back(placed(lines[i], height_m, i + 1));
        runs_.push_back(std::move(run));
    }

  private:
    const Settings& settings_;
    std::vector<Run>& runs_;
};

void add_flow(Walks& walks) {
    for (const double x : {-1.5, 1.0}) {
        walks.add("flow", kTwoWays, 0, 6.0, {x, 2.0},
                  {upright(-2.0, -2.1, 2.1), upright(-0.7, -2.1, 2.1), upright(0.7, -2.1, 2.1),
                   upright(2.0, -2.1, 2.1)});
    }
    const std::map<double, std::vector<double>> places{{3.0, {-0.2, -0.07, 0.07, 0.2}},
                                                       {4.0, {-0.6, -0.2, 0.2, 0.6}},
                                                       {6.0, {-1.4, -0.5, 0.5, 1.4}}};
    for (const auto& [height_m, ys] : places) {
        std::vector<FloorLine> lines;
        for (const double y : ys)
            lines.push_back(level(y, 1.3));
        for (const double y : {3.0, 1.0, -1.0})
            walks.add("flow", kOneWay, kOneWayFps, height_m, {0.9, y}, lines);
        // Behind the door, where people walk in file; nobody is recorded for long there.
        walks.add("flow", kBottleneck, 0, height_m, {0.1, -1.1},
                  {level(-0.2, 1.0), level(-0.05, 1.0), level(0.1, 1.0), level(0.25, 1.0)});
    }
}

void add_jam(Walks& walks) {
    for (const double height_m : {4.0, 5.0, 6.0}) {
        walks.add("jam", kBottleneck, 0, height_m, {-0.1, 1.1},
                  {level(0.9, 2.2), level(0.3, 2.2), level(-0.3, 2.2), level(-0.9, 2.2)});
    }
}

void add_ending(Walks& walks) {
    for (const double x : {-1.5, 1.0}) {
        walks.add("lines that end in the stream", kTwoWays, 0, 6.0, {x, 2.0},
                  {upright(-2.4, -0.4, 0.7), upright(-0.8, -2.1, 0.0), upright(0.8, 0.0, 2.1),
                   upright(2.4, -0.7, 0.5)});
    }
}

void add_slow(Walks& walks) {
    for (const double x : {-1.5, 1.0}) {
        walks.add("4 frames a second", kTwoWays, 0, 6.0, {x, 2.0},
                  {upright(-2.0, -2.1, 2.1), upright(-0.7, -2.1, 2.1), upright(0.7, -2.1, 2.1),
                   upright(2.0, -2.1, 2.1)},
                  6);
    }
    for (const double y : {3.0, 1.0, -1.0}) {
        walks.add("4 frames a second", kOneWay, kOneWayFps, 6.0, {0.9, y},
                  {level(-0.7, 1.3), level(-0.2, 1.3), level(0.2, 1.3), level(0.7, 1.3)}, 4);
    }
}

// Nothing here looks at colours.
sim::Simulator depth_only(sim::Simulator simulator) {
    simulator.leave_out_colours();
    return simulator;
}

void add_scenes(const Settings& settings, std::vector<Run>& runs) {
    for (const std::string& scene : sim::scene_names()) {
        if (scene == kClutter) continue;
        for (std::uint64_t seed = settings.first_seed; seed <= settings.last_seed; ++seed) {
            Run run;
            run.row = sim::scene_info(scene).crowded ? "scenes, crowded" : "scenes";
            run.name = scene + ", seed " + std::to_string(seed);
            run.simulator = [=] { return depth_only(sim::make_scene(scene, seed)); };
            runs.push_back(std::move(run));
        }
    }
}

// ---- Crooked cameras ----

// To the right, towards the upper edge, and both.
std::vector<sim::Tilt> tilts_of(double degrees) {
    constexpr double kBoth = 0.707;  // of each, so that the whole is about the same
    return {{degrees, 0.0}, {0.0, degrees}, {kBoth * degrees, kBoth * degrees}};
}

constexpr double kCut_deg = 10.0;  // the lines are those in view at this tilt

// Whether a head over this point of the floor is in all pictures.
bool in_view_of_all(const sim::Camera& camera, const sim::Point& at, double head_m) {
    const sim::Pixel level = camera.project(at.x_m, at.y_m, head_m);
    for (const sim::Tilt& tilt : tilts_of(kCut_deg)) {
        const auto taken = sim::Turn(tilt).pixel(camera, level);
        if (!taken || !sim::in_image(*taken)) return false;
    }
    return sim::in_image(level);
}

sim::Point between(const sim::Point& a, const sim::Point& b, double part) {
    return {a.x_m + part * (b.x_m - a.x_m), a.y_m + part * (b.y_m - a.y_m)};
}

// The part of a straight line to both sides of which people are in view for a while.
FloorLine cut_to_view(const sim::Camera& camera, const sim::CountingLine& line) {
    constexpr double kAside_m = 0.35;
    constexpr double kHead_m = 1.7;
    constexpr int kParts = 200;
    const sim::Point a = line.points.front();
    const sim::Point b = line.points.back();
    const double length = std::hypot(b.x_m - a.x_m, b.y_m - a.y_m);
    const sim::Point aside{kAside_m * (b.y_m - a.y_m) / length,
                           -kAside_m * (b.x_m - a.x_m) / length};
    double first = 1.0;
    double last = 0.0;
    for (int i = 0; i <= kParts; ++i) {
        const double part = static_cast<double>(i) / kParts;
        const sim::Point p = between(a, b, part);
        if (!in_view_of_all(camera, {p.x_m + aside.x_m, p.y_m + aside.y_m}, kHead_m) ||
            !in_view_of_all(camera, {p.x_m - aside.x_m, p.y_m - aside.y_m}, kHead_m))
            continue;
        first = std::min(first, part);
        last = std::max(last, part);
    }
    const sim::Point p = between(a, b, first);
    const sim::Point q = between(a, b, last);
    return {p.x_m, p.y_m, q.x_m, q.y_m};
}

// A scene's own lines as far as they are in view, with their areas drawn in.
std::vector<host::PlacedLine> lines_in_view(const sim::SceneInfo& scene) {
    constexpr double kTallest_m = 2.0;  // to be judged, everybody has to leave the area in view
    std::vector<host::PlacedLine> lines;
    for (const sim::CountingLine& line : scene.lines) {
        const FloorLine cut = cut_to_view(scene.camera, line);
        lines.push_back(placed(cut, scene.camera.height_m, lines.size() + 1));
        host::CountingLine& counting = lines.back().value;
        counting.uturn_filter = !line.uturn_area.empty();
        const sim::Point middle{0.5 * (cut.x0 + cut.x1), 0.5 * (cut.y0 + cut.y1)};
        for (const sim::Point& corner : line.uturn_area) {
            double part = 1.0;
            while (part > 0.0 &&
                   !in_view_of_all(scene.camera, between(middle, corner, part), kTallest_m))
                part -= 0.01;
            const sim::Point p = between(middle, corner, part);
            const sim::Pixel at = scene.camera.project(p.x_m, p.y_m, 0.0);
            counting.uturn_area.push_back({std::round(at.u), std::round(at.v)});
        }
    }
    return lines;
}

// The scenes with these lines under a camera that hangs level, and more and more crooked.
void add_crooked(std::vector<Run>& runs) {
    constexpr std::uint64_t kSeeds = 3;
    for (const double degrees : {0.0, 5.0, 10.0, 15.0}) {
        std::vector<sim::Tilt> tilts = tilts_of(degrees);
        if (degrees == 0.0) tilts.resize(1);
        for (const std::string& scene : sim::scene_names()) {
            const std::vector<host::PlacedLine> lines = lines_in_view(sim::scene_info(scene));
            for (const sim::Tilt& tilt : tilts) {
                for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
                    Run run;
                    char text[120];
                    std::snprintf(text, sizeof text, "crooked by %.0f degrees%s", degrees,
                                  sim::scene_info(scene).crowded ? ", crowded" : "");
                    run.row = text;
                    std::snprintf(text, sizeof text, "%s, seed %d, roll %.1f, pitch %.1f",
                                  scene.c_str(), static_cast<int>(seed), tilt.roll_deg,
                                  tilt.pitch_deg);
                    run.name = text;
                    run.simulator = [=] {
                        sim::Simulator simulator = depth_only(sim::make_scene(scene, seed));
                        simulator.tilt(tilt);
                        return simulator;
                    };
                    run.options.lines = lines;
                    runs.push_back(std::move(run));
                }
            }
        }
    }
}

const char* sensor_name(const std::string& noise) {
    if (noise == "time-of-flight") return "time of flight";
    return noise == "stereo" ? "stereo" : "plain sensor";
}

// Scenes that can be counted without errors, seen by other sensors and at other frame rates.
void add_sensors(const Settings& settings, std::vector<Run>& runs) {
    constexpr std::uint64_t kSeeds = 5;
    for (const std::string& noise : sim::noise_names()) {
        for (const double fps : {8.0, 15.0, 30.0}) {
            const sim::CaptureOptions capture{fps, sim::noise_from(noise)};
            for (const std::string& scene : sim::scene_names()) {
                if (sim::scene_info(scene).crowded || scene == kClutter) continue;
                for (std::uint64_t i = 0; i < kSeeds; ++i) {
                    const std::uint64_t seed = settings.first_seed + i;
                    Run run;
                    run.row = std::string(sensor_name(noise)) + ", " +
                              std::to_string(std::lround(fps)) + " frames/s";
                    run.name = scene + ", seed " + std::to_string(seed);
                    run.simulator = [=] {
                        return depth_only(sim::make_scene(scene, seed, {}, capture));
                    };
                    runs.push_back(std::move(run));
                }
            }
        }
    }
}

// An hour with each kind of things that are not people.
void add_clutter(const Settings& settings, std::vector<Run>& runs) {
    for (const std::string& kind : sim::clutter_names()) {
        for (const std::string& noise : sim::noise_names()) {
            const sim::CaptureOptions capture{{}, sim::noise_from(noise)};
            Run run;
            run.row = "clutter, " + kind;
            run.name = kind + " seen by " + sensor_name(noise);
            run.simulator = [=, &settings] {
                return depth_only(
                    sim::make_clutter({kind}, settings.first_seed, settings.clutter_s, capture));
            };
            runs.push_back(std::move(run));
        }
    }
}

std::vector<Run> all_runs(const Settings& settings) {
    std::vector<Run> runs;
    Walks walks(settings, runs);
    add_flow(walks);
    add_jam(walks);
    add_ending(walks);
    add_slow(walks);
    add_scenes(settings, runs);
    add_crooked(runs);
    add_sensors(settings, runs);
    add_clutter(settings, runs);
    return runs;
}

std::vector<Run> chosen_runs(const Settings& settings) {
    std::vector<Run> runs = all_runs(settings);
    if (settings.rows.empty()) return runs;
    std::erase_if(runs, [&](const Run& run) {
        return std::none_of(settings.rows.begin(), settings.rows.end(),
                            [&](const std::string& row) {
                                return run.row.starts_with(row) || run.name.starts_with(row);
                            });
    });
    return runs;
}

Settings read_arguments(int argc, char** argv) {
    Settings settings;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--cases") {
            settings.cases = true;
        } else if (word == "--data" && i + 1 < argc) {
            settings.data = argv[++i];
        } else if (word == "--clutter-seconds" && i + 1 < argc) {
            settings.clutter_s = std::strtod(argv[++i], nullptr);
        } else if (word == "--seeds" && i + 1 < argc) {
            char* dash = nullptr;
            settings.first_seed = std::strtoull(argv[++i], &dash, 10);
            settings.last_seed =
                *dash == '-' ? std::strtoull(dash + 1, nullptr, 10) : settings.first_seed;
        } else {
            settings.rows.push_back(word);
        }
    }
    return settings;
}

}  // namespace

int main(int argc, char** argv) {
    const Settings settings = read_arguments(argc, argv);
    const std::vector<Run> runs = chosen_runs(settings);
    std::vector<std::function<std::string()>> works;
    for (const Run& run : runs)
        works.push_back([&run] { return run_here(run); });
    std::vector<std::string> cases;
    Rows rows;
    std::printf(
        "| what | true crossings | missed + extra (share; 95 %% interval) | of these swaying | "
        "backwards | id "
        "switches | frames without detection | boxes on nobody "
        "|\n|---|---|---|---|---|---|---|---|\n");
    const std::vector<std::string> texts = run_in_children(works);
    for (size_t i = 0; i < runs.size(); ++i) {
        std::istringstream text(texts[i]);
        CountTally t;
        if (!(text >> t.truth >> t.missed >> t.extra >> t.swaying >> t.backwards >> t.switches >>
              t.gap_frames >> t.tracked_frames >> t.false_boxes)) {
            std::printf("| %s: %s | failed: %s |\n", runs[i].row.c_str(), runs[i].name.c_str(),
                        texts[i].c_str());
            continue;
        }
        if (settings.cases) print_row(runs[i].row + ": " + runs[i].name, t);
        row_of(runs[i].row, rows).add(t);
        std::string line;
        std::getline(text, line);
        while (std::getline(text, line))
            cases.push_back(runs[i].row + ": " + runs[i].name + ": " + line);
    }
    for (const auto& [name, tally] : rows)
        print_row(name, tally);
    if (!settings.cases) return 0;
    std::printf("\n");
    for (const std::string& line : cases)
        std::printf("- %s\n", line.c_str());
    return 0;
}
