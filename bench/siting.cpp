// What a camera covers at a height and with a lens, and how right its counts are there. Prints a
// Markdown table; scripts/siting_table.sh puts it into the guide.
//
//   bench_siting [--seeds FIRST-LAST]
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "bench/child_runs.h"
#include "bench/count_tally.h"
#include "host/app/run.h"
#include "host/frames/sim_source.h"
#include "sim/simulator.h"

namespace {

constexpr double kHead_m = 1.7;
constexpr double kHeadAcross_m = 0.16;
constexpr double kLeastBefore_m = 0.3;  // from the line to where heads come into view

struct Siting {
    double height_m = 0.0;
    double lens_deg = 0.0;  // of the picture's width

    sim::Camera camera() const {
        return {height_m, sim::kCentreU / std::tan(lens_deg * sim::kPi / 360.0)};
    }
    // People must be seen for a while before they are over the line.
    bool usable() const { return camera().half_view(kHead_m).y_m >= kLeastBefore_m; }
};

std::string count(const Siting& siting, const std::string& noise, std::uint64_t seed) {
    sim::CaptureOptions capture;
    capture.noise = sim::noise_from(noise);
    sim::Simulator simulator = sim::make_siting_scene(siting.camera(), seed, capture);
    simulator.leave_out_colours();
    host::RunPlan plan = host::prepare_run({}, host::open_simulator(std::move(simulator)));
    TallySink sink(tally_setup(plan));
    const std::atomic<bool> never{false};
    host::run(plan, {&sink}, never);
    std::vector<std::string> cases;
    const CountTally tally = sink.tally(cases);
    return std::to_string(tally.truth) + " " + std::to_string(tally.wrong());
}

struct Counted {
    long true_crossings = 0;
    long wrong = 0;
};

void print_row(const Siting& siting, const std::vector<Counted>& by_sensor) {
    const sim::Camera camera = siting.camera();
    const double scale = static_cast<double>(sim::kDepthWidth) / sim::kColourWidth;
    std::printf("| %.1f m | %.0f° | %.1f m | %.1f m | %.0f |", siting.height_m, siting.lens_deg,
                2.0 * camera.half_view(kHead_m).x_m, 2.0 * camera.half_view(0.0).x_m,
                scale * camera.focal_px * kHeadAcross_m / (siting.height_m - kHead_m));
    for (const Counted& counted : by_sensor) {
        if (siting.usable()) {
            std::printf(" %ld of %ld |", counted.wrong, counted.true_crossings);
        } else {
            std::printf(" too low |");
        }
    }
    std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t first = 1;
    std::uint64_t last = 3;
    if (argc == 3 && std::string(argv[1]) == "--seeds") {
        char* dash = nullptr;
        first = std::strtoull(argv[2], &dash, 10);
        last = *dash == '-' ? std::strtoull(dash + 1, nullptr, 10) : first;
    }
    std::vector<Siting> sitings;
    for (const double height_m : {2.2, 2.5, 3.0, 3.5, 4.0, 5.0, 6.0}) {
        for (const double lens_deg : {60.0, 70.0, 86.0, 100.0})
            sitings.push_back({height_m, lens_deg});
    }
    struct Part {
        std::size_t siting;
        std::size_t sensor;
    };
    const std::vector<std::string> sensors = sim::noise_names();
    std::vector<Part> parts;
    std::vector<std::function<std::string()>> works;
    for (std::size_t i = 0; i < sitings.size(); ++i) {
        for (std::size_t k = 0; k < sensors.size() && sitings[i].usable(); ++k) {
            for (std::uint64_t seed = first; seed <= last; ++seed) {
                parts.push_back({i, k});
                works.push_back(
                    [=, &sitings, &sensors] { return count(sitings[i], sensors[k], seed); });
            }
        }
    }
    std::vector<std::vector<Counted>> counted(sitings.size(), std::vector<Counted>(sensors.size()));
    const std::vector<std::string> texts = run_in_children(works);
    for (std::size_t p = 0; p < parts.size(); ++p) {
        std::istringstream text(texts[p]);
        Counted one;
        if (!(text >> one.true_crossings >> one.wrong)) {
            std::fprintf(stderr, "failed: %s\n", texts[p].c_str());
            return 1;
        }
        Counted& sum = counted[parts[p].siting][parts[p].sensor];
        sum.true_crossings += one.true_crossings;
        sum.wrong += one.wrong;
    }
    std::printf(
        "| camera | lens | width at head height | on the floor | head, pixels of depth | wrong: "
        "plain | time of flight | stereo |\n|---|---|---|---|---|---|---|---|\n");
    for (std::size_t i = 0; i < sitings.size(); ++i)
        print_row(sitings[i], counted[i]);
    return 0;
}
