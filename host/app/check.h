// The command that checks a file of the user's.
#pragma once

#include <string>

#include "host/settings/command_line.h"

namespace host {

// Reads an installation or site file as a run does, and gives what there is to say about it. The
// plan of a site, site_plan.png, goes into the folder of the options, or beside the file. Throws
// InputError for a file that is not sound.
std::string check_command(const CheckOptions& options);

}  // namespace host
