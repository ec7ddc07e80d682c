// The spans of a history: from minutes to months of local days.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/store/local_time.h"

namespace host {

enum class SpanLength { kMinute, kQuarter, kHour, kDay, kMonth };

// "minute", "quarter", "hour", "day" or "month". Throws InputError that begins with `place`.
SpanLength parse_span_length(const std::string& name, const std::string& place);

// How many spans some days have at least; days are counted as 24 hours long.
std::int64_t expected_spans(SpanLength length, std::int64_t days);
// Both belong to them; 0 or less when the last one lies before the first.
std::int64_t days_between(const Date& first, const Date& last);

struct HistorySpan {
    TimeSpan span;
    std::string label;  // 14:00, 02:00+02:00 where an hour comes twice, 2026-03-29, 2026-03
    Date date;          // on which it begins
    std::vector<TimeSpan> counted;  // what of it counts, in order: all, or opening hours
};

// All spans of these days; each counts as a whole. Hours and their parts follow the clock on the
// wall, and end where it is changed.
std::vector<HistorySpan> history_spans(const TimeZone& zone, const Date& first, const Date& last,
                                       SpanLength length);

// Leaves what lies within one of these times, which are in order and do not overlap. Spans shrink
// to what is left of them, those of which nothing is left go.
void keep_open(std::vector<HistorySpan>& spans, const std::vector<TimeSpan>& open);

// A day on which the clock is changed.
struct ClockChange {
    std::int64_t time_us = 0;
    Date date;
    double hours = 0.0;  // of that day
};
std::vector<ClockChange> clock_changes(const TimeZone& zone, const Date& first, const Date& last);

}  // namespace host
