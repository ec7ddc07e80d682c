// What the coding of depth costs by itself, with the options that it has.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace bench {

// Pictures of one size, row by row.
struct DepthPictures {
    std::string name;
    int width = 0;
    int height = 0;
    std::vector<std::span<const std::uint16_t>> pictures;
};

// Prints a table with a row for each coding: bytes of a picture, processor time to write and to
// read it. Throws std::runtime_error when a picture does not come back as it was.
void print_codings(const std::vector<DepthPictures>& all);

}  // namespace bench
