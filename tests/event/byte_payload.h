// Expected messages put together byte by byte at their offsets, so that a wrong layout of a record
// shows: nothing here uses the records of the library's headers.
#ifndef TESTS_EVENT_BYTE_PAYLOAD_H
#define TESTS_EVENT_BYTE_PAYLOAD_H

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/track/fixtures.h"

namespace fix {

// A zero-filled payload; numbers are little-endian.
class BytePayload {
  public:
    explicit BytePayload(size_t size) : bytes_(size) {}

    void u8(size_t at, uint8_t value) { bytes_.at(at) = value; }
    void u16(size_t at, uint16_t value) { put(at, value, 2); }
    void u32(size_t at, uint32_t value) { put(at, value, 4); }
    void i32(size_t at, int32_t value) { put(at, static_cast<uint32_t>(value), 4); }
    void u64(size_t at, uint64_t value) { put(at, value, 8); }

    void copy(size_t at, const uint8_t* from, size_t count) {
        for (size_t i = 0; i < count; ++i)
            u8(at + i, from[i]);
    }

    const std::vector<uint8_t>& bytes() const { return bytes_; }

  private:
    void put(size_t at, uint64_t value, size_t count) {
        for (size_t i = 0; i < count; ++i)
            u8(at + i, static_cast<uint8_t>(value >> (8 * i)));
    }

    std::vector<uint8_t> bytes_;
};

// What distinguishes a sent message from the expected one, empty when nothing does. The payloads
// are too large to be printed whole.
inline std::string difference(const Message& sent, int id, const BytePayload& want) {
    if (sent.channel != 1) return "channel " + std::to_string(sent.channel);
    if (sent.id != id) return "message " + std::to_string(sent.id);
    if (sent.bytes.size() != want.bytes().size())
        return "length " + std::to_string(sent.bytes.size());
    for (size_t i = 0; i < sent.bytes.size(); ++i) {
        if (sent.bytes[i] == want.bytes()[i]) continue;
        return "byte " + std::to_string(i) + ": " + std::to_string(sent.bytes[i]) + " instead of " +
               std::to_string(want.bytes()[i]);
    }
    return "";
}

constexpr uint64_t kStamp = 0x5566778811223344u;

// The frame stamp of the messages, 8 bytes at offset 4 of the control block.
inline void set_stamp(uint64_t stamp = kStamp) {
    std::memcpy(reinterpret_cast<uint8_t*>(vca_get_pCtrl_param()) + 4, &stamp, sizeof(stamp));
}

// The 64 bytes of a box record of class 1 in which no byte that nobody reads is zero.
inline std::array<uint8_t, 64> box_bytes(int32_t x, int32_t y, int32_t w, int32_t h,
                                         uint8_t seed = 0) {
    std::array<uint8_t, 64> bytes;
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(0x40u + i + seed);
    const int32_t rect[] = {x, y, w, h};
    std::memcpy(&bytes[12], rect, sizeof(rect));
    bytes[32] = 1;
    return bytes;
}

inline DET_OBJ_S box_of(const std::array<uint8_t, 64>& bytes) {
    return std::bit_cast<DET_OBJ_S>(bytes);
}

// Debug switches that the stages of regions and heat maps test.
constexpr int kSwTiming = 1;
constexpr int kSwRegion = 18;
constexpr int kSwHeatMap = 19;

inline void set_debug(int number, bool on) {
    vca_get_logs_dbg()[17 * number] = on ? 1 : 0;
}

}  // namespace fix

#endif
