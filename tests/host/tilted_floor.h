// Depth images of a floor under a crooked camera, made by turning rays with OpenCV's rotations.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <random>
#include <vector>

#include "host/base/camera.h"
#include "host/base/picture.h"

namespace test {

inline constexpr double kDegree = 3.14159265358979323846 / 180.0;
inline const host::CameraModel kCamera{257.37, 242.23, 240.0, 128.0, 3000.0};

// From directions of the crooked camera to those of the level one.
inline cv::Matx33d to_level(const host::Tilt& tilt) {
    const auto turn = [](int axis, double degrees) {
        const double c = std::cos(degrees * kDegree);
        const double s = std::sin(degrees * kDegree);
        // By the right-hand rule: about y, z goes to x; about x, y goes to z.
        return axis == 1 ? cv::Matx33d(c, 0, s, 0, 1, 0, -s, 0, c)
                         : cv::Matx33d(1, 0, 0, 0, c, -s, 0, s, c);
    };
    return turn(1, tilt.roll_deg) * turn(0, tilt.pitch_deg);
}

// A depth image whose pixels see what `level_depth(ray)` says is the depth below a level camera.
template <typename LevelDepth>
std::vector<std::uint16_t> depth_image(const host::Tilt& tilt, const LevelDepth& level_depth) {
    const cv::Matx33d turn = to_level(tilt);
    std::vector<std::uint16_t> image;
    for (int v = 0; v < host::kDepthHeight; ++v) {
        for (int u = 0; u < host::kDepthWidth; ++u) {
            const cv::Vec3d ray =
                turn * cv::Vec3d((u - kCamera.cx) / kCamera.fx, (v - kCamera.cy) / kCamera.fy, 1.0);
            const cv::Vec3d level(ray[0] / ray[2], ray[1] / ray[2], 1.0);
            image.push_back(static_cast<std::uint16_t>(level_depth(level) / ray[2] + 0.5));
        }
    }
    return image;
}

inline std::vector<std::uint16_t> floor_image(const host::Tilt& tilt, double height_mm) {
    return depth_image(tilt, [=](const cv::Vec3d&) { return height_mm; });
}

class Unkindness {
  public:
    // Noise that grows with the square of the distance, as a standard deviation at 1 m.
    void add_noise(std::vector<std::uint16_t>& image, double mm_per_m2) {
        std::normal_distribution<double> normal;
        for (std::uint16_t& mm : image) {
            const double z = mm / 1000.0;
            mm =
                static_cast<std::uint16_t>(std::max(mm + normal(random_) * mm_per_m2 * z * z, 0.0));
        }
    }

    void punch_holes(std::vector<std::uint16_t>& image, double share) {
        std::bernoulli_distribution lost(share);
        for (std::uint16_t& mm : image)
            if (lost(random_)) mm = 0;
    }

    // Heads and shoulders anywhere until they cover a share of the image.
    void put_people(std::vector<std::uint16_t>& image, double share, double camera_mm) {
        std::uniform_int_distribution<int> across(0, host::kDepthWidth - 1);
        std::uniform_int_distribution<int> down(0, host::kDepthHeight - 1);
        std::uniform_real_distribution<double> tall(1100.0, 1900.0);
        std::vector<char> covered(image.size());
        std::size_t count = 0;
        while (static_cast<double>(count) < share * static_cast<double>(image.size())) {
            const double top_mm = camera_mm - tall(random_);
            const cv::Point middle(across(random_), down(random_));
            const int half = static_cast<int>(0.25e3 * kCamera.fx / top_mm);
            for (int v = std::max(middle.y - half, 0);
                 v < std::min(middle.y + half, host::kDepthHeight); ++v) {
                for (int u = std::max(middle.x - half, 0);
                     u < std::min(middle.x + half, host::kDepthWidth); ++u) {
                    const double off = cv::norm(cv::Point(u, v) - middle) / half;
                    const auto at = static_cast<std::size_t>(v * host::kDepthWidth + u);
                    // From the head down over the shoulders, and steep at the sides.
                    image[at] = static_cast<std::uint16_t>(top_mm + 500.0 * off * off);
                    count += covered[at] == 0 ? 1 : 0;
                    covered[at] = 1;
                }
            }
        }
    }

  private:
    std::mt19937 random_{7};
};

}  // namespace test
