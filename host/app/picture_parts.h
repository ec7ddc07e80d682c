// What the parts of the picture share: sizes, colours, and text.
#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "host/app/run_result.h"
#include "host/inference/detector.h"

namespace host {

inline constexpr double kZoom = 1.5;  // of the 960 x 544 picture, so that text and boxes find room
inline constexpr int kViewWidth = static_cast<int>(kColourWidth * kZoom);
inline constexpr int kViewHeight = static_cast<int>(kColourHeight * kZoom);
inline constexpr double kTrail_s = 6.0;  // length of the trails

inline const cv::Scalar kWhite(255, 255, 255);
inline const cv::Scalar kInk(40, 36, 32);
inline const cv::Scalar kPaper(248, 247, 245);

// Each line has its own, for the line, its arrows and its labels; dark enough for white text.
cv::Scalar line_colour(std::size_t index);
// Colours far apart for neighbouring numbers.
cv::Scalar track_colour(int id);

// The font knows ASCII alone: letters with marks become their plain letters, every other character
// one question mark.
std::string to_ascii(const std::string& utf8);
// At most this many characters, the last ones replaced by two dots when there are more.
std::string shortened(const std::string& ascii, std::size_t most);

cv::Size text_size(const std::string& ascii, double size, int thickness);
// Text whose upper left corner is at `at`; returns the row below it.
int put_text(cv::Mat& image, const std::string& utf8, cv::Point at, double size,
             const cv::Scalar& colour, int thickness = 1);
std::string format(const char* pattern, double value);

// The camera's view with everything in it.
void draw_view(cv::Mat image, const RunResult& result);
// What the marks mean, and the counts.
void draw_panel(cv::Mat image, const RunResult& result);

}  // namespace host
