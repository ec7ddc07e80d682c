// The command that compares the counts of a recording with what a person saw.
#pragma once

#include <atomic>

#include "host/settings/audit_options.h"

namespace host {

// Counts the recording with its own settings and writes audit.json and audit.html, or compares two
// tables of labels. Returns the exit status. Throws InputError.
int audit_command(const AuditOptions& options, const std::atomic<bool>& stop);

}  // namespace host
