// What is written into a database, in the order in which it happened.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/store/database.h"

namespace host {

inline constexpr std::int64_t kMinute_us = 60'000'000;
inline constexpr std::int64_t kHour_us = 60 * kMinute_us;

// Who was counted.
enum class PersonKind { kAdult, kChild, kStaff };
inline constexpr std::size_t kPersonKinds = 3;

// In an event's JSON: its sentence, where it has one.
inline constexpr const char* kWhyKey = "why";

enum class EventKind {
    kCrossing,         // one person
    kCrossingLeftOut,  // one that is left out
    kGroup,            // people who crossed together, each of them also a crossing
    kStay,             // somebody left a region
    kSettings,         // others than before are in force
    kCapacity,         // an area is full, or no longer
    kReset,            // somebody has said that nobody is in an area; people: the balance removed
    kGap,              // nothing was watched for a while, which is over
    kClockStep,        // somebody has set the clock
    kHealth,           // a fault of the camera began or ended
};

const char* person_kind_name(PersonKind kind);
const char* event_kind_name(EventKind kind);

struct StoredEvent {
    EventKind kind = EventKind::kCrossing;
    std::int64_t time_us = 0;   // UTC, since 1970
    std::int64_t scene_us = 0;  // scene time
    std::string place;          // line or region; empty for none
    int direction = 0;          // 1 or 2; 0 for none
    std::optional<int> track;
    std::optional<PersonKind> person;
    int people = 1;
    std::string json;  // the event as it was sent
};

// One region during one minute. Parts of a minute add up.
struct RegionMinute {
    std::int64_t minute = 0;
    std::string region;
    std::int64_t frames = 0;
    std::int64_t people_frames = 0;  // sum over the frames of the people in it
    std::int64_t most = 0;           // people at the same time
    std::int64_t stays = 0;          // that ended
    std::int64_t stay_ms = 0;        // their sum
};

// Why somebody was counted, or not.
struct StoredPerson {
    std::int64_t from_us = 0;
    std::int64_t to_us = 0;
    int track = 0;
    bool merged = false;  // of the cameras of a site
    std::string why;      // a sentence
    std::string story;    // JSON
};

// A time in which nothing was watched.
struct StoredGap {
    std::int64_t from_us = 0;
    std::int64_t to_us = 0;
    std::string why;
};

enum class HealthLevel { kOk, kDegraded, kFailed };
const char* health_level_name(HealthLevel level);
// Failed for a name that is not known.
HealthLevel health_level(const std::string& name);

struct HealthNote {
    std::int64_t time_us = 0;
    HealthLevel level = HealthLevel::kOk;  // ok: it is over
    std::string fault;                     // a word that stays the same while the fault lasts
    std::string text;                      // a sentence
};

// Other lines, regions or settings than before, from here on.
struct StoredSettings {
    std::vector<std::string> lines;  // as in the database's setup
    std::vector<std::string> regions;
    std::string text;  // as text; empty: those of before
    std::string author;
    std::int64_t applied_us = 0;
    std::string name{};  // what the author calls them; empty for nothing
};

// Times and passages on a grid over the picture, of one hour. Parts add up.
struct HeatGrid {
    static constexpr int kColumns = 48;
    static constexpr int kRows = 27;
    using Cells = std::vector<std::int32_t>;  // row by row
    std::int64_t hour = 0;                    // since 1970
    Cells dwell_ms;
    Cells passages;
};

// What one transaction writes.
struct Batch {
    std::vector<StoredEvent> events;
    std::vector<std::int64_t> watched_minutes;  // at least in part
    std::vector<std::int64_t> unsure_minutes;   // during which the clock was not synchronised
    std::vector<RegionMinute> regions;
    std::vector<StoredPerson> people;
    std::vector<StoredGap> gaps;
    std::vector<HealthNote> health;
    std::vector<HeatGrid> heat;
    std::vector<StoredSettings> settings;
    // The first frame since the beginning: what lies between the last one before and it was not
    // watched.
    std::optional<std::int64_t> watched_from_us;
    std::optional<std::int64_t> watched_until_us;

    // How many records it has, which bounds what waits in memory.
    std::size_t size() const;
    bool empty() const { return size() == 0 && !watched_from_us && !watched_until_us; }
    // Appends a later one.
    void append(Batch&& later);
    // A gap or a note with the event that tells of it.
    void add_gap(const StoredGap& gap);
    void add_health(const HealthNote& note);
};

// The event that tells of a gap.
StoredEvent gap_event(const StoredGap& gap);

// The last event that is safe. Events are numbered from 1 on in each epoch.
struct Committed {
    std::string epoch;  // 16 hexadecimal digits
    std::int64_t sequence = 0;
    bool operator==(const Committed&) const = default;
};

// The minute or the hour of a time, also before 1970.
std::int64_t minute_of(std::int64_t time_us);
std::int64_t hour_of(std::int64_t time_us);

}  // namespace host
