// The command that records.
#pragma once

#include <atomic>

#include "host/settings/record_options.h"

namespace host {

// Counts as a run does, and writes what was seen and counted. Returns the exit status. Throws
// InputError.
int record_command(const RecordOptions& options, const std::atomic<bool>& stop);

}  // namespace host
