// The command that runs one camera.
#pragma once

#include <atomic>

#include "host/settings/run_options.h"

namespace host {

// Runs it and writes the folder of its results. `keep_results` is called once everything is
// written; from then on nothing may end the program. Returns the program's exit status; throws
// InputError and std::runtime_error.
int run_command(const RunOptions& options, const std::atomic<bool>& stop, void (*keep_results)());

}  // namespace host
