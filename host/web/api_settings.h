// Settings of a camera: those in force, their versions, what is wrong or doubtful in new ones, and
// saving them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "host/web/api_sources.h"
#include "host/web/router.h"

namespace host {

void add_settings_routes(Router& router, const ApiSources& sources);

// Which version of a camera is in force now, and whose it is; for the stream of live data.
nlohmann::ordered_json settings_news(const ApiSources& sources, const std::string& camera);

}  // namespace host
