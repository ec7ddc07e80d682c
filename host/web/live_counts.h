// What a page shows of today.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "host/web/api_sources.h"

namespace host {

// People in a region of a camera now.
struct RegionNow {
    std::string camera;
    std::string region;
    int people = 0;
    std::int64_t longest_stay_ms = 0;  // of those who are in it
};

// Visitors, lines, areas and hours of today, of what was committed, and the regions as they are
// given.
nlohmann::ordered_json live_counts_json(const ApiSources& sources,
                                        const std::vector<RegionNow>& regions);

}  // namespace host
