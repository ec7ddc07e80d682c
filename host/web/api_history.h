// Counts, regions, areas and visitors of any days.
#pragma once

#include "host/net/http_message.h"
#include "host/web/api_sources.h"

namespace host {

// Each takes from, to, by, open and format of the query. Throw ApiError and InputError.
HttpResponse counts_answer(const ApiSources& sources, const HttpRequest& request);
HttpResponse regions_answer(const ApiSources& sources, const HttpRequest& request);
HttpResponse areas_answer(const ApiSources& sources, const HttpRequest& request);
HttpResponse visitors_answer(const ApiSources& sources, const HttpRequest& request);

}  // namespace host
