// A camera that measures the phase of modulated infrared light.
//
// What it does to the distance r along a ray:
// - The phase's deviation grows with the light there is, A + B, and falls with the part of it that
//   is modulated: sigma = k sqrt(A + B) / A (Lange and Seitz, Solid-State Time-of-Flight Range
//   Camera, IEEE Journal of Quantum Electronics 37, 2001). A is the surface's albedo times the
//   cosine of incidence over r^2, B is other light, above all the sun. Where A is too small nothing
//   is reported: dark hair, black cloth, grazing and far surfaces.
// - Light that reaches a surface over another beside it has come a longer way, so the floor beside
//   whatever stands on it seems farther away. A pixel on an edge receives both phases and reports
//   a distance between them, a flying pixel. The phase tells distances apart up to half the
//   wavelength of the modulation only (Hansard, Lee, Choi and Horaud, Time-of-Flight Cameras:
//   Principles, Methods and Applications, 2012).
#include <algorithm>
#include <cmath>
#include <utility>

#include "sim/sensor.h"

namespace sim {
namespace {

constexpr float kRange_m = 7.5f;          // c / (2 f) at 20 MHz
constexpr float kNoise_m = 0.001f;        // k: 3 mm on a grey floor at 2 m, 13 mm at 6 m
constexpr float kRoomLight = 0.02f;       // B, in units of A of a white surface at 1 m
constexpr float kSunLight = 4.0f;         // B in a patch of sun
constexpr float kLeastLight = 0.0065f;    // A below this is reported as missing
constexpr float kMostNoise_m = 0.06f;     // as is a value that is worth nothing
constexpr float kHairAlbedo = 0.05f;      // of dark hair
constexpr float kBlackAlbedo = 0.08f;     // of black cloth
constexpr int kDarkCloth = 135;           // red, green and blue together
constexpr float kEdgeStep_m = 0.10f;      // a pixel with a larger step beside it sees both sides
constexpr std::uint16_t kFlying = 40000;  // of 65536 such pixels
constexpr float kPathPerStep = 0.06f;     // longer way over a surface nearer to the camera, per m
constexpr float kHighestWall_m = 1.5f;    // more than this adds nothing
constexpr int kBlock_px = 8;              // resolution of the light that goes astray
constexpr int kCols = kDepthWidth / kBlock_px;
constexpr int kRows = kDepthHeight / kBlock_px;
constexpr float kAstray_m = 0.45f;  // as far to each side

float albedo_of(const Material& material, std::size_t index) {
    constexpr float kFloor = 0.5f;
    if (index == 0) return kFloor;
    const Rgb c = material.colour;
    const int sum = c.r + c.g + c.b;
    if (material.swallows_infrared) return kHairAlbedo;
    if (sum < kDarkCloth) return kBlackAlbedo;
    return 0.15f + 0.6f * static_cast<float>(sum) / 765.0f;
}

class TimeOfFlight final : public DepthSensor {
  public:
    TimeOfFlight(const Camera& camera, NoiseRows rows)
        : fx_(static_cast<float>(camera.focal_px * kDepthWidth / kColourWidth)),
          fy_(static_cast<float>(camera.focal_px * kDepthHeight / kColourHeight)),
          noise_(std::move(rows)),
          around_(kBlock_px) {}

    void measure(const DepthView& view, std::vector<std::uint16_t>& raw_mm) override {
        raw_mm.resize(kDepthPixels);
        albedo_.clear();
        for (std::size_t i = 0; i < view.materials.size(); ++i)
            albedo_.push_back(albedo_of(view.materials[i], i));
        look_around(view);
        for (int y = 0; y < kDepthHeight; ++y)
            measure_row(view, y, raw_mm.data() + y * kDepthWidth);
    }

  private:
    // Mean distance of the surroundings of each block: two box filters after each other, each along
    // rows and columns.
    void look_around(const DepthView& view) {
        std::vector<float> mean(kCols * kRows);
        for (int y = 0; y < kDepthHeight; ++y) {
            for (int x = 0; x < kDepthWidth; ++x) {
                mean[static_cast<std::size_t>(y / kBlock_px * kCols + x / kBlock_px)] +=
                    view.z_m[static_cast<std::size_t>(y * kDepthWidth + x)] /
                    static_cast<float>(kBlock_px * kBlock_px);
            }
        }
        const float floor_m = *std::max_element(mean.begin(), mean.end());
        const int reach = static_cast<int>(0.5f * kAstray_m * fx_ / (floor_m * kBlock_px) + 0.5f);
        for (int round = 0; round < 2; ++round) {
            smear(mean, reach, 1, kCols, kCols, kRows);
            smear(mean, reach, kCols, 1, kRows, kCols);
        }
        around_.fill([&mean](int i, int j) {
            const auto mean_of = [&mean](int col, int row) {
                return mean[static_cast<std::size_t>(std::clamp(row, 0, kRows - 1) * kCols +
                                                     std::clamp(col, 0, kCols - 1))];
            };
            // The grid point is the corner of four blocks.
            return 0.25f *
                   (mean_of(i - 1, j - 1) + mean_of(i, j - 1) + mean_of(i - 1, j) + mean_of(i, j));
        });
    }

