// What the parts of the picture share.
#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "host/base/picture.h"
#include "host/report/run_result.h"

namespace host {

inline constexpr double kZoom = 1.5;  // of the 960 x 544 picture, so that text and boxes find room
inline constexpr int kViewWidth = static_cast<int>(kColourWidth * kZoom);
inline constexpr int kViewHeight = static_cast<int>(kColourHeight * kZoom);
inline constexpr double kTrail_s = 6.0;  // length of the trails

// The camera's view with everything in it.
void draw_view(cv::Mat image, const RunResult& result);
// What the marks mean, and the counts.
void draw_panel(cv::Mat image, const RunResult& result);

}  // namespace host
