// Bare bodies under a pinhole depth camera, for tests of the depth detector: every shape is an
// ellipsoid or an upright brick, and each pixel takes the nearest surface along its ray.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "host/inference/depth_detector.h"

namespace test_scene {

inline constexpr float kFocalColour_px = 515.0f;

// The camera in single precision, as the shapes are.
struct Lens {
    float fx, fy, cx, cy;
    float height_mm;

    host::CameraModel model() const { return {fx, fy, cx, cy, height_mm}; }
};

inline Lens camera_at(float height_mm) {
    return {kFocalColour_px * 480.0f / 960.0f, kFocalColour_px * 256.0f / 544.0f, 240.0f, 128.0f,
            height_mm};
}

// Middle and half axes in mm; z is the height above the floor.
struct Ellipsoid {
    float x, y, z;
    float rx, ry, rz;
};

struct Brick {
    float x, y;
    float half_x, half_y;
    float top;
};

class Scene {
  public:
    explicit Scene(float camera_height_mm)
        : camera_(camera_at(camera_height_mm)),
          image_(static_cast<std::size_t>(host::kDepthWidth * host::kDepthHeight)) {}

    // Someone whose shoulders lie along x (or along y).
    void person(float x, float y, float height, bool shoulders_along_y = false) {
        const float k = height / 1700.0f;
        const float wide = 225.0f * k, deep = 120.0f * k;
        const float head = 0.6f + 0.4f * k;  // children have large heads
        ellipsoids_.push_back(
            {x, y, height - 120.0f * head, 80.0f * head, 95.0f * head, 120.0f * head});
        ellipsoids_.push_back({x, y, height - 390.0f * k, shoulders_along_y ? deep : wide,
                               shoulders_along_y ? wide : deep, 130.0f * k});
        ellipsoids_.push_back({x, y, 0.45f * height, 150.0f * k, 130.0f * k, 0.45f * height});
    }

    // A rectangle as large as the projected head and shoulders of such a person straight below the
    // camera, around the top of the head, hidden parts too.
    host::Detection truth(float x, float y, float height, bool shoulders_along_y = false) const {
        Scene alone(camera_.height_mm);
        alone.person(0.0f, 0.0f, height, shoulders_along_y);
        float low_u = 1e9f, high_u = -1e9f, low_v = 1e9f, high_v = -1e9f;
        for (std::size_t part = 0; part < 2; ++part) {
            const Ellipsoid& e = alone.ellipsoids_[part];
            for (float lat = -1.55f; lat < 1.56f; lat += 0.1f) {
                for (float lon = 0.0f; lon < 6.28f; lon += 0.1f) {
                    const float px = e.x + e.rx * std::cos(lat) * std::cos(lon);
                    const float py = e.y + e.ry * std::cos(lat) * std::sin(lon);
                    const float z = camera_.height_mm - (e.z + e.rz * std::sin(lat));
                    const float u = 2.0f * (camera_.cx + camera_.fx * px / z);
                    const float v = 2.125f * (camera_.cy + camera_.fy * py / z);
                    low_u = std::min(low_u, u);
                    high_u = std::max(high_u, u);
                    low_v = std::min(low_v, v);
                    high_v = std::max(high_v, v);
                }
            }
        }
        const float lens_to_top = camera_.height_mm - height;
        const float u = 2.0f * (camera_.cx + camera_.fx * x / lens_to_top);
        const float v = 2.125f * (camera_.cy + camera_.fy * y / lens_to_top);
        const float half_w = 0.5f * (high_u - low_u);
        const float half_h = 0.5f * (high_v - low_v);
        host::Detection box{host::kClassPerson, 1.0f};
        box.set_box(u - half_w, u + half_w, v - half_h, v + half_h);
        return box;
    }

    void ellipsoid(const Ellipsoid& shape) { ellipsoids_.push_back(shape); }
    void brick(const Brick& shape) { bricks_.push_back(shape); }

    // Depth with noise of `noise_mm` standard deviation; every `hole_every`-th pixel on average is
    // missing (0: none).
    std::vector<std::uint16_t>& render(float noise_mm = 0.0f, unsigned hole_every = 0,
                                       unsigned seed = 1) {
        std::mt19937 random(seed);
        std::normal_distribution<float> noise(0.0f, 1.0f);
        for (int v = 0; v < host::kDepthHeight; ++v) {
            for (int u = 0; u < host::kDepthWidth; ++u) {
                float z = nearest((static_cast<float>(u) + 0.5f - camera_.cx) / camera_.fx,
                                  (static_cast<float>(v) + 0.5f - camera_.cy) / camera_.fy);
                if (noise_mm > 0.0f) z += noise_mm * noise(random);
                const bool hole = hole_every != 0 && random() % hole_every == 0;
                pixel(u, v) = hole ? std::uint16_t{0} : static_cast<std::uint16_t>(z + 0.5f);
            }
        }
        return image_;
    }

    // Removes the echo of everything within `radius_mm` around a point that is higher than `above`.
    void swallow(float x, float y, float radius_mm, float above) {
        for (int v = 0; v < host::kDepthHeight; ++v) {
            for (int u = 0; u < host::kDepthWidth; ++u) {
                const auto z = static_cast<float>(pixel(u, v));
                const float px = (static_cast<float>(u) + 0.5f - camera_.cx) / camera_.fx * z;
                const float py = (static_cast<float>(v) + 0.5f - camera_.cy) / camera_.fy * z;
                if (camera_.height_mm - z > above && std::hypot(px - x, py - y) < radius_mm) {
                    pixel(u, v) = 0;
                }
            }
        }
    }

    const std::vector<host::Detection>& detect() {
        detector_.emplace_back(camera_.model());
        return detector_.back().detect(image_.data(), static_cast<std::size_t>(host::kDepthWidth));
    }

    const Lens& camera() const { return camera_; }

  private:
    std::uint16_t& pixel(int u, int v) {
        return image_[static_cast<std::size_t>(v * host::kDepthWidth + u)];
    }

    // Distance along the optical axis at which the ray (sx, sy, 1) meets the first surface.
    float nearest(float sx, float sy) const {
        float z = camera_.height_mm;
        for (const Ellipsoid& e : ellipsoids_) {
            const float ez = camera_.height_mm - e.z;
            const float ix = 1.0f / (e.rx * e.rx), iy = 1.0f / (e.ry * e.ry),
                        iz = 1.0f / (e.rz * e.rz);
            const float a = sx * sx * ix + sy * sy * iy + iz;
            const float b = sx * e.x * ix + sy * e.y * iy + ez * iz;
            const float c = e.x * e.x * ix + e.y * e.y * iy + ez * ez * iz - 1.0f;
            const float root = b * b - a * c;
            if (root > 0.0f) z = std::min(z, (b - std::sqrt(root)) / a);
        }
        for (const Brick& b : bricks_) {
            for (float top = b.top; top > 0.0f; top -= 20.0f) {
                const float bz = camera_.height_mm - top;
                if (bz < z && std::fabs(sx * bz - b.x) < b.half_x &&
                    std::fabs(sy * bz - b.y) < b.half_y) {
                    z = bz;
                    break;
                }
            }
        }
        return z;
    }

    Lens camera_;
    std::vector<Ellipsoid> ellipsoids_;
    std::vector<Brick> bricks_;
    std::vector<std::uint16_t> image_;
    std::vector<host::DepthDetector> detector_;
};

}  // namespace test_scene
