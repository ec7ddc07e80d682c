// Visitors of a place, and how many people are inside.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/store/store_reader.h"

namespace host {

// A line that leads in.
struct Door {
    std::string line;
    int in = 1;            // the direction of those who come in
    std::string device{};  // whose line it is; empty: of any that has one of this name

    bool is_line(const std::string& of_device, const std::string& name) const {
        return line == name && (device.empty() || device == of_device);
    }
};

// All lines in both directions in several spans together, which may be none.
std::vector<LineCount> counts_in(const StoreReader& store, const std::vector<TimeSpan>& spans);

struct Visitors {
    std::int64_t adults = 0;
    std::int64_t children = 0;
    std::int64_t together = 0;  // with each group as one

    std::int64_t all() const { return adults + children; }
};

// Those who came in through these doors, without staff, of what a device has counted.
Visitors visitors_of(const std::string& device, const std::vector<LineCount>& counts,
                     const std::vector<Door>& doors);

// What people enter and leave through doors.
struct Area {
    std::string name;
    std::vector<Door> doors;
    int reset_minutes = 0;        // local time of day at which nobody is inside
    std::optional<int> capacity;  // how many people may be, staff among them
};

struct AreaBalance {
    TimeSpan since;       // the last reset, to now
    std::int64_t in = 0;  // everybody, staff too
    std::int64_t out = 0;
    std::int64_t drift = 0;        // the balance that the last reset has removed
    std::int64_t corrections = 0;  // what people have noted since; not in the others
    std::int64_t removed = 0;      // since, because somebody has said that nobody is inside

    std::int64_t balance() const { return in - out - removed; }
    // Whoever was inside before the cameras began has left uncounted ones behind.
    std::int64_t inside() const { return std::max<std::int64_t>(0, balance()); }
};

// The moment of the last reset at or before another one.
std::int64_t last_reset_us(const Area& area, const TimeZone& zone, std::int64_t now_us);

// The databases are those of the cameras and of the place, which has what was removed.
AreaBalance area_balance(const std::vector<StoreReader>& stores, const Area& area,
                         const TimeZone& zone, std::int64_t now_us);

}  // namespace host
