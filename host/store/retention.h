// How long each kind of record is kept.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

// In days; empty: for ever. Totals and corrections are always kept.
struct Retention {
    std::optional<int> events = 400;
    std::optional<int> minutes;  // of lines and regions
    std::optional<int> people = 30;
    std::optional<int> heat = 400;
    std::optional<int> gaps = 400;
    std::optional<int> health = 400;
    std::optional<int> settings;  // the version in force is always kept
};

struct Pruned {
    std::int64_t rows = 0;
    // Subscribers that had not confirmed an event that is gone, one sentence each.
    std::vector<std::string> lost;
};

// Removes what is older, a little at a time, so that whoever writes to the database never waits
// long. What a subscriber has lost by it is also noted in the database's health. Throws StoreError.
Pruned prune(const std::string& database, const Retention& retention, std::int64_t now_us);

}  // namespace host
