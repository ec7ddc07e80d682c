// Counts of a local day.
#pragma once

#include <cstdint>
#include <string>

#include "host/settings/store_options.h"

namespace host {

// What the command prints for a moment, in microseconds since 1970. Throws InputError.
std::string counts_text(const CountsOptions& options, std::int64_t now_us);

}  // namespace host
