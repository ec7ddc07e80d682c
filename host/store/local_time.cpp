// Time zones of the system's own database.
#include "host/store/local_time.h"

#include <date/tz.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "host/base/input_error.h"
#include "host/base/text.h"

namespace host {
namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using Moment = date::sys_time<microseconds>;
using WallTime = date::local_time<microseconds>;

date::local_days local_day(const Date& d) {
    return date::local_days{date::year{d.year} / d.month / d.day};
}

Date date_of_local(date::local_days day) {
    const date::year_month_day ymd{day};
    return {static_cast<int>(ymd.year()), static_cast<int>(static_cast<unsigned>(ymd.month())),
            static_cast<int>(static_cast<unsigned>(ymd.day()))};
}

std::int64_t us_of(Moment moment) {
    return moment.time_since_epoch().count();
}

std::string offset_text(seconds offset) {
    const auto total = std::chrono::duration_cast<minutes>(offset).count();
    const auto size = total < 0 ? -total : total;
    return format_text("%c%02d:%02d", total < 0 ? '-' : '+', static_cast<int>(size / 60),
                       static_cast<int>(size % 60));
}

const date::time_zone* find_zone(const std::string& name) {
    try {
        return name.empty() ? date::current_zone() : date::locate_zone(name);
    } catch (const std::runtime_error&) {
        throw InputError(name.empty() ? "the machine's time zone is not known; give --time-zone"
                                      : "there is no time zone \"" + name +
                                            "\"; write one such as Europe/Berlin");
    }
}

// All digits, as many as that.
bool is_number(const std::string& text, std::size_t from, std::size_t count) {
    return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(from),
                       text.begin() + static_cast<std::ptrdiff_t>(from + count),
                       [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

Date parse_date(const std::string& text, const std::string& place) {
    if (text.size() == 10 && text[4] == '-' && text[7] == '-' && is_number(text, 0, 4) &&
        is_number(text, 5, 2) && is_number(text, 8, 2)) {
        const Date d{std::stoi(text), std::stoi(text.substr(5)), std::stoi(text.substr(8))};
        if ((date::year{d.year} / d.month / d.day).ok()) return d;
    }
    throw InputError(place + " is \"" + text + "\"; write a day such as 2026-03-29");
}

std::string date_text(const Date& d) {
    return format_text("%04d-%02d-%02d", d.year, d.month, d.day);
}

int day_of_week(const Date& d) {
    return static_cast<int>(date::weekday{local_day(d)}.iso_encoding()) - 1;
}

int parse_time_of_day(const std::string& text, const std::string& place) {
    if (text.size() == 5 && text[2] == ':' && is_number(text, 0, 2) && is_number(text, 3, 2)) {
        const int hour = std::stoi(text);
        const int minute = std::stoi(text.substr(3));
        const int total = hour * 60 + minute;
        if (minute < 60 && total <= 24 * 60) return total;
    }
    throw InputError(place + " is \"" + text + "\"; write a time such as 09:30");
}

struct TimeZone::Zone {
    const date::time_zone* zone;
};

TimeZone::TimeZone(const std::string& name) : zone_(new Zone{find_zone(name)}) {}
TimeZone::~TimeZone() = default;
TimeZone::TimeZone(TimeZone&&) noexcept = default;

std::string TimeZone::name() const {
    return zone_->zone->name();
}

Date TimeZone::date_of(std::int64_t time_us) const {
    const auto local = zone_->zone->to_local(Moment{microseconds{time_us}});
    return date_of_local(date::floor<date::days>(local));
}

Date TimeZone::next(const Date& date) const {
    return date_of_local(local_day(date) + date::days{1});
}

TimeSpan TimeZone::day(const Date& date) const {
    return {at(date, 0), at(next(date), 0)};
}

std::int64_t TimeZone::at(const Date& date, int minute) const {
    const WallTime wall = local_day(date) + minutes{minute};
    const date::local_info info = zone_->zone->get_info(wall);
    if (info.result == date::local_info::nonexistent)
        return us_of(date::floor<microseconds>(info.second.begin));
    return us_of(Moment{wall.time_since_epoch() - info.first.offset});
}

std::vector<LocalHour> TimeZone::hours(const Date& date) const {
    const TimeSpan span = day(date);
    std::vector<LocalHour> list;
    bool changes = false;
    for (Moment from{microseconds{span.from_us}}; us_of(from) < span.to_us;) {
        const date::sys_info info = zone_->zone->get_info(from);
        const WallTime wall{from.time_since_epoch() + info.offset};
        const WallTime end = date::floor<std::chrono::hours>(wall) + std::chrono::hours{1};
        Moment to{end.time_since_epoch() - info.offset};
        // Where the clock is changed the hour ends.
        to = std::min(to, date::floor<microseconds>(info.end));
        to = std::min(to, Moment{microseconds{span.to_us}});
        changes = changes || us_of(date::floor<microseconds>(info.end)) < span.to_us;
        const auto of_day =
            std::chrono::duration_cast<minutes>(wall - date::floor<date::days>(wall)).count();
        list.push_back({format_text("%02d:%02d", static_cast<int>(of_day / 60),
                                    static_cast<int>(of_day % 60)) +
                            offset_text(info.offset),
                        {us_of(from), us_of(to)}});
        from = to;
    }
    constexpr std::size_t kClock = 5;  // characters of "07:00"
    if (!changes)
        for (LocalHour& hour : list)
            hour.label.resize(kClock);
    return list;
}

std::string TimeZone::text(std::int64_t time_us) const {
    const Moment moment{microseconds{time_us}};
    const date::sys_info info = zone_->zone->get_info(moment);
    const WallTime wall{moment.time_since_epoch() + info.offset};
    return date::format("%FT%T", date::floor<std::chrono::milliseconds>(wall)) +
           offset_text(info.offset);
}

}  // namespace host
