// Arithmetic that behaves the same on every processor: conversions that saturate, sums and products
// that wrap, divisions by zero that give zero.
#pragma once

#include <cstdint>
#include <limits>

namespace vca {

// Truncates toward zero, saturates at the ends of i32, turns NaN into 0.
template <typename Float>
constexpr int32_t to_i32(Float v) {
    constexpr Float kEnd = static_cast<Float>(2147483648.0);
    if (v != v) return 0;
    if (v >= kEnd) return std::numeric_limits<int32_t>::max();
    if (v <= -kEnd) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

// The same for u32: negative values become 0.
constexpr uint32_t to_u32(float v) {
    constexpr float kEnd = 4294967296.0f;
    if (!(v > 0.0f)) return 0;
    if (v >= kEnd) return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(v);
}

constexpr int32_t wrap_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

constexpr int32_t wrap_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

constexpr int32_t wrap_mul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Truncates toward zero; a / 0 is 0 and the one overflowing quotient wraps.
constexpr int32_t safe_div(int32_t a, int32_t b) {
    if (b == 0) return 0;
    if (b == -1) return wrap_sub(0, a);
    return a / b;
}

}  // namespace vca
