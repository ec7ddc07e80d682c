// A PNG file is 8 signature bytes and a chain of chunks: length, four letters, data, checksum of
// letters and data; numbers are big endian.
#include "host/frames/png_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>

namespace host {
namespace {

constexpr std::array<std::uint8_t, 8> kSignature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr std::array<std::uint8_t, 8> kEnd{'I', 'E', 'N', 'D', 0xae, 0x42, 0x60, 0x82};
constexpr std::size_t kChunkFrame = 12;  // bytes of a chunk beside its data

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

}  // namespace

std::optional<PngHeader> read_png_header(const std::string& path) {
    std::array<std::uint8_t, 26> head{};
    std::array<std::uint8_t, kEnd.size()> tail{};
    std::ifstream in(path, std::ios::binary);
    in.read(reinterpret_cast<char*>(head.data()), head.size());
    in.seekg(-static_cast<std::streamoff>(tail.size()), std::ios::end);
    in.read(reinterpret_cast<char*>(tail.data()), tail.size());
    if (!in || tail != kEnd || !std::equal(kSignature.begin(), kSignature.end(), head.begin()) ||
        std::memcmp(&head[12], "IHDR", 4) != 0) {
        return std::nullopt;
    }
    return PngHeader{static_cast<int>(number_at(head, 16)), static_cast<int>(number_at(head, 20)),
                     head[24], head[25] == 0};
}

std::vector<std::uint8_t> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

bool png_is_intact(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kSignature.size() ||
        !std::equal(kSignature.begin(), kSignature.end(), bytes.begin())) {
        return false;
    }
    std::size_t at = kSignature.size();
    while (bytes.size() - at >= kChunkFrame) {
        const std::size_t length = number_at(bytes, at);
        if (length > bytes.size() - at - kChunkFrame) return false;
        const auto covered = bytes.subspan(at + 4, length + 4);
        if (checksum(covered) != number_at(bytes, at + 8 + length)) return false;
        if (std::memcmp(covered.data(), "IEND", 4) == 0) return true;
        at += kChunkFrame + length;
    }
    return false;
}

}  // namespace host
