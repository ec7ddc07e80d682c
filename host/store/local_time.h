// Local days and hours of a place. Inside, everything is in UTC; a local day has 23, 24 or 25
// hours, or something in between.
#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host {

struct Date {
    int year = 1970;
    int month = 1;
    int day = 1;
    // clang-tidy 14 takes the 0 that the compiler compares with for a pointer.
    auto operator<=>(const Date&) const = default;  // NOLINT(modernize-use-nullptr)
};

// "2026-03-29". Throws InputError that begins with `place`.
Date parse_date(const std::string& text, const std::string& place);
std::string date_text(const Date& date);
// 0 is Monday.
int day_of_week(const Date& date);

// "09:30" as minutes after midnight, up to 24:00. Throws InputError that begins with `place`.
int parse_time_of_day(const std::string& text, const std::string& place);

// From a moment to another one, which does not belong to it; microseconds since 1970.
struct TimeSpan {
    std::int64_t from_us = 0;
    std::int64_t to_us = 0;
    bool operator==(const TimeSpan&) const = default;
};

struct LocalHour {
    std::string label;  // "07:00"; with the offset from UTC on days that change it
    TimeSpan span;
};

class TimeZone {
  public:
    // A name such as Europe/Berlin; empty for the machine's own. Throws InputError.
    explicit TimeZone(const std::string& name);
    ~TimeZone();
    TimeZone(TimeZone&&) noexcept;

    std::string name() const;
    Date date_of(std::int64_t time_us) const;
    Date next(const Date& date) const;
    TimeSpan day(const Date& date) const;
    // The hours by the clock on the wall. Where the clock is changed one may be shorter, be
    // missing, or come twice.
    std::vector<LocalHour> hours(const Date& date) const;
    // When the clock on the wall shows this on that day: the first time when it does so twice, and
    // the moment of the change when it never does. 24:00 is the end of the day.
    std::int64_t at(const Date& date, int minutes) const;
    // "2026-03-29T03:00:00.000+02:00".
    std::string text(std::int64_t time_us) const;

  private:
    struct Zone;
    std::unique_ptr<Zone> zone_;
};

}  // namespace host
