// How well the whole program counts, finds, tracks and measures: on the built-in scenes, on
// recorded walks and on a recording of a real depth camera. Prints Markdown tables.
//
//   bench_accuracy [--data DIR] [NAME ...]
//
// DIR holds the recorded data (depth_walk/ and trajectories/), by default ../shared/data seen from
// the project. NAME picks cases. The library has one state per process, so each case runs in a
// child process of its own.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bench/child_runs.h"
#include "host/app/run.h"
#include "host/frames/depth_camera.h"
#include "host/inference/depth_detector.h"
#include "sim/simulator.h"
#include "vca/base.h"

namespace {

namespace fs = std::filesystem;

const fs::path kProject = VCA_PROJECT_DIR;

struct Outcome : host::RunOutcome {
    std::vector<host::Event> counted;  // people
};

struct Case {
    std::string name;
    host::RunOptions options;
    std::function<std::string(const Outcome&)> report;
};

// ---- One run in a child process ----

class CountedPeople final : public host::Sink {
  public:
    void on_event(const host::Event& event) override {
        if (std::holds_alternative<host::PersonCounted>(event.payload)) events.push_back(event);
    }
    std::vector<host::Event> events;
};

std::string run_here(const Case& one) {
    host::RunPlan plan = host::prepare_run(one.options);
    CountedPeople counted;
    return one.report({host::run_for_scores(plan, {&counted}), counted.events});
}

std::string run(const Case& one) {
    return run_in_child([&one] { return run_here(one); });
}

template <typename... Args>
std::string format(const char* pattern, Args... args) {
    char text[512];
    std::snprintf(text, sizeof(text), pattern, args...);
    return text;
}

// ---- Scenes and recorded walks: everything against the simulator's truth ----

std::string count_cell(const host::DirectionCount& count) {
    const int error = count.counted - count.truth;
    const double share = count.truth > 0 ? 100.0 * std::abs(error) / count.truth : 0.0;
    return format("%d / %d (%.1f %%)", count.counted, count.truth, share);
}

std::string truth_row(const std::string& name, const Outcome& r) {
    return format(
        "| %s | %s | %s | %.2f / %.2f %% | %lld | %.1f %% | %.1f %% | %+.0f / %.0f mm |\n",
        name.c_str(), count_cell(r.scores.totals[0]).c_str(),
        count_cell(r.scores.totals[1]).c_str(), 100 * r.scores.detection.precision(),
        100 * r.scores.detection.recall(), static_cast<long long>(r.scores.tracking.switches),
        100 * r.scores.tracking.mota(), 100 * r.scores.tracking.idf1(),
        r.scores.height_errors_mm.quantile(0.5), r.scores.height_error_sizes_mm.quantile(0.95));
}

constexpr char kTruthHead[] =
    "| case | direction 1, counted / true | direction 2 | precision / recall | id switches | MOTA "
    "| "
    "IDF1 | height error, median / 95 % |\n|---|---|---|---|---|---|---|---|\n";

host::RunOptions scene_options(const std::string& scene) {
    host::RunOptions options;
    options.source.source = "scene";
    options.source.scene = scene;
    return options;
}

// ---- The scenes' regions, the time spent in them, the heat map ----

constexpr char kRegionHead[] =
    "\n| case | regions | people per region: reported, inside, true | error of the number of "
    "people: reported, inside "
    "| stays, compared / missed | error of the time, median / 95 % | heat map / true |\n"
    "|---|---|---|---|---|---|---|\n";

std::string region_row(const std::string& name, const Outcome& r) {
    const host::Scores& scores = r.scores;
    const auto mean = [&scores](double host::Occupancy::*figure) {
        return host::mean_of_regions(scores.regions, figure);
    };
    const double heat_s = r.evidence.heat ? host::heat_seconds(*r.evidence.heat) : 0.0;
    return format("| %s | %zu | %.2f, %.2f, %.2f | %.2f, %.2f |", name.c_str(),
                  scores.regions.size(), mean(&host::Occupancy::mean),
                  mean(&host::Occupancy::inside_mean), mean(&host::Occupancy::true_mean),
                  mean(&host::Occupancy::mean_abs_error),
                  mean(&host::Occupancy::inside_abs_error)) +
           format(" %lld / %d of %d | %.2f / %.2f s |",
                  static_cast<long long>(scores.stays.error_sizes_s.count()),
                  scores.stays.true_long_stays_missed, scores.stays.true_long_stays,
                  scores.stays.error_sizes_s.quantile(0.5),
                  scores.stays.error_sizes_s.quantile(0.95)) +
           format(" %.0f / %.0f s (%.0f %%) |\n", heat_s, scores.true_view_s,
                  scores.true_view_s > 0.0 ? 100.0 * heat_s / scores.true_view_s : 0.0);
}

// ---- Staff: the decision on each track against what the person wears ----

constexpr char kStaffHead[] =
    "\n| case | tracks of 2 s or more | of staff | precision | recall | accuracy |\n"
    "|---|---|---|---|---|---|\n";

// Nothing for a scene without staff.
std::string staff_row(const std::string& name, const Outcome& r) {
    if (!r.scores.staff) return "";
    const host::StaffScore& score = *r.scores.staff;
    return format("| %s | %d | %d | %.1f %% | %.1f %% | %.1f %% |\n", name.c_str(), score.tracks(),
                  score.right_staff + score.missed, 100 * score.precision(), 100 * score.recall(),
                  100 * score.accuracy());
}

// ---- The scenes once more with other people: counts alone ----

constexpr char kSeedsHead[] =
    "\n| case | runs | true crossings | miscounted, per line and direction | runs without an "
    "error |\n|---|---|---|---|---|\n";

// Truth and size of the error of one run, for seeds_row.
std::string count_errors(const Outcome& r) {
    int truth = 0;
    int wrong = 0;
    for (const auto& line : r.scores.counts)
        for (const host::DirectionCount& count : line) {
            truth += count.truth;
            wrong += std::abs(count.counted - count.truth);
        }
    return format("%d %d", truth, wrong);
}

std::string seeds_row(const std::string& scene, std::uint64_t first, std::uint64_t last) {
    int runs = 0;
    int truth = 0;
    int wrong = 0;
    int right_runs = 0;
    for (std::uint64_t seed = first; seed <= last; ++seed) {
        Case one{scene, scene_options(scene), count_errors};
        one.options.source.seed = seed;
        std::istringstream numbers(run(one));
        int run_truth = 0;
        int run_wrong = 0;
        if (!(numbers >> run_truth >> run_wrong)) return "| " + scene + " | failed |\n";
        ++runs;
        truth += run_truth;
        wrong += run_wrong;
        right_runs += run_wrong == 0 ? 1 : 0;
    }
    return format("| %s, seeds %d to %d | %d | %d | %d (%.2f %%) | %d |\n", scene.c_str(),
                  static_cast<int>(first), static_cast<int>(last), runs, truth, wrong,
                  truth > 0 ? 100.0 * wrong / truth : 0.0, right_runs);
}

// ---- The recording of a real depth camera: against the labelled heads ----

struct Head {
    double u = 0.0;
    double v = 0.0;
};

std::map<int, Head> read_heads(const fs::path& file) {
    std::map<int, Head> heads;
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream fields(line);
        int frame = 0;
        Head head;
        if (fields >> frame >> head.u >> head.v) heads[frame] = head;
    }
    return heads;
}

