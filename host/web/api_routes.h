// The paths of the API that tell of the place and its cameras.
#pragma once

#include "host/web/api_sources.h"
#include "host/web/router.h"

namespace host {

void add_api_routes(Router& router, const ApiSources& sources);

}  // namespace host
