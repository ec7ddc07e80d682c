// Areas laid around parts of the built-in scenes, and what their balances say.
#pragma once

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace test {

// A closed line of this size on the floor under the scenes' lens, 86 degrees wide; none where it
// would leave the picture.
inline std::string closed_line(double camera_m, double width_m, double depth_m, double x_px,
                               double y_px, double turn_deg) {
    constexpr double kFocal_px = 514.737;
    const double c = std::cos(turn_deg * M_PI / 180.0);
    const double s = std::sin(turn_deg * M_PI / 180.0);
    std::string points;
    constexpr int kCorners[][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}, {-1, -1}};
    for (const auto& corner : kCorners) {
        const double x = corner[0] * width_m / 2.0 * kFocal_px / camera_m;
        const double y = corner[1] * depth_m / 2.0 * kFocal_px / camera_m;
        const long at_x = std::lround(x_px + c * x - s * y);
        const long at_y = std::lround(y_px + s * x + c * y);
        if (at_x < 0 || at_y < 0 || at_x >= 960 || at_y >= 544) return "";
        points += std::to_string(at_x) + "," + std::to_string(at_y) + " ";
    }
    points.pop_back();
    return " --closed-line \"" + points + "\"";
}

// In the middle of the picture, on either side of it, and turned against its edges.
inline std::string four_places(double camera_m, double width_m, double depth_m) {
    return closed_line(camera_m, width_m, depth_m, 480, 272, 0) +
           closed_line(camera_m, width_m, depth_m, 430, 250, 0) +
           closed_line(camera_m, width_m, depth_m, 540, 300, 0) +
           closed_line(camera_m, width_m, depth_m, 480, 272, 25);
}

class Conservation : public Program {
  protected:
    nlohmann::json balances(const std::string& arguments) const {
        const Outcome outcome =
            vca("run --no-live --quiet --region none --output out " + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json("out/summary.json")["balances"];
    }
};

}  // namespace test
