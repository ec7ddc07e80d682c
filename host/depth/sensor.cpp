#include "host/depth/sensor.h"

#include <algorithm>
#include <opencv2/core/hal/intrin.hpp>

namespace host {

const char* sensor_name(Sensor sensor) {
    return sensor == Sensor::kExact ? "exact" : "reads-low";
}

namespace {

// Of the depths that are not missing; 65536 without any. Missing ones, less one, are the farthest,
// so that there is nothing to ask for each pixel.
int nearest_of(const std::vector<std::uint16_t>& depth_mm) {
    std::uint16_t nearest = 65535;
    for (const std::uint16_t mm : depth_mm)
        nearest = std::min(nearest, static_cast<std::uint16_t>(mm - 1));
    return nearest + 1;
}

constexpr std::size_t kLanes = cv::v_uint16x8::nlanes;

// Moves what is nearer than `farthest_mm` away from the camera, and no nearer than `nearest_mm`.
struct Shift {
    int correction_mm, nearest_mm, farthest_mm;

    std::uint16_t one(std::uint16_t mm) const {
        if (mm == 0 || mm >= farthest_mm) return mm;
        return static_cast<std::uint16_t>(std::clamp(mm + correction_mm, nearest_mm, 65535));
    }

    // The same for eight depths at once; sums of the lanes stop at 0 and 65535.
    void eight(const std::uint16_t* from, std::uint16_t* to) const {
        const auto all = [](int mm) {
            return cv::v_setall_u16(static_cast<std::uint16_t>(std::clamp(mm, 0, 65535)));
        };
        const cv::v_uint16x8 mm = cv::v_load(from);
        const cv::v_uint16x8 moved =
            cv::v_max(mm + all(correction_mm) - all(-correction_mm), all(nearest_mm));
        const cv::v_uint16x8 moves = (mm > all(0)) & (mm < all(farthest_mm));
        cv::v_store(to, cv::v_select(moves, moved, mm));
    }
};

}  // namespace

void suit_library(const std::vector<std::uint16_t>& depth_mm, int floor_mm, int correction_mm,
                  std::vector<std::uint16_t>& suited_mm) {
    constexpr int kStanding_mm = 600;  // above the floor; a child's shoulders are higher
    constexpr int kTallest_mm = 2000;
    const int farthest_mm = std::clamp(floor_mm - kStanding_mm, 0, 65535);
    const int nearest_mm = std::clamp(floor_mm - kTallest_mm, 0, 65535);
    suited_mm.clear();
    if (correction_mm == 0 && nearest_of(depth_mm) >= nearest_mm) return;
    suited_mm.resize(depth_mm.size());
    const Shift shift{correction_mm, nearest_mm, farthest_mm};
    const std::size_t whole = depth_mm.size() / kLanes * kLanes;
    for (std::size_t i = 0; i < whole; i += kLanes)
        shift.eight(depth_mm.data() + i, suited_mm.data() + i);
    for (std::size_t i = whole; i < depth_mm.size(); ++i)
        suited_mm[i] = shift.one(depth_mm[i]);
}

}  // namespace host
