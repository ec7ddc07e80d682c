// Names and sums of records.
#include "host/store/records.h"

#include <algorithm>
#include <iterator>

namespace host {
namespace {

template <typename Record>
void move_to(std::vector<Record>& to, std::vector<Record>& from) {
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
}

std::int64_t whole(std::int64_t time_us, std::int64_t unit_us) {
    return time_us / unit_us - (time_us % unit_us < 0 ? 1 : 0);
}

}  // namespace

const char* person_kind_name(PersonKind kind) {
    static constexpr std::array<const char*, kPersonKinds> kNames{"adult", "child", "staff"};
    return kNames.at(static_cast<std::size_t>(kind));
}

const char* event_kind_name(EventKind kind) {
    static constexpr std::array kNames{"crossing", "crossing_left_out", "group",
                                       "stay",     "settings",          "capacity"};
    return kNames.at(static_cast<std::size_t>(kind));
}

const char* health_level_name(HealthLevel level) {
    static constexpr std::array kNames{"ok", "degraded", "failed"};
    return kNames.at(static_cast<std::size_t>(level));
}

std::size_t Batch::size() const {
    return events.size() + watched_minutes.size() + regions.size() + people.size() + gaps.size() +
           health.size() + heat.size() + settings.size();
}

void Batch::append(Batch&& later) {
    move_to(events, later.events);
    move_to(watched_minutes, later.watched_minutes);
    move_to(regions, later.regions);
    move_to(people, later.people);
    move_to(gaps, later.gaps);
    move_to(health, later.health);
    move_to(heat, later.heat);
    move_to(settings, later.settings);
    if (!watched_from_us) watched_from_us = later.watched_from_us;
    if (later.watched_until_us) watched_until_us = later.watched_until_us;
}

std::int64_t minute_of(std::int64_t time_us) {
    return whole(time_us, kMinute_us);
}

std::int64_t hour_of(std::int64_t time_us) {
    return whole(time_us, kHour_us);
}

}  // namespace host
