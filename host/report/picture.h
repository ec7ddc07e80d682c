// The pictures of a run: what the camera saw, the lines with their counts, how people walked, and
// the heat maps.
#pragma once

#include <string>

#include "host/draw/heat_picture.h"
#include "host/report/run_facts.h"
#include "host/score/scores.h"
#include "host/sinks/snapshot_sink.h"

namespace host {

// Writes a PNG. Throws std::runtime_error when that fails.
void write_picture(const RunFacts& facts, const Scores& scores, const Evidence& evidence,
                   const std::string& path);

// Writes a heat map of a run as PNG; without a map, the picture of an empty floor. Throws
// std::runtime_error when that fails.
void write_heat_picture(const Evidence& evidence, HeatKind kind, const std::string& path);

}  // namespace host
