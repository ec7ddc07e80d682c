// How tall people are measured and where their feet are put, under cameras from 2.5 to 6 m up:
// recorded walks, and walkers through a passage seen by each simulated sensor. Prints a Markdown
// table.
//
//   bench_places [--data DIR] [--seeds FIRST-LAST]
//
// DIR holds the recorded data, by default ../shared/data seen from the project. Runs go on as many
// processors as there are.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bench/child_runs.h"
#include "host/app/run.h"
#include "host/base/overlap.h"
#include "host/frames/sim_source.h"
#include "sim/simulator.h"

namespace {

constexpr double kRun_s = 20.0;
constexpr double kLens_deg = 86.0;          // of the picture's width
constexpr double kLeastFromCentre_px = 80;  // nearer, a share of the distance says little
constexpr double kLeastOverlap = 0.3;

struct Measured {
    std::vector<double> height_off_mm;
    std::vector<double> feet;  // distance from the centre of the picture as a share of the true one

    void add(const Measured& more) {
        height_off_mm.insert(height_off_mm.end(), more.height_off_mm.begin(),
                             more.height_off_mm.end());
        feet.insert(feet.end(), more.feet.begin(), more.feet.end());
    }
};

host::BoxEdges<double> edges(double x, double y, double w, double h) {
    return {x, y, x + w, y + h};
}

double from_centre(double x, double y) {
    return std::hypot(x - sim::kCentreU, y - sim::kCentreV);
}

// Holds what the library shows of each track against the person whom its box lies on.
class PlaceSink final : public host::Sink {
  public:
    void on_frame(const host::FrameView& frame) override { people_ = frame.people; }

    void on_event(const host::Event& event) override {
        const auto* shown = std::get_if<host::TracksShown>(&event.payload);
        if (shown == nullptr || shown->detected) return;
        for (const host::ShownTrack& track : shown->tracks) {
            if (track.trail.empty() || track.height_mm == 0) continue;
            const auto box = edges(track.x, track.y, track.w, track.h);
            for (const host::TruePerson& person : people_) {
                const host::PixelBox& b = person.box;
                if (person.clear &&
                    host::intersection_over_union(box, edges(b.x, b.y, b.w, b.h)) >= kLeastOverlap)
                    add(track, person);
            }
        }
    }

    const Measured& measured() const { return measured_; }

  private:
    void add(const host::ShownTrack& track, const host::TruePerson& person) {
        measured_.height_off_mm.push_back(track.height_mm - person.height_mm);
        const double truth = from_centre(person.place.x, person.place.y);
        if (truth < kLeastFromCentre_px) return;
        measured_.feet.push_back(from_centre(track.trail.front().x, track.trail.front().y) / truth);
    }

    std::vector<host::TruePerson> people_;
    Measured measured_;
};

std::string measure(host::RunPlan plan) {
    PlaceSink sink;
    const std::atomic<bool> never{false};
    host::run(plan, {&sink}, never);
    std::ostringstream text;
    for (const double off : sink.measured().height_off_mm)
        text << "h " << off << '\n';
    for (const double share : sink.measured().feet)
        text << "f " << share << '\n';
    return text.str();
}

std::string measure_passage(double height_m, const std::string& noise, std::uint64_t seed) {
    sim::CaptureOptions capture;
    capture.noise = sim::noise_from(noise);
    const sim::Camera camera{height_m, sim::kCentreU / std::tan(kLens_deg * sim::kPi / 360.0)};
    sim::Simulator passage = sim::make_siting_scene(camera, seed, capture);
    passage.leave_out_colours();
    host::RunOptions options;
    options.seconds = kRun_s;
    return measure(host::prepare_run(options, host::open_simulator(std::move(passage))));
}

std::string measure_walks(const std::string& file, double height_m) {
    host::RunOptions options;
    options.source.source = "walks";
    options.source.trajectories = file;
    options.source.height_mm = 1000.0 * height_m;
    options.seconds = 3.0 * kRun_s;
    return measure(host::prepare_run(options));
}

double share_below(std::vector<double> values, double share) {
    const auto at = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at),
                     values.end());
    return values[at];
}

std::vector<double> sizes(const std::vector<double>& values, double around) {
    std::vector<double> out;
    for (const double value : values)
        out.push_back(std::abs(value - around));
    return out;
}

void print_row(const std::string& name, const Measured& m) {
    if (m.feet.empty()) {
        std::printf("| %s | 0 | | | | |\n", name.c_str());
        return;
    }
    std::printf("| %s | %zu | %.0f mm | %.0f mm | %.2f %% | %.2f %% |\n", name.c_str(),
                m.height_off_mm.size(), share_below(m.height_off_mm, 0.5),
                share_below(sizes(m.height_off_mm, 0.0), 0.95),
                100.0 * (share_below(m.feet, 0.5) - 1.0),
                100.0 * share_below(sizes(m.feet, 1.0), 0.95));
}

Measured parse(const std::string& text) {
    Measured m;
    std::istringstream lines(text);
    char kind = 0;
    double value = 0.0;
    while (lines >> kind >> value)
        (kind == 'h' ? m.height_off_mm : m.feet).push_back(value);
    if (!lines.eof()) {
        std::fprintf(stderr, "failed: %s\n", text.c_str());
        std::exit(1);
    }
    return m;
}

}  // namespace

int main(int argc, char** argv) {
    std::string data = std::string(VCA_PROJECT_DIR) + "/../shared/data";
    std::uint64_t first = 1;
    std::uint64_t last = 20;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string word = argv[i];
        if (word == "--data") data = argv[i + 1];
        if (word != "--seeds") continue;
        char* dash = nullptr;
        first = std::strtoull(argv[i + 1], &dash, 10);
        last = *dash == '-' ? std::strtoull(dash + 1, nullptr, 10) : first;
    }
    const std::string walks = data + "/trajectories/bidirectional_corridor_400_b_03.txt";
    std::vector<std::string> rows;
    std::vector<std::function<std::string()>> works;
    const auto add = [&](const std::string& row, const std::function<std::string()>& work) {
        rows.push_back(row);
        works.push_back(work);
    };
    char row[100];
    for (const double height_m : {2.5, 3.0, 3.8, 4.0, 5.0, 6.0}) {
        std::snprintf(row, sizeof row, "recorded walks, %.1f m", height_m);
        add(row, [=] { return measure_walks(walks, height_m); });
    }
    for (const std::string& noise : sim::noise_names()) {
        for (const double height_m : {3.0, 3.8, 4.0, 5.0, 6.0}) {
            std::snprintf(row, sizeof row, "%s, %.1f m", noise.c_str(), height_m);
            for (std::uint64_t seed = first; seed <= last; ++seed)
                add(row, [=] { return measure_passage(height_m, noise, seed); });
        }
    }
    std::printf(
        "| camera | measurements | height off, median | 95 %% within | feet farther out, median "
        "| 95 %% within |\n|---|---|---|---|---|---|\n");
    const std::vector<std::string> texts = run_in_children(works);
    Measured sum;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        sum.add(parse(texts[i]));
        if (i + 1 < rows.size() && rows[i + 1] == rows[i]) continue;
        print_row(rows[i], sum);
        sum = {};
    }
    return 0;
}
