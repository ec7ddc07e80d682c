// Sums over the spans of a history from the database of one camera, in one pass over its minutes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/store/database.h"
#include "host/store/history_spans.h"
#include "host/store/records.h"
#include "host/store/store_reader.h"
#include "host/store/visitors.h"

namespace host {

// One line in one direction; an item for each span.
struct LineHistory {
    std::string line;
    int direction = 0;
    std::vector<PeopleCount> people;
    std::vector<std::int64_t> watched_minutes;
};

// One region; an item for each span. Nothing was watched in a span without frames.
struct RegionHistory {
    std::string region;
    std::vector<RegionMinute> sums;
};

// How many more people came in than went out during a minute.
struct MinuteFlow {
    std::int64_t minute = 0;
    std::int64_t people = 0;
};

enum class HeatKind { kDwell, kPassages };

// Cells are milliseconds or passages, row by row.
struct HeatSum {
    std::vector<std::int64_t> cells = std::vector<std::int64_t>(
        static_cast<std::size_t>(HeatGrid::kColumns) * HeatGrid::kRows, 0);
    double hours = 0.0;  // watched
};

class HistoryReader {
  public:
    // Throws InputError for what is not such a database; StoreError, as its calls do.
    explicit HistoryReader(const std::string& path);

    const std::string& device() const { return device_; }
    // Lines that were watched in one of the spans, in both directions.
    std::vector<LineHistory> lines(const std::vector<HistorySpan>& spans) const;
    // Regions that were watched in one of the spans.
    std::vector<RegionHistory> regions(const std::vector<HistorySpan>& spans) const;
    // Those minutes in which somebody came or went through one of these doors, in their order.
    // What was removed because somebody has said that nobody is inside, minute by minute.
    std::vector<MinuteFlow> removed(const std::string& area, const TimeSpan& span) const;
    std::vector<MinuteFlow> flow(const std::vector<Door>& doors, const TimeSpan& span) const;
    // Heat is kept by the hour; hours count whose middle lies in one of the times.
    HeatSum heat(HeatKind kind, const std::vector<TimeSpan>& times) const;
    // Somebody whose track ended, the newest when there are several; with a moment, who was there
    // then.
    std::optional<StoredPerson> person(int track, std::optional<std::int64_t> at_us) const;
    // The first minute that was watched; empty where none was.
    std::optional<std::int64_t> first_minute() const;

  private:
    std::vector<std::string> places() const;
    double watched_hours(const TimeSpan& time) const;

    std::unique_ptr<Database> database_;
    std::string device_;
};

}  // namespace host
