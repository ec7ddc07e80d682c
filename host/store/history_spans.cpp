// Days by their hours, hours by their parts.
#include "host/store/history_spans.h"

#include <date/date.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/store/records.h"

namespace host {
namespace {

constexpr std::array<std::pair<const char*, SpanLength>, 5> kLengths{{
    {"minute", SpanLength::kMinute},
    {"quarter", SpanLength::kQuarter},
    {"hour", SpanLength::kHour},
    {"day", SpanLength::kDay},
    {"month", SpanLength::kMonth},
}};
constexpr std::size_t kClock = 5;  // characters of "07:00"

int minutes_of(SpanLength length) {
    if (length == SpanLength::kMinute) return 1;
    return length == SpanLength::kQuarter ? 15 : 60;
}

date::sys_days day_number(const Date& d) {
    return date::sys_days{date::year{d.year} / d.month / d.day};
}

void add(std::vector<HistorySpan>& spans, const TimeSpan& span, std::string label,
         const Date& date) {
    spans.push_back({span, std::move(label), date, {span}});
}

// The parts of one hour by the clock on the wall, which has the same offset all through it.
void add_parts(std::vector<HistorySpan>& day, const LocalHour& hour, const Date& date, int length) {
    int minute = std::stoi(hour.label.substr(3, 2));
    for (std::int64_t from_us = hour.span.from_us; from_us < hour.span.to_us;) {
        const int next = (minute / length + 1) * length;
        const std::int64_t to_us =
            std::min(from_us + (next - minute) * kMinute_us, hour.span.to_us);
        add(day, {from_us, to_us},
            hour.label.substr(0, 3) + format_text("%02d", minute) + hour.label.substr(kClock),
            date);
        minute = next;
        from_us = to_us;
    }
}

// Only what comes twice needs its offset.
void shorten_labels(std::vector<HistorySpan>& day) {
    std::map<std::string, int> times;
    for (const HistorySpan& span : day)
        ++times[span.label.substr(0, kClock)];
    for (HistorySpan& span : day)
        if (times[span.label.substr(0, kClock)] == 1) span.label.resize(kClock);
}

void add_day(std::vector<HistorySpan>& spans, const TimeZone& zone, const Date& date, int length) {
    std::vector<HistorySpan> day;
    for (const LocalHour& hour : zone.hours(date))
        add_parts(day, hour, date, length);
    shorten_labels(day);
    std::move(day.begin(), day.end(), std::back_inserter(spans));
}

void add_to_month(std::vector<HistorySpan>& spans, const TimeSpan& day, const Date& date) {
    std::string label = date_text(date).substr(0, 7);
    if (spans.empty() || spans.back().label != label)
        return add(spans, day, std::move(label), date);
    spans.back().span.to_us = spans.back().counted.back().to_us = day.to_us;
}

}  // namespace

SpanLength parse_span_length(const std::string& name, const std::string& place) {
    for (const auto& [known, length] : kLengths)
        if (name == known) return length;
    throw InputError(place + " is \"" + name + "\"; known are minute, quarter, hour, day, month");
}

std::int64_t days_between(const Date& first, const Date& last) {
    return (day_number(last) - day_number(first)).count() + 1;
}

std::int64_t expected_spans(SpanLength length, std::int64_t days) {
    constexpr std::int64_t kDayMinutes = 24 * 60;
    if (length == SpanLength::kDay) return days;
    if (length == SpanLength::kMonth) return (days + 30) / 31;
    return days * kDayMinutes / minutes_of(length);
}

std::vector<HistorySpan> history_spans(const TimeZone& zone, const Date& first, const Date& last,
                                       SpanLength length) {
    std::vector<HistorySpan> spans;
    for (Date date = first; date <= last; date = zone.next(date)) {
        if (length == SpanLength::kMonth) {
            add_to_month(spans, zone.day(date), date);
        } else if (length == SpanLength::kDay) {
            add(spans, zone.day(date), date_text(date), date);
        } else {
            add_day(spans, zone, date, minutes_of(length));
        }
    }
    return spans;
}

void keep_open(std::vector<HistorySpan>& spans, const std::vector<TimeSpan>& open) {
    auto next = open.begin();
    for (HistorySpan& span : spans) {
        span.counted.clear();
        while (next != open.end() && next->to_us <= span.span.from_us)
            ++next;
        for (auto at = next; at != open.end() && at->from_us < span.span.to_us; ++at) {
            span.counted.push_back(
                {std::max(at->from_us, span.span.from_us), std::min(at->to_us, span.span.to_us)});
        }
        if (span.counted.empty()) continue;
        span.span = {span.counted.front().from_us, span.counted.back().to_us};
    }
    std::erase_if(spans, [](const HistorySpan& span) { return span.counted.empty(); });
}

std::vector<ClockChange> clock_changes(const TimeZone& zone, const Date& first, const Date& last) {
    std::vector<ClockChange> changes;
    for (Date date = first; date <= last; date = zone.next(date)) {
        const TimeSpan day = zone.day(date);
        const std::int64_t length_us = day.to_us - day.from_us;
        if (length_us == 24 * kHour_us) continue;
        const std::vector<LocalHour> hours = zone.hours(date);
        const auto offset = [](const LocalHour& hour) { return hour.label.substr(kClock); };
        const auto changed = std::find_if(hours.begin(), hours.end(), [&](const LocalHour& hour) {
            return offset(hour) != offset(hours.front());
        });
        changes.push_back({changed == hours.end() ? day.from_us : changed->span.from_us, date,
                           static_cast<double>(length_us) / static_cast<double>(kHour_us)});
    }
    return changes;
}

}  // namespace host
