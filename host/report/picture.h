// The pictures of a run: what the camera saw, the lines with their counts, how people walked, and
// the heat maps.
#pragma once

#include <string>

#include "host/report/run_facts.h"
#include "host/score/scores.h"
#include "host/sinks/snapshot_sink.h"

namespace host {

// Writes a PNG. Throws std::runtime_error when that fails.
void write_picture(const RunFacts& facts, const Scores& scores, const Evidence& evidence,
                   const std::string& path);

// Writes both heat maps of a run as PNG; without maps, pictures of an empty floor. Throws
// std::runtime_error when that fails.
void write_heat_pictures(const Evidence& evidence, const std::string& dwell_path,
                         const std::string& motion_path);

}  // namespace host
