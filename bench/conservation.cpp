// How far the counts of a closed line and the feet of the people inside agree: areas of three sizes
// at four places in every built-in scene. Prints a Markdown table.
//
//   bench_conservation [--seconds S] [--seed N]
//
// Runs go on as many processors as there are.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "bench/child_runs.h"
#include "host/app/run.h"
#include "host/frames/sim_source.h"
#include "sim/camera.h"

namespace {

struct Size {
    double width_m;
    double depth_m;
};

constexpr Size kSizes[] = {{2.0, 1.5}, {3.0, 2.0}, {3.5, 2.5}};

// Middle and turn of an area.
struct Place {
    double x_px;
    double y_px;
    double turn_deg;
};

constexpr Place kPlaces[] = {{480, 272, 0}, {430, 250, 0}, {540, 300, 0}, {480, 272, 25}};

host::CountingLine area_at(const Place& place, const Size& size, double px_per_m,
                           const std::string& name) {
    host::CountingLine line;
    line.name = name;
    const double c = std::cos(place.turn_deg * std::numbers::pi / 180.0);
    const double s = std::sin(place.turn_deg * std::numbers::pi / 180.0);
    constexpr int kCorners[][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}, {-1, -1}};
    for (const auto& corner : kCorners) {
        const double x = corner[0] * size.width_m * px_per_m / 2.0;
        const double y = corner[1] * size.depth_m * px_per_m / 2.0;
        line.points.push_back(
            {std::round(place.x_px + c * x - s * y), std::round(place.y_px + s * x + c * y)});
    }
    return line;
}

// Under a low camera a turned area reaches beyond the picture.
bool fits(const host::CountingLine& line) {
    return std::all_of(line.points.begin(), line.points.end(), [](const host::PicturePoint& p) {
        return p.x >= 0.0 && p.y >= 0.0 && p.x < host::kColourWidth && p.y < host::kColourHeight;
    });
}

struct Measured {
    int areas = 0;
    int exact_at_end = 0;
    long long counts = 0, difference = 0, violations = 0, checks = 0, checks_off = 0, left_out = 0;

    void add(const Measured& m) {
        areas += m.areas;
        exact_at_end += m.exact_at_end;
        counts += m.counts;
        difference += m.difference;
        violations += m.violations;
        checks += m.checks;
        checks_off += m.checks_off;
        left_out += m.left_out;
    }
};

std::string measure(const std::string& scene, const Size& size, double seconds,
                    std::uint64_t seed) {
    host::RunOptions options;
    options.source.scene = scene;
    options.source.seed = seed;
    options.no_regions = true;
    if (seconds > 0.0) options.seconds = seconds;
    const host::RunPlan scene_plan = host::prepare_run(options);
    const host::CameraModel& camera = scene_plan.source->info().camera;
    const double px_per_m = sim::kDefaultFocalPx / camera.height_mm.value_or(0.0) * 1000.0;
    for (const Place& place : kPlaces) {
        const std::string name = "area " + std::to_string(options.lines.size() + 1);
        const host::CountingLine line = area_at(place, size, px_per_m, name);
        if (fits(line)) options.lines.emplace_back(line);
    }
    host::RunPlan plan = host::prepare_run(options);
    const host::RunOutcome outcome = host::run_for_scores(plan);
    std::ostringstream text;
    Measured sum;
    for (const host::Balance& b : outcome.scores.balances) {
        Measured one{1,
                     b.difference() == 0 ? 1 : 0,
                     b.entries + b.exits,
                     std::abs(b.difference()),
                     b.fault_count,
                     b.checks,
                     b.checks_off,
                     0};
        sum.add(one);
    }
    text << sum.areas << ' ' << sum.exact_at_end << ' ' << sum.counts << ' ' << sum.difference
         << ' ' << sum.violations << ' ' << sum.checks << ' ' << sum.checks_off << ' '
         << outcome.scores.corner_crossings;
    return text.str();
}

Measured parse(const std::string& text) {
    Measured m;
    std::istringstream in(text);
    if (in >> m.areas >> m.exact_at_end >> m.counts >> m.difference >> m.violations >> m.checks >>
        m.checks_off >> m.left_out)
        return m;
    std::fprintf(stderr, "failed: %s\n", text.c_str());
    std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
    double seconds = 0.0;
    std::uint64_t seed = 0;
    bool seeded = false;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string word = argv[i];
        if (word == "--seconds") seconds = std::strtod(argv[i + 1], nullptr);
        if (word != "--seed") continue;
        seed = std::strtoull(argv[i + 1], nullptr, 10);
        seeded = true;
    }
    if (!seeded) seed = host::RunOptions{}.source.seed;
    std::vector<std::string> rows;
    std::vector<std::function<std::string()>> works;
    for (const Size& size : kSizes) {
        for (const host::SceneEntry& scene : host::scene_list()) {
            char row[100];
            std::snprintf(row, sizeof row, "%.1f x %.1f m, %s%s", size.width_m, size.depth_m,
                          scene.name.c_str(), scene.crowded ? " (crowded)" : "");
            rows.emplace_back(row);
            works.emplace_back([=] { return measure(scene.name, size, seconds, seed); });
        }
    }
    const std::vector<std::string> texts = run_in_children(works);
    std::printf(
        "| area, scene | exact at the end | counts | off, sum | left out | violations | frames "
        "checked | off |\n|---|---|---|---|---|---|---|---|\n");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Measured m = parse(texts[i]);
        std::printf("| %s | %d of %d | %lld | %lld | %lld | %lld | %lld | %lld |\n",
                    rows[i].c_str(), m.exact_at_end, m.areas, m.counts, m.difference, m.left_out,
                    m.violations, m.checks, m.checks_off);
    }
    return 0;
}
