// The floor of a step: the time it takes to copy the bytes that the step must read or write.
//
// A byte counts once, also when it is read and written. What the step only needs in between, or
// what is in the record but of no concern to it, does not count.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "vca/track.h"

namespace bench {

class Floor {
  public:
    Floor() : to_(kRoom), from_(kRoom, 1) {}

    void begin() { bytes_ = 0; }
    size_t bytes() const { return bytes_; }

    // Bytes at a place of the library's or the host's data.
    void copy(const void* from, size_t bytes) {
        std::memcpy(to_.data() + bytes_, from, bytes);
        bytes_ += bytes;
    }

    // Bytes of a message or list that the step fills.
    void fill(size_t bytes) { copy(from_.data(), bytes); }

    template <typename Element>
    void copy(const std::vector<Element>& list) {
        copy(list.data(), list.size() * sizeof(Element));
    }

    // A track's record without what its heat grids hold.
    void copy_record(const TRACKER_RSLT_S& trk) {
        const auto* start = reinterpret_cast<const uint8_t*>(&trk);
        const auto* dwell = reinterpret_cast<const uint8_t*>(&trk.heatDwell);
        const auto* after = reinterpret_cast<const uint8_t*>(&trk.heatMotion + 1);
        copy(start, static_cast<size_t>(dwell - start));
        copy(after, static_cast<size_t>(start + sizeof(trk) - after));
    }

    // The rectangle of a heat grid that is not zero.
    void copy_grid(const HEAT_GRID_S& grid) {
        if (grid.x1 <= grid.x0) return;
        for (int32_t y = grid.y0; y < grid.y1; ++y)
            copy(grid.cell[y] + grid.x0, static_cast<size_t>(grid.x1 - grid.x0) * sizeof(int32_t));
    }

  private:
    static constexpr size_t kRoom = 2 << 20;

    std::vector<uint8_t> to_;
    std::vector<uint8_t> from_;
    size_t bytes_ = 0;
};

}  // namespace bench
