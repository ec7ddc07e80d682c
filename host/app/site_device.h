// One camera of a site: a process of its own, linked with the others or counting alone.
#pragma once

#include <atomic>

#include "host/settings/site_options.h"

namespace host {

// Runs the device and writes its folder. Returns the program's exit status; throws InputError and
// std::runtime_error like a run.
int run_site_device(const SiteOptions& options, const std::atomic<bool>& stop);

}  // namespace host
