// Tables of the service. A step that has been released is never changed.
#include "host/store/service_database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "host/store/schema.h"

namespace host {
namespace {

// Times are microseconds since 1970 in UTC. Of passwords and secrets there are only hashes.
constexpr const char* kVersion1 = R"(
CREATE TABLE service (         -- one row
    one INTEGER PRIMARY KEY CHECK (one = 1),
    failure_key BLOB NOT NULL  -- of the hashes in login_failures
) STRICT;
INSERT INTO service VALUES (1, randomblob(32));

CREATE TABLE users (
    name TEXT PRIMARY KEY,
    role TEXT NOT NULL CHECK (role IN ('viewer', 'operator', 'admin')),
    password TEXT NOT NULL,    -- argon2id, with its salt and its cost
    -- a password to be used once, of the first start or of a reset; null: one of the user's own
    one_time TEXT CHECK (one_time IN ('first', 'reset')),
    last_login_us INTEGER
) STRICT, WITHOUT ROWID;

CREATE TABLE sessions (
    id BLOB PRIMARY KEY,       -- hash of what the cookie holds
    user TEXT NOT NULL REFERENCES users ON DELETE CASCADE,
    begun_us INTEGER NOT NULL,
    seen_us INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX sessions_by_user ON sessions (user, seen_us);

CREATE TABLE tokens (
    id TEXT PRIMARY KEY,
    secret BLOB NOT NULL UNIQUE, -- hash
    name TEXT NOT NULL,
    role TEXT NOT NULL CHECK (role IN ('viewer', 'operator', 'admin')),
    made_by TEXT NOT NULL,
    made_us INTEGER NOT NULL,
    used_us INTEGER
) STRICT, WITHOUT ROWID;

CREATE TABLE login_failures (
    -- a few bits of a hash of a name or an address: people type passwords in place of names
    bucket INTEGER PRIMARY KEY,
    empty_us INTEGER NOT NULL  -- when all of them will be forgotten
) STRICT;
)";

// Cameras below which somebody has walked and was counted as often.
constexpr const char* kVersion2 = R"(
CREATE TABLE commissioned (
    camera TEXT PRIMARY KEY,
    time_us INTEGER NOT NULL,
    author TEXT NOT NULL,
    line TEXT NOT NULL,        -- over which
    walks INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
)";

// Receivers of counts, and how far they have them.
constexpr const char* kVersion3 = R"(
CREATE TABLE webhooks (
    name TEXT PRIMARY KEY,
    id TEXT NOT NULL,          -- random; part of the ids of its reports
    settings TEXT NOT NULL,    -- SHA-256 of those that the rest was found out with
    hours_us INTEGER,          -- reports of hours that ended by then have arrived
    days_us INTEGER,
    ended INTEGER NOT NULL,    -- 1: the receiver wants no more
    fault TEXT NOT NULL,       -- a sentence; empty for none
    since_us INTEGER NOT NULL, -- of the fault
    left_out INTEGER NOT NULL, -- messages that were refused for a day
    left_out_us INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
)";

constexpr std::array kSteps{kVersion1, kVersion2, kVersion3};
constexpr int kBusy_ms = 5000;

// SQLite gives its log the rights of the file. One that cannot be made is SQLite's to complain of.
void make_private(const std::string& path) {
    constexpr ::mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
    // One that is there is not opened: closing it again would give up SQLite's locks on it, and
    // another program would throw away the log that this one writes.
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
    if (file >= 0) ::close(file);
    ::chmod(path.c_str(), kOwnerOnly);
}

}  // namespace

std::unique_ptr<Database> open_service_database(const std::string& path) {
    make_private(path);
    auto database = std::make_unique<Database>(path, Database::Access::kCreate, kBusy_ms);
    database->execute(
        "PRAGMA foreign_keys = ON; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
    migrate(*database, kSteps, kServiceApplication);
    return database;
}

}  // namespace host
