// What the parts of the picture share.
#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "host/base/picture.h"
#include "host/report/picture.h"

namespace host {

inline constexpr double kZoom = 1.5;  // of the 960 x 544 picture, so that text and boxes find room
inline constexpr int kViewWidth = static_cast<int>(kColourWidth * kZoom);
inline constexpr int kViewHeight = static_cast<int>(kColourHeight * kZoom);

// The camera's view with everything in it.
void draw_view(cv::Mat image, const RunFacts& facts, const Scores& scores,
               const Evidence& evidence);
// What the marks mean, and the counts.
void draw_panel(cv::Mat image, const RunFacts& facts, const Scores& scores);

}  // namespace host
