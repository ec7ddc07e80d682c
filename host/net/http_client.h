// One request to an HTTP server near by.
#pragma once

#include <chrono>
#include <string>

#include "host/net/http_message.h"

namespace host {

// Gets "http://HOST[:PORT]/PATH". Throws InputError for another kind of address, and
// std::runtime_error when no answer comes within the time.
HttpResponse http_get(const std::string& url, std::chrono::milliseconds time);

}  // namespace host
