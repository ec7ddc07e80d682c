// Turns the bytes of a fuzzer's input into numbers. Past the end every number is 0, so that an
// input cut anywhere still means something.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>

namespace fuzz {

class ByteReader {
  public:
    ByteReader(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

    bool empty() const { return at_ == end_; }
    size_t left() const { return static_cast<size_t>(end_ - at_); }
    const uint8_t* rest() const { return at_; }

    void skip(size_t bytes) { at_ += std::min(bytes, left()); }

    // What is missing of `bytes` is zero.
    void fill(void* to, size_t bytes) {
        const size_t num = std::min(bytes, left());
        if (num > 0) std::memcpy(to, at_, num);
        std::memset(static_cast<uint8_t*>(to) + num, 0, bytes - num);
        at_ += num;
    }

    uint8_t u8() { return take<uint8_t>(); }
    uint16_t u16() { return take<uint16_t>(); }
    uint32_t u32() { return take<uint32_t>(); }
    int32_t i32() { return take<int32_t>(); }

    int32_t below(int32_t limit) { return u8() % limit; }
    bool flag() { return (u8() & 1) != 0; }

    // Any i32, the ends of ranges and everyday values more often than chance would have them.
    int32_t number() {
        static constexpr int32_t kEnds[] = {
            INT_MIN, INT_MIN + 1, -65536, -32768, -15360, -15359, -1,      0,
            1,       2,           90,     100,    128,    129,    480,     543,
            544,     959,         960,    32767,  65536,  46341,  1 << 24, 1 << 30,
            1500,    2000,        3000,   4800,   6000,   715827, INT_MAX, INT_MAX - 1};
        const uint8_t choice = u8();
        switch (choice & 3) {
            case 0:
                return kEnds[(choice >> 2) % std::size(kEnds)];
            case 1:
                return u8();
            case 2:
                return take<int16_t>();
            default:
                return i32();
        }
    }

    // A coordinate on or near a 960 x 544 picture, now and then any number.
    int32_t pixel() {
        const uint16_t value = u16();
        return value % 16 == 15 ? number() : value / 16 % 1024 - 32;
    }

    float real() {
        static constexpr float kEnds[] = {std::numeric_limits<float>::quiet_NaN(),
                                          std::numeric_limits<float>::infinity(),
                                          -std::numeric_limits<float>::infinity(),
                                          std::numeric_limits<float>::max(),
                                          std::numeric_limits<float>::denorm_min(),
                                          -0.0f,
                                          -1.0f,
                                          2147483648.0f};
        const uint8_t choice = u8();
        if (choice < 160) return static_cast<float>(choice) / 128.0f;
        if (choice < 192) return kEnds[choice % std::size(kEnds)];
        if (choice < 224) return static_cast<float>(number());
        return take<float>();
    }

  private:
    template <typename Number>
    Number take() {
        Number value;
        fill(&value, sizeof(value));
        return value;
    }

    const uint8_t* at_;
    const uint8_t* end_;
};

}  // namespace fuzz
