// Steps from each version to the next. A step that has been released is never changed: databases
// that it has made exist.
#include "host/store/schema.h"

#include <array>
#include <string>

namespace host {
namespace {

// Times are microseconds since 1970 in UTC, minutes and hours are counted from 1970 on.
constexpr const char* kVersion1 = R"(
CREATE TABLE epochs (          -- each new or restored database begins one
    id INTEGER PRIMARY KEY,
    epoch TEXT NOT NULL UNIQUE,
    begun_us INTEGER NOT NULL,
    why TEXT NOT NULL
) STRICT;

CREATE TABLE store (           -- one row
    one INTEGER PRIMARY KEY CHECK (one = 1),
    device TEXT NOT NULL,
    epoch INTEGER NOT NULL REFERENCES epochs,
    sequence INTEGER NOT NULL, -- of the last event of the epoch
    batch INTEGER NOT NULL,    -- transactions so far
    written_us INTEGER NOT NULL,
    watched_until_us INTEGER,
    clean INTEGER NOT NULL,    -- 1 after an orderly end
    copied INTEGER NOT NULL    -- 1 in a backup: whoever writes to it begins a new epoch
) STRICT;

CREATE TABLE places (
    id INTEGER PRIMARY KEY,
    kind TEXT NOT NULL CHECK (kind IN ('line', 'region', 'area')),
    name TEXT NOT NULL,
    UNIQUE (kind, name)
) STRICT;

CREATE TABLE events (
    epoch INTEGER NOT NULL REFERENCES epochs,
    sequence INTEGER NOT NULL,
    time_us INTEGER NOT NULL,
    scene_us INTEGER NOT NULL,
    kind TEXT NOT NULL,
    place INTEGER REFERENCES places,
    direction INTEGER,
    track INTEGER,
    person TEXT,
    people INTEGER NOT NULL,
    json TEXT NOT NULL,
    PRIMARY KEY (epoch, sequence)
) STRICT, WITHOUT ROWID;
CREATE INDEX events_by_time ON events (time_us);

CREATE TABLE minutes (         -- a row for each line and direction of each minute that was watched
    minute INTEGER NOT NULL,
    place INTEGER NOT NULL REFERENCES places,
    direction INTEGER NOT NULL,
    adult INTEGER NOT NULL DEFAULT 0,
    child INTEGER NOT NULL DEFAULT 0,
    staff INTEGER NOT NULL DEFAULT 0,
    groups INTEGER NOT NULL DEFAULT 0,
    group_members INTEGER NOT NULL DEFAULT 0,
    provisional INTEGER NOT NULL DEFAULT 0, -- 1: the clock was not synchronised
    PRIMARY KEY (minute, place, direction)
) STRICT, WITHOUT ROWID;

CREATE TABLE region_minutes (
    minute INTEGER NOT NULL,
    place INTEGER NOT NULL REFERENCES places,
    frames INTEGER NOT NULL DEFAULT 0,
    people_frames INTEGER NOT NULL DEFAULT 0,
    most INTEGER NOT NULL DEFAULT 0,
    stays INTEGER NOT NULL DEFAULT 0,
    stay_ms INTEGER NOT NULL DEFAULT 0,
    provisional INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY (minute, place)
) STRICT, WITHOUT ROWID;

CREATE TABLE totals (          -- these only grow
    place INTEGER NOT NULL REFERENCES places,
    direction INTEGER NOT NULL,
    adult INTEGER NOT NULL DEFAULT 0,
    child INTEGER NOT NULL DEFAULT 0,
    staff INTEGER NOT NULL DEFAULT 0,
    groups INTEGER NOT NULL DEFAULT 0,
    group_members INTEGER NOT NULL DEFAULT 0,
    since_us INTEGER NOT NULL,
    PRIMARY KEY (place, direction)
) STRICT, WITHOUT ROWID;

CREATE TABLE people (
    id INTEGER PRIMARY KEY,
    from_us INTEGER NOT NULL,
    to_us INTEGER NOT NULL,
    track INTEGER NOT NULL,
    merged INTEGER NOT NULL,
    why TEXT NOT NULL,
    story TEXT NOT NULL
) STRICT;
CREATE INDEX people_by_time ON people (to_us);

CREATE TABLE gaps (
    id INTEGER PRIMARY KEY,
    from_us INTEGER NOT NULL,
    to_us INTEGER NOT NULL,
    why TEXT NOT NULL
) STRICT;
CREATE INDEX gaps_by_time ON gaps (to_us);

CREATE TABLE settings (
    id INTEGER PRIMARY KEY,
    applied_us INTEGER NOT NULL,
    author TEXT NOT NULL,
    text TEXT NOT NULL
) STRICT;

CREATE TABLE health (
    id INTEGER PRIMARY KEY,
    time_us INTEGER NOT NULL,
    level TEXT NOT NULL CHECK (level IN ('ok', 'degraded', 'failed')),
    fault TEXT NOT NULL,
    text TEXT NOT NULL
) STRICT;
CREATE INDEX health_by_time ON health (time_us);

CREATE TABLE corrections (     -- beside the counts, never in them
    id INTEGER PRIMARY KEY,
    time_us INTEGER NOT NULL,
    place INTEGER NOT NULL REFERENCES places,
    direction INTEGER,
    people INTEGER NOT NULL,   -- to be added; negative for too many
    who TEXT NOT NULL,
    why TEXT NOT NULL
) STRICT;
CREATE INDEX corrections_by_time ON corrections (time_us);

CREATE TABLE cursors (         -- what each subscriber has confirmed
    subscriber TEXT PRIMARY KEY,
    epoch INTEGER NOT NULL REFERENCES epochs,
    sequence INTEGER NOT NULL,
    saved_us INTEGER NOT NULL
) STRICT, WITHOUT ROWID;

CREATE TABLE heat (            -- 32-bit little-endian numbers, row by row
    hour INTEGER PRIMARY KEY,
    grid_columns INTEGER NOT NULL,
    grid_rows INTEGER NOT NULL,
    dwell_ms BLOB NOT NULL,
    passages BLOB NOT NULL
) STRICT;

-- For people who look into the database; local times are those of the machine that reads.
CREATE VIEW crossings AS
SELECT datetime(events.time_us / 1000000, 'unixepoch', 'localtime') AS local_time,
       places.name AS line, events.direction, events.person, events.track, events.sequence
FROM events JOIN places ON places.id = events.place
WHERE events.kind = 'crossing';

CREATE VIEW crossings_by_hour AS
SELECT strftime('%Y-%m-%d %H:00', minutes.minute * 60, 'unixepoch', 'localtime') AS local_hour,
       places.name AS line, minutes.direction,
       sum(minutes.adult) AS adult, sum(minutes.child) AS child, sum(minutes.staff) AS staff,
       sum(minutes.groups) AS groups, count(*) AS watched_minutes
FROM minutes JOIN places ON places.id = minutes.place
GROUP BY local_hour, line, minutes.direction;

CREATE VIEW crossings_by_day AS
SELECT substr(local_hour, 1, 10) AS local_day, line, direction,
       sum(adult) AS adult, sum(child) AS child, sum(staff) AS staff, sum(groups) AS groups,
       sum(watched_minutes) AS watched_minutes
FROM crossings_by_hour
GROUP BY local_day, line, direction;

CREATE VIEW regions_by_hour AS
SELECT strftime('%Y-%m-%d %H:00', region_minutes.minute * 60, 'unixepoch', 'localtime')
           AS local_hour,
       places.name AS region,
       round(sum(people_frames) * 1.0 / max(sum(frames), 1), 3) AS people, max(most) AS most,
       sum(stays) AS stays,
       CASE WHEN sum(stays) > 0 THEN round(sum(stay_ms) / 1000.0 / sum(stays), 1) END AS stay_s
FROM region_minutes JOIN places ON places.id = region_minutes.place
GROUP BY local_hour, region;
)";

// What somebody called a version of the settings.
constexpr const char* kVersion2 = R"(
ALTER TABLE settings ADD COLUMN name TEXT NOT NULL DEFAULT '';
)";

