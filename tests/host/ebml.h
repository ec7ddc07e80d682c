// Matroska by hand, for files that no writer of ours makes.
#pragma once

#include <cstdint>
#include <string>

namespace test {

inline std::string big_endian(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i)
        text += static_cast<char>(value >> (8 * i));
    return text;
}

// An element with its number, such as 0x1A45DFA3, and its length in 8 bytes.
inline std::string element(std::uint32_t number, const std::string& content) {
    int bytes = 1;
    while (bytes < 4 && number >> (8 * bytes) != 0)
        ++bytes;
    return big_endian(number, bytes) + big_endian(0x0100000000000000u | content.size(), 8) +
           content;
}

inline std::string element(std::uint32_t number, std::uint64_t value) {
    return element(number, big_endian(value, 8));
}

inline std::string ebml_head() {
    return element(0x1A45DFA3, element(0x4286, 1) + element(0x42F7, 1) + element(0x42F2, 4) +
                                   element(0x42F3, 8) + element(0x4282, std::string("matroska")) +
                                   element(0x4287, 4) + element(0x4285, 2));
}

// A track of uncompressed 16-bit pictures, the high byte first.
inline std::string raw_depth_track(int width, int height) {
    const auto little = [](std::uint32_t value) {
        std::string text = big_endian(value, 4);
        return std::string(text.rbegin(), text.rend());
    };
    const std::string size =
        little(static_cast<std::uint32_t>(width)) + little(static_cast<std::uint32_t>(height));
    const std::string bitmap =
        little(40) + size + std::string("\x01\0\x10\0", 4) + "b16g" + std::string(20, '\0');
    return element(
        0x1654AE6B,
        element(0xAE, element(0xD7, 1) + element(0x73C5, 1) + element(0x83, 1) +
                          element(0x86, std::string("V_MS/VFW/FOURCC")) +
                          element(0x536E, std::string("DEPTH")) + element(0x63A2, bitmap) +
                          element(0x23E383, 33'333'333) +
                          element(0xE0, element(0xB0, static_cast<std::uint64_t>(width)) +
                                            element(0xBA, static_cast<std::uint64_t>(height)))));
}

inline std::string attachment(const std::string& name, const std::string& text) {
    return element(0x1941A469,
                   element(0x61A7, element(0x466E, name) +
                                       element(0x4660, std::string("application/octet-stream")) +
                                       element(0x465C, text) + element(0x46AE, 7)));
}

inline std::string tag(const std::string& name, const std::string& value) {
    return element(0x1254C367, element(0x7373, element(0x63C0, std::string()) +
                                                   element(0x67C8, element(0x45A3, name) +
                                                                       element(0x4487, value))));
}

// One picture of the first track.
inline std::string cluster(std::uint64_t time_ms, const std::string& picture) {
    return element(0x1F43B675, element(0xE7, time_ms) +
                                   element(0xA3, std::string("\x81\0\0", 3) + '\x80' + picture));
}

inline std::string matroska_info() {
    return element(0x1549A966, element(0x2AD7B1, 1'000'000) + element(0x4D80, std::string("test")) +
                                   element(0x5741, std::string("test")));
}

inline std::string matroska(const std::string& content) {
    return ebml_head() + element(0x18538067, matroska_info() + content);
}

}  // namespace test