// Middle of a box of the 960 x 544 picture in pixels of the recording.
Head box_middle(const host::PixelBox& box, const host::RecordingFit& fit) {
    const double x = (box.x + box.w / 2.0) * 480.0 / 960.0;
    const double y = (box.y + box.h / 2.0) * 256.0 / 544.0;
    return {(x - fit.offset_x) / fit.scale, (y - fit.offset_y) / fit.scale};
}

struct HeadScore {
    int found = 0;       // labelled frames with a box whose middle is near the label
    int with_false = 0;  // labelled frames with any other box, but for the left edge
};

// What the detector finds, before the library drops what reaches into the picture's border.
HeadScore score_heads(const host::RunOptions& options, const std::map<int, Head>& heads) {
    constexpr double kNearPx = 20.0;
    constexpr double kEdgePx = 80.0;  // left of it the person hangs over the picture's edge
    const auto source = host::open_source(options.source);
    host::DepthDetector detector(source->info().camera);
    const host::RecordingFit fit = host::fit_recording(512, 424);
    HeadScore score;
    host::SourceFrame frame;
    for (int number = 1; source->next(frame); ++number) {
        const auto label = heads.find(number);
        if (label == heads.end()) continue;
        bool hit = false;
        bool wrong = false;
        for (const host::Detection& box : detector.detect(frame.planes.raw_mm.data(), 480)) {
            const Head at = box_middle({box.x, box.y, box.w, box.h}, fit);
            const bool near = std::hypot(at.u - label->second.u, at.v - label->second.v) <= kNearPx;
            if (near && !hit)
                hit = true;
            else if (at.u >= kEdgePx)
                wrong = true;
        }
        score.found += hit ? 1 : 0;
        score.with_false += wrong ? 1 : 0;
    }
    return score;
}

std::string recording_report(const Outcome& r, const std::map<int, Head>& heads) {
    const HeadScore score = score_heads(r.facts.options, heads);
    std::vector<double> heights;
    std::string crossings;
    for (const host::Event& event : r.counted) {
        const auto& c = std::get<host::PersonCounted>(event.payload);
        heights.push_back(c.box.height_mm);
        const bool across = c.line == 0;
        crossings +=
            format("%s%s %s in frame %lld", crossings.empty() ? "" : "; ",
                   across ? "u = 256" : "v = 212", (c.direction == VCA_DIR_1) == across ? "+" : "-",
                   static_cast<long long>(event.frame_number) + 1);
    }
    const auto labelled = static_cast<double>(heads.size());
    return format("- head within 20 px of the label: %.1f %% of %zu labelled frames\n",
                  100.0 * score.found / labelled, heads.size()) +
           format("- false people in %.2f %% of them\n", 100.0 * score.with_false / labelled) +
           format("- median height of the counted person: %.0f mm (true 1690)\n",
                  host::quantile(heights, 0.5)) +
           "- counted: " + crossings + "\n";
}

