// How accurate a run was; without a known truth, what it counted.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/engine/events.h"
#include "host/score/balance.h"
#include "host/score/metrics.h"
#include "host/score/region_meter.h"
#include "host/score/samples.h"
#include "host/score/staff_meter.h"

namespace host {

// One person counted by the library.
struct Crossing {
    std::int64_t frame = 0;
    double time_s = 0.0;
    int track = 0;
    int line = 0;
    int direction = 0;
    double height_mm = 0.0;
    bool staff = false;         // as the analysis had decided by then
    std::optional<int> person;  // who it truly was, when the track lay on somebody
    std::optional<double> true_height_mm;
};

struct DirectionCount {
    int counted = 0;
    int truth = 0;
};

struct GroupCount {
    int groups = 0;
    int members = 0;
};

// Times in regions against the truth.
struct StayScore {
    Samples errors_s;  // reported minus true
    Samples error_sizes_s;
    int true_long_stays = 0;         // of a second or more
    int true_long_stays_missed = 0;  // of which nothing was reported
};

struct Scores {
    std::vector<std::array<DirectionCount, 2>> counts;  // per line, directions 1 and 2
    std::array<DirectionCount, 2> totals{};             // all lines
    std::int64_t crossings = 0;
    std::int64_t staff_crossings = 0;
    std::int64_t late_crossings = 0;    // left out of all the others
    std::int64_t corner_crossings = 0;  // likewise, along closed lines
    std::vector<Balance> balances;      // of the closed lines
    GroupCount groups;
    std::int64_t tracks = 0;   // different ids reported
    Samples heights_mm;        // measured, of counted persons
    Samples height_errors_mm;  // measured minus true
    Samples height_error_sizes_mm;
    std::vector<Occupancy> regions;
    // Only where the truth is known.
    DetectionScore detection;
    TrackingScore tracking;
    StayScore stays;
    double true_view_s = 0.0;         // person-seconds of everybody in view
    std::optional<StaffScore> staff;  // when some of the people are staff
};

// Mean of one figure over the regions; 0 without regions.
double mean_of_regions(const std::vector<Occupancy>& regions, double Occupancy::*figure);

// Person-seconds in a heat map: the milliseconds of all cells over the cells that each contribution
// is added to.
double heat_seconds(const HeatMapReported& heat);

}  // namespace host
