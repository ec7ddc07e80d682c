// Pixels of a depth image, a block at a time: most of an image is floor that can be passed over.
#pragma once

#include <cstdint>
#include <opencv2/core/hal/intrin.hpp>

namespace host {

inline constexpr int kBlock = 16;  // pixels

// Whether one of a block's values lies in [low, low + span].
inline bool any_within(const std::uint16_t* block, std::uint16_t low, std::uint16_t span) {
    const cv::v_uint16x8 lowest = cv::v_setall_u16(low);
    const cv::v_uint16x8 most = cv::v_setall_u16(span);
    const cv::v_uint16x8 first = cv::v_sub_wrap(cv::v_load(block), lowest) <= most;
    const cv::v_uint16x8 second = cv::v_sub_wrap(cv::v_load(block + 8), lowest) <= most;
    return cv::v_check_any(first | second);
}

}  // namespace host
