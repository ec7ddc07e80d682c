// The picture of a run: what the camera saw, the lines with their counts, and how people walked.
#pragma once

#include <string>

#include "host/report/run_result.h"

namespace host {

// Writes a PNG. Throws std::runtime_error when that fails.
void write_picture(const RunResult& result, const std::string& path);

}  // namespace host
