// vca status: how well a place is, and an exit status that says so.
#pragma once

#include "host/settings/store_options.h"

namespace host {

// 0 when all is well, 3 when something is degraded, 1 when something has failed. Throws InputError;
// a service that does not answer has failed.
int status_command(const StatusOptions& options);

}  // namespace host
