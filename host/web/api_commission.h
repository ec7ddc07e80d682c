// The end of setting a camera up: somebody walked below it and was counted as often.
#pragma once

#include "host/web/api_sources.h"
#include "host/web/router.h"

namespace host {

void add_commission_route(Router& router, const ApiSources& sources);

}  // namespace host
