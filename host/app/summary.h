// The files with a run's results.
#pragma once

#include <string>

#include "host/app/run_result.h"

namespace host {

// Throws std::runtime_error when a file cannot be written.
void write_events(const RunResult& result, const std::string& path);
void write_summary(const RunResult& result, const std::string& path);

}  // namespace host
