// Settings of a camera: those in force, their versions, and what is wrong or doubtful in new ones.
#pragma once

#include "host/web/api_sources.h"
#include "host/web/router.h"

namespace host {

void add_settings_routes(Router& router, const ApiSources& sources);

}  // namespace host
