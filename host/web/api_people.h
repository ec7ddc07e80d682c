// The story of one person, and where people stay or walk.
#pragma once

#include <string>

#include "host/net/http_message.h"
#include "host/web/api_sources.h"

namespace host {

// Takes camera, track and at_us of the query. Throws ApiError.
HttpResponse person_answer(const ApiSources& sources, const HttpRequest& request);
// Takes from, to, what, from_hour and to_hour of the query. Throws ApiError and InputError.
HttpResponse heat_answer(const ApiSources& sources, const std::string& camera,
                         const HttpRequest& request);

}  // namespace host
