// The place, its health, and its settings in words.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "host/net/http_message.h"
#include "host/web/api_sources.h"

namespace host {

// Take no field of a query. Throw ApiError.
HttpResponse place_answer(const ApiSources& sources, const HttpRequest& request);
HttpResponse health_answer(const ApiSources& sources, const HttpRequest& request);

// The health as it is told to pages: what is wrong, each with a sentence, a word for it that stays
// the same, and the values in the sentence.
nlohmann::ordered_json health_json(const ApiSources& sources);

}  // namespace host
