// Visitors of a place, and how many people are inside.
#pragma once

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
};

struct Visitors {
    std::int64_t adults = 0;
    std::int64_t children = 0;
    std::int64_t together = 0;  // with each group as one

    std::int64_t all() const { return adults + children; }
};

// Those who came in through these doors, without staff.
Visitors visitors_of(const std::vector<LineCount>& counts, const std::vector<Door>& doors);

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

    std::int64_t inside() const { return in - out; }
};

// The moment of the last reset at or before another one.
std::int64_t last_reset_us(const Area& area, const TimeZone& zone, std::int64_t now_us);

AreaBalance area_balance(const std::vector<StoreReader>& stores, const Area& area,
                         const TimeZone& zone, std::int64_t now_us);

// Follows one area crossing by crossing, in the order of time.
class AreaMeter {
  public:
    AreaMeter(Area area, const TimeZone& zone) : area_(std::move(area)), zone_(zone) {}

    // So many are inside already.
    void begin(std::int64_t time_us, std::int64_t inside);

    enum class Change { kNone, kFull, kFree };
    // Tells when the area has just become full, and when it no longer is.
    Change add(std::int64_t time_us, const std::string& line, int direction);

    const Area& area() const { return area_; }
    std::int64_t inside() const { return inside_; }
    std::int64_t drift() const { return drift_; }  // that the last reset has removed

  private:
    bool full() const { return area_.capacity && inside_ >= *area_.capacity; }

    Area area_;
    const TimeZone& zone_;
    std::int64_t inside_ = 0;
    std::int64_t drift_ = 0;
    std::int64_t next_reset_us_ = INT64_MIN;
};

}  // namespace host
