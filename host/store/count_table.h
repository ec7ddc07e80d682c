// Counts by line and direction as rows of a table, for a day or for its hours.
#pragma once

#include <string>
#include <vector>

#include "host/store/local_time.h"
#include "host/store/result_table.h"
#include "host/store/store_reader.h"

namespace host {

// Names of columns that several tables have.
namespace count_column {
inline constexpr const char* kDevice = "device";
inline constexpr const char* kLine = "line";
inline constexpr const char* kDirection = "direction";
inline constexpr const char* kHour = "hour";
inline constexpr const char* kWatched = "watched_minutes";
inline constexpr const char* kNotWatched = "not_watched";
}  // namespace count_column

// What a row of a table covers.
struct CountedPart {
    std::string label;
    std::vector<TimeSpan> spans;  // in their order, without common moments
};

// The hours by the clock on the wall in which a place is open, of those opening hours that begin on
// a day; those of the next day are "+1 00:00".
std::vector<CountedPart> open_hours(const TimeZone& zone, const Date& date,
                                    const std::vector<TimeSpan>& open);

// Times in these spans in which nothing was watched.
std::vector<StoredGap> gaps_in(const StoreReader& store, const std::vector<TimeSpan>& spans);
// Which times within an hour, and why.
std::string not_watched_text(const std::vector<StoredGap>& gaps, const TimeZone& zone);

// A row for each part, line and direction; of hours also with the hour and what was not watched.
ResultTable line_table(const std::vector<StoreReader>& stores,
                       const std::vector<CountedPart>& parts, const TimeZone& zone, bool hours);

}  // namespace host
