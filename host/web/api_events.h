// What happened, over all cameras, each event exactly once.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/net/http_message.h"
#include "host/store/store_reader.h"
#include "host/web/api_sources.h"
#include "host/web/place_reader.h"

namespace host {

// Events in their order, and the cursor behind them.
struct EventPage {
    std::vector<nlohmann::ordered_json> events;
    std::string next;   // the cursor behind them
    bool more = false;  // there are more than these
};

// Those after a cursor, the oldest first; without one the newest. Throws ApiError for a cursor that
// is wrong or too old.
EventPage events_after(const ApiSources& sources, const std::optional<std::string>& after,
                       std::size_t limit);

// Takes after and limit of the query. Throws ApiError.
HttpResponse events_answer(const ApiSources& sources, const HttpRequest& request);

// Whether others are told of such an event; gaps and faults are told elsewhere.
bool is_told(const ToldEvent& event);
nlohmann::ordered_json event_json(const PlaceReader& place, const ToldEvent& event);

}  // namespace host
