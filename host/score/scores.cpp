// Figures that follow from scores.
#include "host/score/scores.h"

#include <numeric>

namespace host {
namespace {

// Cells of the heat map that one contribution reaches, away from the border: those within 4 of the
// middle.
constexpr int kHeatRadius = 4;

int cells_of_contribution() {
    int cells = 0;
    for (int y = -kHeatRadius; y <= kHeatRadius; ++y)
        for (int x = -kHeatRadius; x <= kHeatRadius; ++x)
            cells += x * x + y * y <= kHeatRadius * kHeatRadius ? 1 : 0;
    return cells;
}

}  // namespace

double mean_of_regions(const std::vector<Occupancy>& regions, double Occupancy::*figure) {
    double sum = 0.0;
    for (const Occupancy& o : regions)
        sum += o.*figure;
    return regions.empty() ? 0.0 : sum / static_cast<double>(regions.size());
}

double heat_seconds(const HeatMapReported& heat) {
    const std::int64_t sum_ms =
        std::accumulate(heat.dwell_ms.begin(), heat.dwell_ms.end(), std::int64_t{0});
    return static_cast<double>(sum_ms) / cells_of_contribution() / 1000.0;
}

}  // namespace host
