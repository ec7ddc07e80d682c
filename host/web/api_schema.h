// What can be set, for a page that shows it as a form.
#pragma once

#include "host/web/api_sources.h"
#include "host/web/router.h"

namespace host {

void add_schema_route(Router& router, const ApiSources& sources);

}  // namespace host
