// What is known about the settings of the cameras of a place.
#pragma once

#include <string>

#include "host/settings/command_line.h"

namespace host {

// Does what was asked for and returns what is to be printed. Throws InputError and
// std::runtime_error.
std::string settings_command(const SettingsOptions& options);

}  // namespace host
