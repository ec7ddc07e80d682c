// Between the true distance behind each depth pixel and the millimetres that a sensor reports.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "sim/body.h"
#include "sim/noise.h"

namespace sim {

inline constexpr int kDepthPixels = kDepthWidth * kDepthHeight;

// What lies behind each of the 480 x 256 depth pixels of a frame.
struct DepthView {
    std::int64_t frame = 0;  // chooses the noise
    double time_s = 0.0;
    std::vector<float> z_m;               // distance along the optical axis
    std::vector<std::uint16_t> material;  // in `materials`, 0 is the floor
    std::vector<std::uint8_t> sunlit;     // 1 where the sun shines; empty: nowhere
    std::vector<Material> materials;
};

// A long table of random numbers; rows and frames start somewhere in it.
class NoiseRows {
  public:
    NoiseRows(std::uint64_t seed, Rng& rng);

    // A row of 480 numbers of variance 1, and one of numbers over all 16 bits.
    const float* normal(std::int64_t frame, int row) const;
    const std::uint16_t* chance(std::int64_t frame, int row) const;

    // One of the numbers of variance 1, and one over all 64 bits.
    float normal_at(std::uint64_t key) const;
    std::uint64_t bits_at(std::uint64_t key) const { return mix64(key ^ seed_); }

  private:
    std::uint64_t seed_;
    std::vector<float> normal_;
    std::vector<std::uint16_t> chance_;
};

// A smooth field over the depth image between random values on a grid, for what neighbouring pixels
// have in common.
class SmoothField {
  public:
    explicit SmoothField(int cell_px);

    // Draws value(column, row) for each grid point.
    template <typename Value>
    void fill(Value value) {
        for (int j = 0; j < rows_; ++j) {
            for (int i = 0; i < cols_; ++i)
                grid_[static_cast<std::size_t>(j * cols_ + i)] = value(i, j);
        }
    }

    // The 480 values of a row of the depth image; valid until the next call.
    const float* row(int y);

  private:
    int cell_px_;
    int cols_;
    int rows_;
    std::vector<float> grid_;
    std::vector<float> between_;  // grid rows, interpolated
    std::array<float, kDepthWidth> row_{};
};

class DepthSensor {
  public:
    virtual ~DepthSensor() = default;

    // Fills raw_mm, 480 x 256, 0 where nothing was measured.
    virtual void measure(const DepthView& view, std::vector<std::uint16_t>& raw_mm) = 0;
};

std::unique_ptr<DepthSensor> make_sensor(Noise noise, const Camera& camera, NoiseRows rows);
std::unique_ptr<DepthSensor> make_time_of_flight(const Camera& camera, NoiseRows rows);
std::unique_ptr<DepthSensor> make_stereo(const Camera& camera, NoiseRows rows);

}  // namespace sim
