// summary.json: everything that a run measured.
#pragma once

#include <string>

#include "host/report/run_facts.h"
#include "host/score/scores.h"
#include "host/sinks/snapshot_sink.h"

namespace host {

// Throws std::runtime_error when the file cannot be written.
void write_summary(const RunFacts& facts, const Scores& scores, const Evidence& evidence,
                   const std::string& path);

}  // namespace host
