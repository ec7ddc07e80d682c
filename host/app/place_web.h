// What the service of a place answers over HTTP.
#pragma once

#include <memory>

#include "host/net/http_server.h"
#include "host/service/live_place.h"
#include "host/web/routes.h"

namespace host {

// What the databases and cameras of the place tell, by its file in force. The place must outlive
// it.
WebSources web_sources(const LivePlace& place);

// Null where the place's file has no [web]. Throws InputError when the address is not free.
std::unique_ptr<HttpServer> open_web(const LivePlace& place);

}  // namespace host