// ---- The cases ----

host::RunOptions walk_options(const fs::path& file, double fps,
                              std::optional<host::PicturePoint> at) {
    host::RunOptions options;
    options.source.source = "walks";
    options.source.trajectories = file.string();
    options.source.height_mm = 6000.0;
    if (fps > 0) options.source.frames_per_second = fps;
    options.source.camera_at = at;
    return options;
}

host::RunOptions recording_options(const fs::path& folder) {
    host::RunOptions options;
    options.source.source = "depth-folder";
    options.source.folder = folder.string();
    options.source.camera_file = (kProject / "host/examples/tof_512x424.toml").string();
    options.source.foot_point = false;
    host::CountingLine across;
    across.name = "u = 256";
    across.points = {{256, 0}, {256, 423}};
    host::CountingLine down;
    down.name = "v = 212";
    down.points = {{80, 212}, {511, 212}};
    options.lines = {across, down};
    return options;
}

Case truth_case(const std::string& name, host::RunOptions options) {
    return {name, std::move(options), [name](const Outcome& r) { return truth_row(name, r); }};
}

std::vector<Case> truth_cases(const fs::path& data) {
    std::vector<Case> cases;
    for (const std::string& scene : sim::scene_names())
        cases.push_back(truth_case(scene, scene_options(scene)));
    const fs::path walks = data / "trajectories";
    cases.push_back(
        truth_case("walks, one direction",
                   walk_options(walks / "unidirectional_uo_180_180_070.txt", 16, std::nullopt)));
    // Behind the door, where people walk in file again.
    cases.push_back(truth_case(
        "walks, bottleneck",
        walk_options(walks / "bottleneck_030_c_56_h0.txt", 0, host::PicturePoint{0.0, -1.3})));
    cases.push_back(
        truth_case("walks, two directions",
                   walk_options(walks / "bidirectional_corridor_400_b_03.txt", 0, std::nullopt)));
    return cases;
}

// The other ways of looking for people.
std::vector<Case> detector_cases() {
    std::vector<Case> cases;
    for (const host::DetectMode mode : {host::DetectMode::kColour, host::DetectMode::kBoth})
        for (const std::string& scene : sim::scene_names()) {
            host::RunOptions options = scene_options(scene);
            options.detect = mode;
            const std::string name = scene + ", --detect " + host::detect_mode_name(mode);
            cases.push_back(truth_case(name, options));
        }
    return cases;
}

// The scenes with the vest detector: a row about places and one about staff, parted by a form feed.
std::vector<Case> staff_cases() {
    std::vector<Case> cases;
    for (const std::string& scene : sim::scene_names()) {
        host::RunOptions options = scene_options(scene);
        options.staff = "vest";
        cases.push_back({scene + ", --staff vest", options, [scene](const Outcome& r) {
                             return region_row(scene, r) + '\f' + staff_row(scene, r);
                         }});
    }
    return cases;
}

Case recording_case(const fs::path& data) {
    const fs::path folder = data / "depth_walk";
    return {"recording", recording_options(folder), [folder](const Outcome& r) {
                return recording_report(r, read_heads(folder / "heads.csv"));
            }};
}

}  // namespace

int main(int argc, char** argv) {
    fs::path data = kProject / "../shared/data";
    std::vector<std::string> names(argv + 1, argv + argc);
    if (names.size() >= 2 && names[0] == "--data") {
        data = names[1];
        names.erase(names.begin(), names.begin() + 2);
    }
    const auto wanted = [&names](const Case& one) {
        return names.empty() || std::find(names.begin(), names.end(), one.name) != names.end();
    };
    std::vector<Case> cases = truth_cases(data);
    for (Case& one : detector_cases())
        cases.push_back(std::move(one));
    std::printf("%s", kTruthHead);
    for (const Case& one : cases)
        if (wanted(one)) std::printf("%s", run(one).c_str());
    if (names.empty()) {
        std::printf("%s", kSeedsHead);
        for (const std::string& scene : sim::scene_names())
            std::printf("%s", seeds_row(scene, 2, 6).c_str());
    }
    std::string region_rows;
    std::string staff_rows;
    for (const Case& one : staff_cases()) {
        if (!wanted(one)) continue;
        const std::string rows = run(one);
        const std::size_t parted = std::min(rows.find('\f'), rows.size());
        region_rows += rows.substr(0, parted);
        if (parted < rows.size()) staff_rows += rows.substr(parted + 1);
    }
    if (!region_rows.empty()) std::printf("%s%s", kRegionHead, region_rows.c_str());
    if (!staff_rows.empty()) std::printf("%s%s", kStaffHead, staff_rows.c_str());
    const Case recording = recording_case(data);
    if (wanted(recording)) std::printf("\n%s", run(recording).c_str());
    return 0;
}
