// One number for all bytes of a frame's images.
#pragma once

#include <cstdint>

#include "sim/simulator.h"

namespace sim_test {

// FNV-1a over all bytes of the four images.
inline std::uint64_t hash_of(const sim::Frame& frame, std::uint64_t hash = 0xCBF29CE484222325ULL) {
    const auto add = [&hash](std::uint64_t byte) { hash = (hash ^ byte) * 0x100000001B3ULL; };
    for (const std::uint8_t byte : frame.bgr)
        add(byte);
    for (const std::uint8_t byte : frame.nv12)
        add(byte);
    for (const std::uint8_t byte : frame.depth_nv12)
        add(byte);
    for (const std::uint16_t mm : frame.raw_mm) {
        add(mm & 255U);
        add(mm >> 8);
    }
    return hash;
}

}  // namespace sim_test
