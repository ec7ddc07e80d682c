// The command that shows what other settings would have counted.
#pragma once

#include <atomic>

#include "host/settings/audit_options.h"

namespace host {

// Counts the recording with its own settings, which must give what was recorded, and with the
// others, and compares the two. Returns the exit status. Throws InputError and std::runtime_error.
int what_if_command(const WhatIfOptions& options, const std::atomic<bool>& stop);

}  // namespace host
