// What happened, over all cameras, each event exactly once.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "host/net/http_message.h"
#include "host/store/store_reader.h"
#include "host/web/api_sources.h"
#include "host/web/place_reader.h"

namespace host {

// Takes after and limit of the query. Throws ApiError.
HttpResponse events_answer(const ApiSources& sources, const HttpRequest& request);

// Whether others are told of such an event; gaps and faults are told elsewhere.
bool is_told(const ToldEvent& event);
nlohmann::ordered_json event_json(const PlaceReader& place, const ToldEvent& event);

}  // namespace host
