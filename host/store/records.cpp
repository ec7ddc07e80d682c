// Names and sums of records.
#include "host/store/records.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::array kLevelNames{"ok", "degraded", "failed"};

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
    static constexpr std::array kNames{
        "crossing", "crossing_left_out", "group", "stay", "settings", "capacity", "reset",
        "gap",      "clock_step",        "health"};
    return kNames.at(static_cast<std::size_t>(kind));
}

const char* health_level_name(HealthLevel level) {
    return kLevelNames.at(static_cast<std::size_t>(level));
}

HealthLevel health_level(const std::string& name) {
    for (const HealthLevel level : {HealthLevel::kOk, HealthLevel::kDegraded})
        if (name == health_level_name(level)) return level;
    return HealthLevel::kFailed;
}

std::size_t Batch::size() const {
    return events.size() + watched_minutes.size() + unsure_minutes.size() + regions.size() +
           people.size() + gaps.size() + health.size() + heat.size() + settings.size();
}

void Batch::append(Batch&& later) {
    move_to(events, later.events);
    move_to(watched_minutes, later.watched_minutes);
    move_to(unsure_minutes, later.unsure_minutes);
    move_to(regions, later.regions);
    move_to(people, later.people);
    move_to(gaps, later.gaps);
    move_to(health, later.health);
    move_to(heat, later.heat);
    move_to(settings, later.settings);
    if (!watched_from_us) watched_from_us = later.watched_from_us;
    if (later.watched_until_us) watched_until_us = later.watched_until_us;
}

void Batch::add_gap(const StoredGap& gap) {
    gaps.push_back(gap);
    events.push_back(gap_event(gap));
}

void Batch::add_health(const HealthNote& note) {
    health.push_back(note);
    StoredEvent event;
    event.kind = EventKind::kHealth;
    event.time_us = note.time_us;
    event.json = Json{
        {"message", event_kind_name(event.kind)},
        {"level", health_level_name(note.level)},
        {"fault", note.fault},
        {kWhyKey,
         note.text}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    events.push_back(std::move(event));
}

StoredEvent gap_event(const StoredGap& gap) {
    StoredEvent event;
    event.kind = EventKind::kGap;
    event.time_us = gap.to_us;
    event.json = Json{
        {"message", event_kind_name(event.kind)},
        {"from_us", gap.from_us},
        {"to_us", gap.to_us},
        {kWhyKey,
         gap.why}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    return event;
}

std::int64_t minute_of(std::int64_t time_us) {
    return whole(time_us, kMinute_us);
}

std::int64_t hour_of(std::int64_t time_us) {
    return whole(time_us, kHour_us);
}

}  // namespace host
