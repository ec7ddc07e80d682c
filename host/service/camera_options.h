// What the camera of a place is run with.
#pragma once

#include "host/settings/run_options.h"
#include "host/settings/service_file.h"

namespace host {

// Its source, and what its file of settings says; without one, what a recording or stream carries.
// Throws InputError.
RunOptions camera_options(const ServiceCamera& camera);

// The same with the settings of a text; `name` is what messages call it.
RunOptions camera_options(const ServiceCamera& camera, const std::string& text,
                          const std::string& name);

// A simulated camera that was given another height would end each time it started. Throws
// InputError.
void check_height_goes_with(const RunOptions& options, const ServiceCamera& camera);

}  // namespace host
