// What a camera has done since it was started, in figures.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/base/counting_places.h"

namespace host {

// Seconds; a frame interval is 0.033 to 0.067.
inline constexpr std::array kPassBounds_s{0.005, 0.01, 0.02, 0.033, 0.05,
                                          0.067, 0.1,  0.2,  0.5,   1.0};
// A glance, a look, a queue, a rest.
inline constexpr std::array kStayBounds_s{1.0, 3.0, 10.0, 30.0, 60.0, 180.0, 600.0, 1800.0, 3600.0};

// How many values lie at or below each bound, as measuring programs want it.
struct Histogram {
    // The bounds are rising and outlive it.
    explicit Histogram(std::span<const double> bounds)
        : bounds_s(bounds), at_most(bounds.size(), 0) {}

    std::span<const double> bounds_s;
    std::vector<std::int64_t> at_most;
    std::int64_t count = 0;
    double sum_s = 0.0;

    void add(double value_s);
};

// Why a crossing was not counted.
enum class Suppression {
    kTurnedBack,  // back again within the line's U-turn area
    kSameSide,    // to the side where the person had been counted to before
    kWentBack,    // the track ended before the line again
    kUnseen,      // crossed after the last frame
    kCorner,      // along a closed line
    kNoLine,      // the line had been taken away or moved meanwhile
};
inline constexpr std::array kSuppressionNames{"turned_back", "same_side", "went_back",
                                              "unseen",      "corner",    "no_line"};

struct LineFigures {
    std::string name;
    std::array<std::int64_t, kSuppressionNames.size()> suppressed{};    // by Suppression
    std::array<std::string, 2> directions = CountingLine{}.directions;  // what 1 and 2 are called
};

struct RegionFigures {
    std::string name;
    int people = 0;                  // now
    int longest_stay_ms = 0;         // of them
    Histogram stays{kStayBounds_s};  // that ended
};

struct CameraFigures {
    std::int64_t frames = 0;         // analysed
    std::int64_t missing = 0;        // frames that did not come, or came too fast to be analysed
    std::int64_t late = 0;           // more than a frame's time after they were due
    std::int64_t gaps = 0;           // times in which no frame came
    double depth_valid_ratio = 0.0;  // share of the depth pixels that were measured, 0 to 1
    Histogram processing{kPassBounds_s};  // of the analysis of a frame
    std::vector<LineFigures> lines;
    std::vector<RegionFigures> regions;
};

// One JSON object, for another process.
std::string to_json(const CameraFigures& figures);
// Throws InputError for anything that is not one.
CameraFigures parse_camera_figures(const std::string& json);

}  // namespace host
