// Who may log in to the page of a place.
#pragma once

#include <string>

#include "host/settings/command_line.h"

namespace host {

// Gives a user a one-time password, also while the service runs; returns what is to be printed.
// Throws InputError and std::runtime_error.
std::string reset_user_command(const ResetUserOptions& options);

}  // namespace host