    // Mean over `reach` values to both sides, along `lines` lines of `length` values.
    static void smear(std::vector<float>& values, int reach, int step, int line_step, int length,
                      int lines) {
        std::vector<float> line(static_cast<std::size_t>(length));
        for (int k = 0; k < lines; ++k) {
            float* first = values.data() + k * line_step;
            for (int i = 0; i < length; ++i)
                line[static_cast<std::size_t>(i)] = first[i * step];
            for (int i = 0; i < length; ++i) {
                float sum = 0.0f;
                for (int d = -reach; d <= reach; ++d)
                    sum += line[static_cast<std::size_t>(std::clamp(i + d, 0, length - 1))];
                first[i * step] = sum / static_cast<float>(2 * reach + 1);
            }
        }
    }

    void measure_row(const DepthView& view, int y, std::uint16_t* out) {
        const float* here = view.z_m.data() + y * kDepthWidth;
        const float* above = view.z_m.data() + std::max(y - 1, 0) * kDepthWidth;
        const float* below = view.z_m.data() + std::min(y + 1, kDepthHeight - 1) * kDepthWidth;
        const std::uint16_t* materials = view.material.data() + y * kDepthWidth;
        const std::uint8_t* sunlit =
            view.sunlit.empty() ? nullptr : view.sunlit.data() + y * kDepthWidth;
        const float* around = around_.row(y);
        const float* normal = noise_.normal(view.frame, y);
        const std::uint16_t* chance = noise_.chance(view.frame, y);
        const std::uint16_t* share = noise_.chance(view.frame, y + kDepthHeight);
        const float sy = static_cast<float>(y - kDepthHeight / 2) / fy_;
        for (int x = 0; x < kDepthWidth; ++x) {
            const float z = here[x];
            const float left = here[std::max(x - 1, 0)];
            const float right = here[std::min(x + 1, kDepthWidth - 1)];
            const float sx = static_cast<float>(x - kDepthWidth / 2) / fx_;
            const float ray = std::sqrt(1.0f + sx * sx + sy * sy);
            const float r = z * ray;
            const float low = std::min(std::min(left, right), std::min(above[x], below[x]));
            const float high = std::max(std::max(left, right), std::max(above[x], below[x]));
            // The normal of the surface through the neighbours, in units that make its product
            // with the ray to the pixel 1.
            const float gx = 0.5f * (right - left) * fx_ / z;
            const float gy = 0.5f * (below[x] - above[x]) * fy_ / z;
            const float gz = 1.0f + sx * gx + sy * gy;
            const bool edge = std::max(high, z) - std::min(low, z) > kEdgeStep_m;
            const float incidence =
                edge ? 0.7f : 1.0f / (ray * std::sqrt(gx * gx + gy * gy + gz * gz));
            const float uneven = 0.75f + static_cast<float>(share[x]) * (0.5f / 65536.0f);
            const float light = albedo_[materials[x]] * incidence * uneven / (r * r);
            const bool sun = sunlit != nullptr && sunlit[x] != 0;
            const float other = sun ? kSunLight : kRoomLight;
            const float sigma_m = kNoise_m * std::sqrt(light + other) / light;
            if (light < kLeastLight || sigma_m > kMostNoise_m) {
                out[x] = 0;
                continue;
            }
            float seen_m = z;
            if (edge && chance[x] < kFlying)
                seen_m = between(std::min(low, z), std::max(high, z), share[x]);
            seen_m += kPathPerStep * std::clamp(z - around[x], 0.0f, kHighestWall_m);
            float along_m = seen_m * ray + sigma_m * normal[x];
            along_m -= kRange_m * std::floor(along_m / kRange_m);
            out[x] = static_cast<std::uint16_t>(along_m / ray * 1000.0f + 0.5f);
        }
    }

    // Both sides of an edge in one pixel, each with its share of the surface and the light that
    // falls with the square of the distance.
    static float between(float near_m, float far_m, std::uint16_t share) {
        const float part = static_cast<float>(share) / 65536.0f;
        const float near = part / (near_m * near_m);
        const float far = (1.0f - part) / (far_m * far_m);
        return (near * near_m + far * far_m) / (near + far);
    }

    float fx_;
    float fy_;
    NoiseRows noise_;
    SmoothField around_;
    std::vector<float> albedo_;  // by material
};

}  // namespace

std::unique_ptr<DepthSensor> make_time_of_flight(const Camera& camera, NoiseRows rows) {
    return std::make_unique<TimeOfFlight>(camera, std::move(rows));
}

}  // namespace sim
