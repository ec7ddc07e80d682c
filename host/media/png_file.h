// Reads 16-bit grey PNG files and tells a broken one from a good one.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace host {

struct PngHeader {
    int width = 0;
    int height = 0;
    int bits = 0;  // per channel
    bool grey = false;
    bool interlaced = false;
};

// Reads only the beginning and the end of the file; empty when it is not a PNG or was cut short.
std::optional<PngHeader> read_png_header(const std::string& path);

// The whole file; empty when it cannot be read.
std::vector<std::uint8_t> read_bytes(const std::string& path);

// The pixels of a 16-bit grey file of this size, row by row. False when the file is damaged: a
// wrong checksum, no closing chunk, or too few or too many packed pixels.
bool decode_grey16(std::span<const std::uint8_t> bytes, int width, int height,
                   std::vector<std::uint16_t>& pixels);

}  // namespace host
