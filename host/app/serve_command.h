// The service of a place.
#pragma once

#include <atomic>
#include <string>

#include "host/settings/command_line.h"

namespace host {

// Runs the cameras of a place until `stop` turns true. Returns the program's exit status; throws
// InputError and std::runtime_error.
int serve_command(const ServeOptions& options, const std::atomic<bool>& stop);

// The file of a place in words. Throws InputError.
std::string check_service_file(const std::string& path);

}  // namespace host
