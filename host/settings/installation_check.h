// What can be said about the settings of an installation before there is a source.
#pragma once

#include <string>
#include <vector>

#include "host/settings/run_options.h"

namespace host {

// Throws InputError for what is wrong whatever the source.
void check_installation(const RunOptions& options);

// What only works with some of the sources, one sentence each.
std::vector<std::string> installation_warnings(const RunOptions& options);

// The settings in words, with their warnings; check_installation() has passed them.
std::string describe_installation(const RunOptions& options);

}  // namespace host
