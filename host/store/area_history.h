// How many people were inside an area, span by span.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/store/history_reader.h"

namespace host {

struct AreaSpan {
    std::int64_t most = 0;
    std::int64_t at_end = 0;  // of what has passed of it
};

// Nothing for a span in which no camera of its doors watched, or which is still to come. What
// cameras know is by the minute: whoever came and went within one is not among the most.
std::vector<std::optional<AreaSpan>> area_history(const std::vector<HistoryReader>& stores,
                                                  const Area& area, const TimeZone& zone,
                                                  const std::vector<HistorySpan>& spans,
                                                  std::int64_t now_us);

}  // namespace host
