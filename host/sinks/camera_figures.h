// What a camera has done since it was started, in figures.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace host {

// How many values lie at or below each bound, as measuring programs want it.
struct Histogram {
    // Seconds; a frame interval is 0.033 to 0.067.
    static constexpr std::array kBounds_s{0.005, 0.01, 0.02, 0.033, 0.05,
                                          0.067, 0.1,  0.2,  0.5,   1.0};
    std::array<std::int64_t, kBounds_s.size()> at_most{};
    std::int64_t count = 0;
    double sum_s = 0.0;

    void add(double value_s);
};

struct CameraFigures {
    std::int64_t frames = 0;         // analysed
    std::int64_t missing = 0;        // frames that did not come, or came too fast to be analysed
    std::int64_t gaps = 0;           // times in which no frame came
    double depth_valid_ratio = 0.0;  // share of the depth pixels that were measured, 0 to 1
    Histogram processing;            // of the analysis of a frame
    std::vector<std::pair<std::string, int>> regions;  // people in each now
};

// One JSON object, for another process.
std::string to_json(const CameraFigures& figures);
// Throws InputError for anything that is not one.
CameraFigures parse_camera_figures(const std::string& json);

}  // namespace host
