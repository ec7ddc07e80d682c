// Pixels of a depth image, a block at a time: most of an image is floor that can be passed over.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/core/hal/intrin.hpp>
#include <span>

namespace host {

inline constexpr int kBlock = 16;  // pixels

// A part of an image, whole blocks of columns, with all the neighbours of its pixels.
inline cv::Rect with_neighbours(const cv::Rect& room, const cv::Size& picture) {
    return cv::Rect(room.x - kBlock, room.y - 1, room.width + 2 * kBlock, room.height + 2) &
           cv::Rect(cv::Point(), picture);
}

// A bit for each of a block's pixels of which two masks, of eight lanes each, are set; the first
// pixel is the lowest bit.
inline std::uint32_t bits_of(const cv::v_uint16x8& first, const cv::v_uint16x8& second) {
    return static_cast<std::uint32_t>(cv::v_signmask(cv::v_pack(first, second)));
}

// Of a block's values those in [low, low + span].
inline std::uint32_t within(const std::uint16_t* block, std::uint16_t low, std::uint16_t span) {
    const cv::v_uint16x8 lowest = cv::v_setall_u16(low);
    const cv::v_uint16x8 most = cv::v_setall_u16(span);
    return bits_of(cv::v_sub_wrap(cv::v_load(block), lowest) <= most,
                   cv::v_sub_wrap(cv::v_load(block + 8), lowest) <= most);
}

// Of a block's values those that are 0.
inline std::uint32_t zeros_of(const std::uint16_t* block) {
    const cv::v_uint16x8 zero = cv::v_setzero_u16();
    return bits_of(cv::v_load(block) == zero, cv::v_load(block + 8) == zero);
}

// Calls visit(i) for each of the values that is not below `least`; mostly none of a block is.
template <typename Visit>
void visit_at_least(std::span<const float> values, float least, Visit visit) {
    const cv::v_float32x4 lowest = cv::v_setall_f32(least);
    const int count = static_cast<int>(values.size());
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        auto found =
            static_cast<std::uint32_t>(cv::v_signmask(cv::v_load(values.data() + i) >= lowest));
        for (; found != 0; found &= found - 1)
            visit(i + std::countr_zero(found));
    }
    for (; i < count; ++i)
        if (values[static_cast<std::size_t>(i)] >= least) visit(i);
}

// Calls visit(i) for each of the bytes that has a value; few have.
template <typename Visit>
void visit_equal(std::span<const std::uint8_t> bytes, std::uint8_t value, Visit visit) {
    const cv::v_uint8x16 wanted = cv::v_setall_u8(value);
    std::size_t i = 0;
    for (; i + kBlock <= bytes.size(); i += kBlock) {
        auto found =
            static_cast<std::uint32_t>(cv::v_signmask(cv::v_load(bytes.data() + i) == wanted));
        for (; found != 0; found &= found - 1)
            visit(i + static_cast<std::size_t>(std::countr_zero(found)));
    }
    for (; i < bytes.size(); ++i)
        if (bytes[i] == value) visit(i);
}

}  // namespace host