constexpr std::array<const char*, kSchemaVersion> kSteps{kVersion1, kVersion2};

}  // namespace

int schema_version(const Database& database) {
    return static_cast<int>(database.integer("PRAGMA user_version"));
}

void migrate(Database& database) {
    migrate(database, kSteps);
}

void check_schema(const Database& database) {
    if (database.integer("PRAGMA application_id") != kCountsApplication) {
        throw ForeignDatabase("is not a database of counts");
    }
    if (const int found = schema_version(database); found != kSchemaVersion) {
        throw ForeignDatabase("has version " + std::to_string(found) + "; this program reads " +
                              std::to_string(kSchemaVersion) +
                              ", which a camera brings older ones to");
    }
}

void migrate(Database& database, std::span<const char* const> steps, int application) {
    const auto newest = static_cast<int>(steps.size());
    const int found = schema_version(database);
    const bool empty = database.integer("SELECT count(*) FROM sqlite_schema") == 0;
    const std::int64_t other = database.integer("PRAGMA application_id");
    if (empty ? found != 0 : other != application) {
        throw ForeignDatabase("belongs to another program; name another file");
    }
    if (found > newest) {
        throw ForeignDatabase("has version " + std::to_string(found) + "; this program knows " +
                              std::to_string(newest) + ", so a newer one is needed");
    }
    if (found == newest) return;
    Transaction transaction(database);
    // Another program may have been faster.
    for (int version = schema_version(database); version < newest; ++version)
        database.execute(steps[static_cast<std::size_t>(version)]);
    database.execute("PRAGMA application_id = " + std::to_string(application) +
                     "; PRAGMA user_version = " + std::to_string(newest));
    transaction.commit();
}

}  // namespace host
