// What becomes of a damaged database: it is moved aside, and its totals go on in a new one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace host {

// Endings of files beside a database "NAME.db": a backup is "NAME.db-TIME.backup".
inline constexpr const char* kBackupEnding = ".backup";
inline constexpr const char* kDamagedEnding = ".damaged";

// The name of a file beside a database for a time, microseconds since 1970.
std::string beside(const std::string& database, std::int64_t time_us, const char* ending);

// Renames a database with its log and returns its new name. Throws std::runtime_error.
std::string set_aside(const std::string& database, std::int64_t now_us, const char* ending);

struct CarriedTotal {
    std::string place_kind;
    std::string place;
    int direction = 0;
    std::int64_t adult = 0;
    std::int64_t child = 0;
    std::int64_t staff = 0;
    std::int64_t groups = 0;
    std::int64_t group_members = 0;
    std::int64_t since_us = 0;
};

struct CarriedTotals {
    std::string from;  // the file
    std::string device;
    std::int64_t written_us = 0;
    std::vector<CarriedTotal> rows;
};

// The totals of one database; empty where they cannot be read.
std::optional<CarriedTotals> read_totals(const std::string& database);

// The totals of whichever copy beside a database was written last: one that was moved aside, if
// they can still be read, or a backup. Empty where there is none.
std::optional<CarriedTotals> newest_totals(const std::string& database);

}  // namespace host
