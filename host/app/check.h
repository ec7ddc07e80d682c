// The command that checks a user's file.
#pragma once

#include <string>

#include "host/settings/command_line.h"

namespace host {

// Reads an installation or site file as a run does and returns what there is to say about it. The
// plan of a site, site_plan.png, goes into the folder given in the options, or beside the file.
// Throws InputError for an invalid file.
std::string check_command(const CheckOptions& options);

}  // namespace host
