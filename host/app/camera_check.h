// The command that says what a camera sees before anybody relies on its counts.
#pragma once

#include <atomic>
#include <string>

#include "host/settings/command_line.h"

namespace host {

// Looks at some seconds of any source and returns what there is to say about it; a picture,
// camera.png, goes into the folder given in the options. Throws InputError.
std::string camera_check(const CameraCheckOptions& options, const std::atomic<bool>& stop);

}  // namespace host
