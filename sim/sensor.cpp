// The plain sensor, and what all sensors share.
#include "sim/sensor.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace sim {
namespace {

constexpr int kNoiseLength = 1 << 16;  // a row can start anywhere in it

// Depth noise grows with the square of the distance: 2 mm at 2 m, 8 mm at 4 m.
constexpr float kDepthNoise_mm_per_m2 = 0.5f;
constexpr float kEdgeStep_m = 0.15f;          // a larger step between neighbours is an edge
constexpr std::uint16_t kEdgeLoss = 36000;    // of 65536
constexpr std::uint16_t kRandomLoss = 60;     // of 65536
constexpr std::uint16_t kSunLoss = 40000;     // of 65536
constexpr float kSunNoise = 8.0f;             // times what it is elsewhere
constexpr std::uint64_t kHairPatchLoss = 90;  // of 256

std::size_t noise_start(std::uint64_t seed, std::int64_t frame, int row) {
    const std::uint64_t key =
        seed ^ (static_cast<std::uint64_t>(frame) << 20) ^ static_cast<std::uint64_t>(row);
    return mix64(key) % kNoiseLength;
}

class PlainSensor final : public DepthSensor {
  public:
    explicit PlainSensor(NoiseRows rows) : noise_(std::move(rows)) {}

    void measure(const DepthView& view, std::vector<std::uint16_t>& raw_mm) override {
        raw_mm.resize(kDepthPixels);
        for (int y = 0; y < kDepthHeight; ++y)
            measure_row(view, y, raw_mm.data() + y * kDepthWidth);
    }

  private:
    void measure_row(const DepthView& view, int y, std::uint16_t* out) const {
        const float* here = view.z_m.data() + y * kDepthWidth;
        const float* above = view.z_m.data() + std::max(y - 1, 0) * kDepthWidth;
        const float* below = view.z_m.data() + std::min(y + 1, kDepthHeight - 1) * kDepthWidth;
        const std::uint16_t* materials = view.material.data() + y * kDepthWidth;
        const std::uint8_t* sunlit =
            view.sunlit.empty() ? nullptr : view.sunlit.data() + y * kDepthWidth;
        const float* noise = noise_.normal(view.frame, y);
        const std::uint16_t* chance = noise_.chance(view.frame, y);
        for (int x = 0; x < kDepthWidth; ++x) {
            const float z = here[x];
            const float left = here[std::max(x - 1, 0)];
            const float right = here[std::min(x + 1, kDepthWidth - 1)];
            const float low = std::min(std::min(left, right), std::min(above[x], below[x]));
            const float high = std::max(std::max(left, right), std::max(above[x], below[x]));
            const bool edge = high - z > kEdgeStep_m || z - low > kEdgeStep_m;
            const bool sun = sunlit != nullptr && sunlit[x] != 0;
            bool lost = chance[x] < (edge ? kEdgeLoss : (sun ? kSunLoss : kRandomLoss));
            if (view.materials[materials[x]].swallows_infrared) {
                // Ragged blotches of a few pixels that stay for some frames.
                const int ragged = chance[x] & 3;
                const std::uint64_t cell = static_cast<std::uint64_t>((x + ragged) / 4) << 40 ^
                                           static_cast<std::uint64_t>((y + ragged) / 4) << 20 ^
                                           static_cast<std::uint64_t>(view.frame / 3);
                lost = lost || (noise_.bits_at(cell) & 255U) < kHairPatchLoss;
            }
            float error_mm = noise[x] * (kDepthNoise_mm_per_m2 * z * z);
            if (sun) error_mm *= kSunNoise;
            out[x] = static_cast<std::uint16_t>(
                lost ? 0 : static_cast<int>(z * 1000.0f + error_mm + 0.5f));
        }
    }

    NoiseRows noise_;
};

constexpr std::array kNames = {"plain", "time-of-flight", "stereo"};

}  // namespace

NoiseRows::NoiseRows(std::uint64_t seed, Rng& rng)
    : seed_(seed), normal_(kNoiseLength + kDepthWidth), chance_(kNoiseLength + kDepthWidth) {
    for (float& n : normal_)
        n = static_cast<float>(rng.normal());
    for (std::uint16_t& n : chance_)
        n = static_cast<std::uint16_t>(rng.bits() >> 48);
}

const float* NoiseRows::normal(std::int64_t frame, int row) const {
    return normal_.data() + noise_start(seed_ + 12, frame, row);
}

const std::uint16_t* NoiseRows::chance(std::int64_t frame, int row) const {
    return chance_.data() + noise_start(seed_ + 13, frame, row);
}

float NoiseRows::normal_at(std::uint64_t key) const {
    return normal_[bits_at(key) % kNoiseLength];
}

SmoothField::SmoothField(int cell_px)
    : cell_px_(cell_px),
      cols_(kDepthWidth / cell_px + 2),
      rows_(kDepthHeight / cell_px + 2),
      grid_(static_cast<std::size_t>(cols_ * rows_)),
      between_(static_cast<std::size_t>(cols_)) {}

const float* SmoothField::row(int y) {
    const auto cell = static_cast<float>(cell_px_);
    const float* upper = grid_.data() + y / cell_px_ * cols_;
    const float* lower = upper + cols_;
    const float down = static_cast<float>(y % cell_px_) / cell;
    for (int i = 0; i < cols_; ++i)
        between_[static_cast<std::size_t>(i)] = upper[i] + down * (lower[i] - upper[i]);
    for (int x = 0; x < kDepthWidth; ++x) {
        const auto i = static_cast<std::size_t>(x / cell_px_);
        const float right = static_cast<float>(x % cell_px_) / cell;
        row_[static_cast<std::size_t>(x)] = between_[i] + right * (between_[i + 1] - between_[i]);
    }
    return row_.data();
}

std::vector<std::string> noise_names() {
    return {kNames.begin(), kNames.end()};
}

Noise noise_from(const std::string& name) {
    std::string known;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        if (name == kNames[i]) return static_cast<Noise>(i);
        known += (known.empty() ? "" : ", ") + std::string(kNames[i]);
    }
    throw std::invalid_argument("unknown sensor noise \"" + name + "\"; known are " + known);
}

std::unique_ptr<DepthSensor> make_sensor(Noise noise, const Camera& camera, NoiseRows rows) {
    switch (noise) {
        case Noise::kTimeOfFlight:
            return make_time_of_flight(camera, std::move(rows));
        case Noise::kStereo:
            return make_stereo(camera, std::move(rows));
        case Noise::kPlain:
            break;
    }
    return std::make_unique<PlainSensor>(std::move(rows));
}

}  // namespace sim
