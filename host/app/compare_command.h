// The command that shows what two runs over a recording count differently.
#pragma once

#include <string>

#include "host/settings/audit_options.h"

namespace host {

// Throws InputError when a folder has no results, or they are of different recordings.
std::string compare_command(const CompareOptions& options);

}  // namespace host
