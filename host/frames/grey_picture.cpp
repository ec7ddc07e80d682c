// Grey rendering of depth.
#include "host/frames/grey_picture.h"

#include <algorithm>
#include <cmath>
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

// The luma of all distances up to the one that is black; what lies beyond is black too, and so is
// what was not measured.
std::vector<std::uint8_t> lumas_by_mm(double black_mm) {
    const double per_mm = (kFarLuma - kNearLuma) / black_mm;
    const double last_mm = std::clamp(std::ceil(black_mm), 1.0, 65535.0);
    std::vector<std::uint8_t> lumas(static_cast<std::size_t>(last_mm) + 1);
    lumas[0] = static_cast<std::uint8_t>(kFarLuma);
    for (std::size_t mm = 1; mm < lumas.size(); ++mm)
        lumas[mm] = static_cast<std::uint8_t>(
            std::max(kNearLuma + per_mm * static_cast<double>(mm), kFarLuma) + 0.5);
    return lumas;
}

}  // namespace

void draw_depth(const std::vector<std::uint16_t>& raw_mm, double black_mm,
                std::vector<std::uint8_t>& depth_nv12) {
    resize_nv12(depth_nv12, kDepthWidth, kDepthHeight);
    const std::vector<std::uint8_t> lumas = lumas_by_mm(black_mm);
    const std::uint8_t* const luma_of = lumas.data();
    const std::size_t last_mm = lumas.size() - 1;
    std::transform(raw_mm.begin(), raw_mm.end(), depth_nv12.begin(),
                   [=](std::size_t mm) { return luma_of[std::min(mm, last_mm)]; });
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
