// What the service of a place answers over HTTP.
#pragma once

#include <memory>

#include "host/net/http_server.h"
#include "host/settings/service_file.h"
#include "host/web/routes.h"

namespace host {

// What the place's databases tell. The file must outlive it.
WebSources web_sources(const ServiceFile& file);

// Null where the file has no [web]. Throws InputError when the address is not free.
std::unique_ptr<HttpServer> open_web(const ServiceFile& file);

}  // namespace host
