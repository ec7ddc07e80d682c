// A whole simulated site on this machine: a broker and a process for each camera.
#pragma once

#include <atomic>

#include "host/settings/site_options.h"

namespace host {

// Runs the site, then each camera again on its own over the same frames, and writes the site's
// folder. Returns the program's exit status; throws InputError and std::runtime_error.
int run_site(const SiteOptions& options, const std::atomic<bool>& stop);

}  // namespace host
