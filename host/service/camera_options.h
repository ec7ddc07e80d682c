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

}  // namespace host
