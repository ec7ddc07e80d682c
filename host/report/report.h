// The texts a person reads: the summary of a run and the list of scenes.
#pragma once

#include <string>

#include "host/report/run_facts.h"
#include "host/score/scores.h"
#include "host/sinks/snapshot_sink.h"

namespace host {

std::string summary_text(const RunFacts& facts, const Scores& scores, const Evidence& evidence);
// The built-in scenes, one line each.
std::string scenes_text();

// The balance of a closed line, without the line break.
std::string balance_row(const Balance& balance);

// One sentence on what the analysis did not give back; empty when nothing is left over.
std::string left_over_text(const LeftOver& left);

}  // namespace host
