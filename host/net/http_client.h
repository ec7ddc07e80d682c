// One request to an HTTP server near by.
#pragma once

#include <chrono>
#include <string>

#include "host/net/http_message.h"

namespace host {

// Gets "http://HOST[:PORT]/PATH", or the same with https, from a server whose certificate is signed
// by whoever is in `ca_file` (PEM; empty: whom the system trusts). Throws InputError for another
// kind of address, and std::runtime_error when no answer comes within the time.
HttpResponse http_get(const std::string& url, std::chrono::milliseconds time,
                      const std::string& ca_file = "");

}  // namespace host
