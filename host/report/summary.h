// summary.json: everything that a run measured.
#pragma once

#include <string>

#include "host/report/run_result.h"

namespace host {

// Throws std::runtime_error when the file cannot be written.
void write_summary(const RunResult& result, const std::string& path);

}  // namespace host
