// What the service of a place does beside its cameras: answers over HTTP, and removal of what is
// too old.
#pragma once

#include <memory>

#include "host/net/http_server.h"
#include "host/service/pruning.h"
#include "host/settings/service_file.h"
#include "host/web/routes.h"

namespace host {

// What the place's databases tell. The file must outlive it.
WebSources web_sources(const ServiceFile& file);

// Null where the file has no [web]. Throws InputError when the address is not free.
std::unique_ptr<HttpServer> open_web(const ServiceFile& file);

Pruning::Setup pruning_setup(const ServiceFile& file,
                             const std::function<void(const std::string&)>& tell);

}  // namespace host
