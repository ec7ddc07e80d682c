// The commands that work on databases.
#pragma once

#include <atomic>

#include "host/settings/command_line.h"

namespace host {

// Writes the result to standard output; returns the exit status. Throws InputError.
int store_command(const CommandLine& command, const std::atomic<bool>& stop);

}  // namespace host
