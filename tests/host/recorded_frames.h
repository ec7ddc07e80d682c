// Pictures of a small sensor, for tests of recordings.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "host/media/recording_writer.h"

namespace test {

inline constexpr int kSensorWidth = 64;
inline constexpr int kSensorHeight = 48;

inline std::vector<std::uint16_t> sensor_depth(std::int64_t number, int width = kSensorWidth,
                                               int height = kSensorHeight) {
    std::vector<std::uint16_t> depth;
    auto state = static_cast<std::uint32_t>(number) * 2654435761u + 1u;
    for (int i = 0; i < width * height; ++i) {
        state = state * 1664525u + 1013904223u;
        depth.push_back(state >> 28 == 0 ? std::uint16_t{0}
                                         : static_cast<std::uint16_t>(2500 + (state >> 26)));
    }
    return depth;
}

inline std::vector<std::uint8_t> sensor_colour(std::int64_t number) {
    std::vector<std::uint8_t> nv12;
    for (int i = 0; i < kSensorWidth * kSensorHeight * 3 / 2; ++i)
        nv12.push_back(static_cast<std::uint8_t>(i * 7 + number * 13));
    return nv12;
}

// Every seventh is missing, and no time is a whole millisecond.
inline std::int64_t sensor_number(int index) {
    return 5 + index + index / 6;
}
inline std::int64_t sensor_time_us(int index) {
    return 1'000'333 + sensor_number(index) * 66'667;
}

inline host::RecordingWriter::Setup sensor_setup(const std::filesystem::path& path) {
    host::RecordingWriter::Setup setup;
    setup.path = path.string();
    setup.width = kSensorWidth;
    setup.height = kSensorHeight;
    setup.colour_width = kSensorWidth;
    setup.colour_height = kSensorHeight;
    setup.first_time_us = sensor_time_us(0);
    setup.tags = {{"VCA_PLACE", "hall"}};
    setup.attachments = {{"camera.toml", "text/plain", "width = 64\n"}};
    return setup;
}

inline void write_frame(host::RecordingWriter& writer, int index, bool colour = false) {
    const std::vector<std::uint16_t> depth = sensor_depth(sensor_number(index));
    std::vector<std::uint8_t> nv12;
    if (colour) nv12 = sensor_colour(sensor_number(index));
    writer.write({sensor_number(index), sensor_time_us(index), depth, nv12});
}

inline std::string read_all(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return std::move(bytes).str();
}

inline void write_all(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::ssize(bytes));
}

}  // namespace test
