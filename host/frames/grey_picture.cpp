// Grey rendering of depth.
#include "host/frames/grey_picture.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "host/base/picture.h"

namespace host {
namespace {

constexpr double kNearLuma = 235.0;
constexpr double kFarLuma = 16.0;
constexpr std::uint8_t kNeutralChroma = 128;

void resize_nv12(std::vector<std::uint8_t>& nv12, int width, int height) {
    const auto luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    nv12.resize(luma * 3 / 2);
    std::fill(nv12.begin() + static_cast<std::ptrdiff_t>(luma), nv12.end(), kNeutralChroma);
}

}  // namespace

void draw_depth(const std::vector<std::uint16_t>& raw_mm, double black_mm,
                std::vector<std::uint8_t>& depth_nv12) {
    resize_nv12(depth_nv12, kDepthWidth, kDepthHeight);
    const double per_mm = (kFarLuma - kNearLuma) / black_mm;
    for (std::size_t i = 0; i < raw_mm.size(); ++i) {
        const double luma = raw_mm[i] == 0 ? kFarLuma : kNearLuma + per_mm * raw_mm[i];
        depth_nv12[i] = static_cast<std::uint8_t>(std::max(luma, kFarLuma) + 0.5);
    }
}

void render_grey(const std::vector<std::uint16_t>& raw_mm, double black_mm,
                 std::vector<std::uint8_t>& depth_nv12, std::vector<std::uint8_t>& colour_nv12) {
    draw_depth(raw_mm, black_mm, depth_nv12);
    resize_nv12(colour_nv12, kColourWidth, kColourHeight);
    const cv::Mat depth(kDepthHeight, kDepthWidth, CV_8UC1, depth_nv12.data());
    cv::Mat colour(kColourHeight, kColourWidth, CV_8UC1, colour_nv12.data());
    cv::resize(depth, colour, colour.size(), 0, 0, cv::INTER_LINEAR);
}

}  // namespace host
