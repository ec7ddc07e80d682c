// One camera of a place: a process of its own, which the service starts and watches.
#pragma once

#include <atomic>

namespace host {

// Counts until `stop` turns true, the service is gone or a recording has ended. Returns the
// program's exit status; throws InputError and std::runtime_error.
int camera_process(const std::atomic<bool>& stop);

}  // namespace host
