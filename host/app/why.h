// The command that explains why somebody was counted or not.
#pragma once

#include <string>

#include "host/settings/command_line.h"

namespace host {

// Throws InputError when the folder has no stories, or no line of that name.
std::string why_command(const WhyOptions& options);

}  // namespace host
