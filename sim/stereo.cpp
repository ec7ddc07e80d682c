// Two cameras side by side: depth from the disparity of small windows.
//
// - Depth is z = f b / d, so an error sigma_d of the disparity becomes sigma_z = z^2 sigma_d / (f
// b)
//   (Khoshelham and Oude Elberink, Accuracy and Resolution of Kinect Depth Data for Indoor Mapping
//   Applications, Sensors 12, 2012), and steps of the disparity become steps of depth.
// - Windows are matched as a whole, so what is near spreads over its edge by up to half a window,
//   neighbours share their error, and where there is no texture there is no match; what only one
//   of the cameras sees has no match either (Scharstein and Szeliski, A Taxonomy and Evaluation of
//   Dense Two-Frame Stereo Correspondence Algorithms, International Journal of Computer Vision 47,
//   2002). Now and then a window is matched with the wrong one.
#include <algorithm>
#include <cmath>
#include <utility>

#include "sim/sensor.h"

namespace sim {
namespace {

constexpr float kBaseline_m = 0.075f;
constexpr float kSensorWidth_px = 848.0f;  // matching is done at this resolution
constexpr float kDisparityNoise_px = 0.08f;
constexpr float kStep_px = 1.0f / 32.0f;  // of the disparity
constexpr float kShared = 1.2f;  // noise that a window's neighbours have in common, between whose
                                 // values the field has two thirds of the deviation
constexpr float kOwn = 0.4f;     // and that they have not
constexpr int kWindow_px = 5;    // of the depth image; nine of the sensor
constexpr float kEdgeStep_m = 0.15f;
constexpr int kTexture_px = 12;         // size of patches with and without texture
constexpr double kTextureTime_s = 5.0;  // light and noise give the floor other patches after this
constexpr float kHalf = 0.0f;           // the fields below are symmetric about 0
constexpr float kClothLoss = -0.62f;    // a twentieth
constexpr float kDarkLoss = -0.2f;      // a third
constexpr float kSunLoss = 0.6f;        // nearly all: the projected pattern drowns
constexpr float kRagged = 0.15f;        // of the rims of patches
constexpr std::uint16_t kRandomLoss = 120;    // of 65536
constexpr int kSpeckles = 2;                  // places for wrong matches in a frame
constexpr std::uint64_t kSpeckleChance = 26;  // of 256, each
constexpr int kSpeckleFrames = 2;             // as long as one stays

float cloth_loss(const Material& material) {
    const Rgb c = material.colour;
    return material.swallows_infrared || c.r + c.g + c.b < 135 ? kDarkLoss : kClothLoss;
}

// -1 to 1
float uniform(std::uint64_t bits) {
    return static_cast<float>(static_cast<double>(bits >> 11) * 0x1.0p-52 - 1.0);
}

class Stereo final : public DepthSensor {
  public:
    Stereo(const Camera& camera, NoiseRows rows)
        : focal_baseline_(static_cast<float>(camera.focal_px / kColourWidth * kSensorWidth_px) *
                          kBaseline_m),
          noise_(std::move(rows)),
          shared_(kWindow_px),
          texture_(kTexture_px),
          nearest_(kDepthPixels),
          widened_(kDepthPixels) {}

    void measure(const DepthView& view, std::vector<std::uint16_t>& raw_mm) override {
        raw_mm.resize(kDepthPixels);
        losses_.assign(1, kHalf);
        for (std::size_t i = 1; i < view.materials.size(); ++i)
            losses_.push_back(cloth_loss(view.materials[i]));
        widen(view.z_m, nearest_);
        widen(nearest_, widened_);
        draw_fields(view);
        for (int y = 0; y < kDepthHeight; ++y)
            measure_row(view, y, raw_mm.data() + y * kDepthWidth);
        mismatch(view.frame, raw_mm);
    }

  private:
    // The nearest of each pixel's eight neighbours and itself.
    static void widen(const std::vector<float>& z_m, std::vector<float>& out) {
        std::vector<float> row(kDepthPixels);
        for (int y = 0; y < kDepthHeight; ++y) {
            const float* in = z_m.data() + y * kDepthWidth;
            float* to = row.data() + y * kDepthWidth;
            for (int x = 0; x < kDepthWidth; ++x)
                to[x] = std::min(
                    in[x], std::min(in[std::max(x - 1, 0)], in[std::min(x + 1, kDepthWidth - 1)]));
        }
        for (int y = 0; y < kDepthHeight; ++y) {
            const float* here = row.data() + y * kDepthWidth;
            const float* above = row.data() + std::max(y - 1, 0) * kDepthWidth;
            const float* below = row.data() + std::min(y + 1, kDepthHeight - 1) * kDepthWidth;
            float* to = out.data() + y * kDepthWidth;
            for (int x = 0; x < kDepthWidth; ++x)
                to[x] = std::min(here[x], std::min(above[x], below[x]));
        }
    }

