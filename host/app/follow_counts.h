// Events as they become safe.
#pragma once

#include <atomic>

#include "host/settings/store_options.h"

namespace host {

// Prints each as a line of JSON until `stop` turns true. Throws InputError, and std::runtime_error
// when standard output takes no more.
void follow_counts(const CountsOptions& options, const std::atomic<bool>& stop);

}  // namespace host
