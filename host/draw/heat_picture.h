// Pictures of the heat maps: where people stayed, and where they walked.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace host {

enum class HeatKind { kDwell, kMotion };

// Where the floor lies in the picture, enlarged 1.5 times; the title is above it, the scale to its
// right.
inline const cv::Rect kHeatFloor(0, 84, 1440, 816);
inline const cv::Size kHeatPicture(1590, 900);

// Colours follow the square root of the value's share of the greatest one, so that the paths of
// people who only pass remain visible beside the places where people stand.
struct HeatScale {
    double most = 0.0;          // seconds, or passages
    std::vector<double> ticks;  // rising, 0 and `most` included

    // 0 to 1, also for values out of range.
    double share(double value) const;
};

HeatScale heat_scale(double most, HeatKind kind);
// As written beside the scale: "12", "0.4".
std::string tick_text(double value);
// Opaque colour of a share.
cv::Scalar heat_colour(double share);

// Draws `cells` (240 x 135 over the whole floor, row by row, milliseconds or passages) over the
// floor, a 960 x 544 colour picture or empty. Where all cells within 3 are 0, only the floor
// shows, in grey.
cv::Mat draw_heat(const cv::Mat& floor, const std::vector<std::int32_t>& cells, HeatKind kind);

}  // namespace host
