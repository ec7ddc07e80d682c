// A PNG file is 8 signature bytes and a chain of chunks: length, four letters, data, checksum of
// letters and data; numbers are big endian. The pixels are decoded here and not by a general
// decoder, because those report damaged files on standard error by themselves.
#include "host/media/png_file.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace host {
namespace {

constexpr std::array<std::uint8_t, 8> kSignature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr std::array<std::uint8_t, 8> kEnd{'I', 'E', 'N', 'D', 0xae, 0x42, 0x60, 0x82};
constexpr std::size_t kChunkFrame = 12;  // bytes of a chunk besides its data

std::uint32_t number_at(std::span<const std::uint8_t> bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 |
           std::uint32_t{bytes[at + 2]} << 8 | std::uint32_t{bytes[at + 3]};
}

std::array<std::uint32_t, 256> checksum_table() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1u) != 0 ? 0xedb88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}

std::uint32_t checksum(std::span<const std::uint8_t> bytes) {
    static const std::array<std::uint32_t, 256> table = checksum_table();
    std::uint32_t c = 0xffffffffu;
    for (const std::uint8_t byte : bytes)
        c = table[(c ^ byte) & 0xffu] ^ (c >> 8);
    return ~c;
}

constexpr std::size_t kHeaderBytes = 29;  // signature, frame of the first chunk, its data

std::optional<PngHeader> parse_header(std::span<const std::uint8_t> head) {
    if (head.size() < kHeaderBytes ||
        !std::equal(kSignature.begin(), kSignature.end(), head.begin()) ||
        std::memcmp(&head[12], "IHDR", 4) != 0) {
        return std::nullopt;
    }
    return PngHeader{static_cast<int>(number_at(head, 16)), static_cast<int>(number_at(head, 20)),
                     head[24], head[25] == 0, head[28] != 0};
}

}  // namespace

std::optional<PngHeader> read_png_header(const std::string& path) {
    std::array<std::uint8_t, kHeaderBytes> head{};
    std::array<std::uint8_t, kEnd.size()> tail{};
    std::ifstream in(path, std::ios::binary);
    in.read(reinterpret_cast<char*>(head.data()), head.size());
    in.seekg(-static_cast<std::streamoff>(tail.size()), std::ios::end);
    in.read(reinterpret_cast<char*>(tail.data()), tail.size());
    if (!in || tail != kEnd) return std::nullopt;
    return parse_header(head);
}

std::vector<std::uint8_t> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

namespace {

// The data of all IDAT chunks; nothing when a checksum is wrong or the closing chunk is missing.
std::optional<std::vector<std::uint8_t>> packed_pixels(std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> packed;
    std::size_t at = kSignature.size();
    while (bytes.size() - at >= kChunkFrame) {
        const std::size_t length = number_at(bytes, at);
        if (length > bytes.size() - at - kChunkFrame) return std::nullopt;
        const auto covered = bytes.subspan(at + 4, length + 4);
        if (checksum(covered) != number_at(bytes, at + 8 + length)) return std::nullopt;
        if (std::memcmp(covered.data(), "IEND", 4) == 0) return packed;
        if (std::memcmp(covered.data(), "IDAT", 4) == 0) {
            packed.insert(packed.end(), covered.begin() + 4, covered.end());
        }
        at += kChunkFrame + length;
    }
    return std::nullopt;
}

int paeth(int left, int above, int corner) {
    const int from_left = std::abs(above - corner);
    const int from_above = std::abs(left - corner);
    const int from_corner = std::abs(left + above - 2 * corner);
    if (from_left <= from_above && from_left <= from_corner) return left;
    return from_above <= from_corner ? above : corner;
}

// A row is stored as differences from a forecast made of the bytes of the pixel to the left, of the
// row above, or of both.
template <typename Forecast>
void restore_row(const std::uint8_t* above, std::uint8_t* row, std::size_t bytes,
                 Forecast forecast) {
    constexpr std::size_t kPixel = 2;
    for (std::size_t i = 0; i < bytes; ++i) {
        const int left = i < kPixel ? 0 : row[i - kPixel];
        const int corner = i < kPixel ? 0 : above[i - kPixel];
        row[i] = static_cast<std::uint8_t>(row[i] + forecast(left, int{above[i]}, corner));
    }
}

// False for an unknown kind of forecast.
bool restore_row(int filter, const std::uint8_t* above, std::uint8_t* row, std::size_t bytes) {
    switch (filter) {
        case 0:
            return true;
        case 1:
            restore_row(above, row, bytes, [](int left, int, int) { return left; });
            return true;
        case 2:
            restore_row(above, row, bytes, [](int, int up, int) { return up; });
            return true;
        case 3:
            restore_row(above, row, bytes, [](int left, int up, int) { return (left + up) / 2; });
            return true;
        case 4:
            restore_row(above, row, bytes, paeth);
            return true;
        default:
            return false;
    }
}

}  // namespace

bool decode_grey16(std::span<const std::uint8_t> bytes, int width, int height,
                   std::vector<std::uint16_t>& pixels) {
    const std::optional<PngHeader> header = parse_header(bytes);
    if (!header || header->bits != 16 || !header->grey || header->interlaced ||
        header->width != width || header->height != height) {
        return false;
    }
    const auto packed = packed_pixels(bytes);
    if (!packed) return false;
    const std::size_t row_bytes = 2 * static_cast<std::size_t>(width);
    std::vector<std::uint8_t> rows((row_bytes + 1) * static_cast<std::size_t>(height));
    uLongf unpacked = rows.size();
    if (uncompress(rows.data(), &unpacked, packed->data(), packed->size()) != Z_OK ||
        unpacked != rows.size()) {
        return false;
    }
    pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const std::vector<std::uint8_t> nothing(row_bytes);
    const std::uint8_t* above = nothing.data();
    auto out = pixels.begin();
    for (std::size_t at = 0; at < rows.size(); at += row_bytes + 1) {
        std::uint8_t* row = &rows[at + 1];
        if (!restore_row(rows[at], above, row, row_bytes)) return false;
        for (std::size_t i = 0; i < row_bytes; i += 2) {
            *out++ = static_cast<std::uint16_t>(row[i] << 8 | row[i + 1]);
        }
        above = row;
    }
    return true;
}

}  // namespace host