    void draw_fields(const DepthView& view) {
        const auto key = [](std::uint64_t what, std::int64_t when, int i, int j) {
            return what << 56 ^ static_cast<std::uint64_t>(when) << 20 ^
                   static_cast<std::uint64_t>(j) << 10 ^ static_cast<std::uint64_t>(i);
        };
        shared_.fill([&](int i, int j) { return noise_.normal_at(key(1, view.frame, i, j)); });
        const double age = view.time_s / kTextureTime_s;
        const auto epoch = static_cast<std::int64_t>(std::floor(age));
        const auto part = static_cast<float>(age - std::floor(age));
        texture_.fill([&](int i, int j) {
            const float before = uniform(noise_.bits_at(key(2, epoch, i, j)));
            const float after = uniform(noise_.bits_at(key(2, epoch + 1, i, j)));
            return before + part * (after - before);
        });
    }

    // The surface that wins a pixel's window: one near it by half a window, where it stands out.
    float winner(float z_m, std::size_t at, float texture) const {
        if (texture > 0.0f && widened_[at] < z_m - kEdgeStep_m) return widened_[at];
        return nearest_[at] < z_m - kEdgeStep_m ? nearest_[at] : z_m;
    }

    void measure_row(const DepthView& view, int y, std::uint16_t* out) {
        const std::size_t first = static_cast<std::size_t>(y * kDepthWidth);
        const float* normal = noise_.normal(view.frame, y);
        const std::uint16_t* chance = noise_.chance(view.frame, y);
        const float* shared = shared_.row(y);
        const float* texture = texture_.row(y);
        // The other camera, to the right, sees a pixel at x - d. What lies farther right and at or
        // beyond the same place of its picture hides it.
        constexpr float kScale = static_cast<float>(kDepthWidth) / kSensorWidth_px;
        float hidden_up_to = 1e9f;
        for (int x = kDepthWidth - 1; x >= 0; --x) {
            const std::size_t at = first + static_cast<std::size_t>(x);
            const float z = view.z_m[at];
            const float disparity = focal_baseline_ / z;
            const float place = static_cast<float>(x) - disparity * kScale;
            const bool hidden = place > hidden_up_to - 0.5f;
            hidden_up_to = std::min(hidden_up_to, place);
            const float won = winner(z, at, texture[x]);
            const bool widened = won < z;
            const float ragged =
                kRagged * (static_cast<float>(chance[x]) * (2.0f / 65536.0f) - 1.0f);
            float loss = widened ? kClothLoss : losses_[view.material[at]];
            if (!view.sunlit.empty() && view.sunlit[at] != 0) loss = std::max(loss, kSunLoss);
            if ((hidden && !widened) || texture[x] + ragged < loss || chance[x] < kRandomLoss) {
                out[x] = 0;
                continue;
            }
            const float wrong_px = kDisparityNoise_px * (kShared * shared[x] + kOwn * normal[x]);
            const float steps = (focal_baseline_ / won + wrong_px) / kStep_px;
            const float seen_px = std::max(std::floor(steps + 0.5f), 1.0f) * kStep_px;
            out[x] = static_cast<std::uint16_t>(
                std::min(focal_baseline_ / seen_px * 1000.0f + 0.5f, 65000.0f));
        }
    }

    // Blobs of a wrong distance, somewhere between half of it and one and a half times.
    void mismatch(std::int64_t frame, std::vector<std::uint16_t>& raw_mm) const {
        for (int k = 0; k < kSpeckles; ++k) {
            const auto when = static_cast<std::uint64_t>(frame / kSpeckleFrames);
            const std::uint64_t bits =
                noise_.bits_at(3ULL << 56 ^ when << 8 ^ static_cast<std::uint64_t>(k));
            if ((bits & 255U) >= kSpeckleChance) continue;
            const int x = static_cast<int>((bits >> 8) % kDepthWidth);
            const int y = static_cast<int>((bits >> 20) % kDepthHeight);
            const int radius = 2 + static_cast<int>((bits >> 32) & 3U);
            const float factor = 1.0f + 0.5f * uniform(mix64(bits));
            fill_disc(x, y, radius, factor, raw_mm);
        }
    }

    static void fill_disc(int x, int y, int radius, float factor,
                          std::vector<std::uint16_t>& raw_mm) {
        const auto at = [](int u, int v) { return static_cast<std::size_t>(v * kDepthWidth + u); };
        const auto mm = static_cast<std::uint16_t>(
            std::min(static_cast<float>(raw_mm[at(x, y)]) * factor, 65000.0f));
        for (int v = std::max(y - radius, 0); v <= std::min(y + radius, kDepthHeight - 1); ++v) {
            for (int u = std::max(x - radius, 0); u <= std::min(x + radius, kDepthWidth - 1); ++u) {
                if ((u - x) * (u - x) + (v - y) * (v - y) <= radius * radius) raw_mm[at(u, v)] = mm;
            }
        }
    }

    float focal_baseline_;  // f b, pixels of the sensor times metres
    NoiseRows noise_;
    SmoothField shared_;
    SmoothField texture_;
    std::vector<float> nearest_;  // nearest distance around each pixel
    std::vector<float> widened_;  // and within two pixels
    std::vector<float> losses_;   // by material: texture below this gives no match
};

}  // namespace

std::unique_ptr<DepthSensor> make_stereo(const Camera& camera, NoiseRows rows) {
    return std::make_unique<Stereo>(camera, std::move(rows));
}

}  // namespace sim
