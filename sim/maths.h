// Random numbers and trigonometry that give the same bits with every compiler and C library.
//
// Only operations that IEEE 754 rounds correctly are used (+ - * / sqrt, floor).
#pragma once

#include <cmath>
#include <cstdint>

namespace sim {

inline constexpr double kPi = 3.14159265358979323846;

// splitmix64: one step of the sequence, and a good mixer for small integers.
inline std::uint64_t mix64(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

class Rng {
  public:
    explicit Rng(std::uint64_t seed) : state_(mix64(seed)) {}

    std::uint64_t bits() {
        const std::uint64_t value = mix64(state_);
        state_ += 0x9E3779B97F4A7C15ULL;
        return value;
    }

    // [0, 1)
    double uniform() { return static_cast<double>(bits() >> 11) * 0x1.0p-53; }
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    bool chance(double probability) { return uniform() < probability; }

    // 0 to count - 1
    int below(int count) { return static_cast<int>(bits() % static_cast<std::uint64_t>(count)); }

    // Mean 0, variance 1, within +-6: the sum of twelve uniform numbers needs no logarithm.
    double normal() {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i)
            sum += uniform();
        return sum;
    }

  private:
    std::uint64_t state_;
};

// Error below 1e-9 for any angle a walker can reach.
inline double sine(double radians) {
    double x = radians - 2.0 * kPi * std::floor(radians / (2.0 * kPi) + 0.5);
    if (x > 0.5 * kPi) x = kPi - x;
    if (x < -0.5 * kPi) x = -kPi - x;
    const double s = x * x;
    double sum = 1.0;
    for (int n = 15; n >= 3; n -= 2)
        sum = 1.0 - s * sum / ((n - 1.0) * n);
    return x * sum;
}

inline double cosine(double radians) {
    return sine(radians + 0.5 * kPi);
}

inline double clamp(double value, double low, double high) {
    return value < low ? low : (value > high ? high : value);
}

}  // namespace sim
