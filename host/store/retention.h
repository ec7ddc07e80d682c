// Removes what is older than it is to be kept.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/settings/retention_options.h"

namespace host {

struct Pruned {
    std::int64_t rows = 0;
    // Subscribers that had not confirmed an event that is gone, one sentence each.
    std::vector<std::string> lost;
};

// Removes what is older, a little at a time, so that whoever writes to the database never waits
// long, and ends early when `stop` turns true. What a subscriber has lost by it is also noted in
// the database's health. Throws StoreError.
Pruned prune(const std::string& database, const Retention& retention, std::int64_t now_us,
             const std::function<bool()>& stop = {});

}  // namespace host
