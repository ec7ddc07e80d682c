// Lookup tables for turned pictures.
#include "host/depth/rectifier.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

namespace host {
namespace {

constexpr double kAcross = static_cast<double>(kDepthWidth) / kColourWidth;
constexpr double kDown = static_cast<double>(kDepthHeight) / kColourHeight;

constexpr std::uint8_t kBlackLuma = 16;
constexpr std::uint8_t kNeutralChroma = 128;

cv::Mat plane(const std::vector<std::uint8_t>& nv12, bool luma) {
    auto* data = const_cast<std::uint8_t*>(nv12.data());
    if (luma) return {kColourHeight, kColourWidth, CV_8UC1, data};
    return {kColourHeight / 2, kColourWidth / 2, CV_8UC2, data + kColourWidth * kColourHeight};
}

}  // namespace

Rectifier::Rectifier(const CameraModel& camera, const Tilt& tilt) : taken_(camera, tilt) {
    make_depth_table();
    make_colour_tables();
}

void Rectifier::make_depth_table() {
    depth_.resize(static_cast<std::size_t>(kDepthWidth) * kDepthHeight);
    auto out = depth_.begin();
    for (int v = 0; v < kDepthHeight; ++v) {
        for (int u = 0; u < kDepthWidth; ++u, ++out) {
            const PicturePoint level{u / kAcross, v / kDown};
            const std::optional<PicturePoint> taken = taken_.at(level);
            if (!taken) continue;
            const double x = std::round(taken->x * kAcross);
            const double y = std::round(taken->y * kDown);
            if (x < 0.0 || y < 0.0 || x >= kDepthWidth || y >= kDepthHeight) continue;
            out->from = static_cast<std::int32_t>(y) * kDepthWidth + static_cast<std::int32_t>(x);
            out->shorter = static_cast<float>(1.0 / taken_.ray(level)[2]);
        }
    }
}

void Rectifier::make_colour_tables() {
    const auto fill = [this](int size, cv::Mat& at, cv::Mat& between) {
        const double middle = 0.5 * (size - 1);  // of the picture's pixels under one of the plane
        cv::Mat map(kColourHeight / size, kColourWidth / size, CV_32FC2);
        for (int v = 0; v < map.rows; ++v) {
            for (int u = 0; u < map.cols; ++u) {
                const auto taken = taken_.at({size * u + middle, size * v + middle});
                // Far outside: cv::remap then takes the border's value.
                const PicturePoint p = taken.value_or(PicturePoint{-1e4, -1e4});
                map.at<cv::Vec2f>(v, u) = {static_cast<float>((p.x - middle) / size),
                                           static_cast<float>((p.y - middle) / size)};
            }
        }
        cv::convertMaps(map, cv::noArray(), at, between, CV_16SC2);
    };
    fill(1, luma_at_, luma_between_);
    fill(2, chroma_at_, chroma_between_);
}

void Rectifier::depth(const std::vector<std::uint16_t>& taken_mm,
                      std::vector<std::uint16_t>& level_mm) const {
    level_mm.resize(depth_.size());
    auto out = level_mm.begin();
    for (const DepthPixel& pixel : depth_) {
        const float mm = pixel.from < 0
                             ? 0.0f
                             : static_cast<float>(taken_mm[static_cast<std::size_t>(pixel.from)]) *
                                   pixel.shorter;
        *out++ = static_cast<std::uint16_t>(std::min(mm + 0.5f, 65535.0f));
    }
}

void Rectifier::colour(const std::vector<std::uint8_t>& taken_nv12,
                       std::vector<std::uint8_t>& level_nv12) const {
    level_nv12.resize(taken_nv12.size());
    cv::Mat luma = plane(level_nv12, true);
    cv::remap(plane(taken_nv12, true), luma, luma_at_, luma_between_, cv::INTER_LINEAR,
              cv::BORDER_CONSTANT, cv::Scalar(kBlackLuma));
    cv::Mat chroma = plane(level_nv12, false);
    cv::remap(plane(taken_nv12, false), chroma, chroma_at_, chroma_between_, cv::INTER_LINEAR,
              cv::BORDER_CONSTANT, cv::Scalar(kNeutralChroma, kNeutralChroma));
}

}  // namespace host
