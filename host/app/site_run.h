// A whole simulated site on this machine: a broker and a process for each camera.
#pragma once

#include <functional>

#include "host/app/site_options.h"

namespace host {

// Runs the site, then every camera once more alone over the same frames, and writes the folder of
// the site. Gives the program's exit status; throws InputError and std::runtime_error.
int run_site(const SiteOptions& options, const std::function<bool()>& stop);

// The command `vca site check`: the text to be shown; site_plan.png goes into the folder `output`,
// or beside the file when that is empty. Throws InputError.
std::string check_site_command(const std::string& file, const std::string& output);

}  // namespace host
