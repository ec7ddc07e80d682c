// Checks PNG files before they are decoded, so that a broken one is told from a good one.
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
};

// Reads only the beginning and the end of the file; nothing when it is no PNG or was cut short.
std::optional<PngHeader> read_png_header(const std::string& path);

// The whole file; empty when it cannot be read.
std::vector<std::uint8_t> read_bytes(const std::string& path);

// True when the file is a chain of chunks with right checksums up to the closing one.
bool png_is_intact(std::span<const std::uint8_t> bytes);

}  // namespace host
