// The texts a person reads: the summary of a run and the list of scenes.
#pragma once

#include <string>

#include "host/report/run_result.h"

namespace host {

std::string summary_text(const RunResult& result);
std::string scenes_text();

// One sentence on what the analysis did not give back; empty when nothing is left over.
std::string left_over_text(const RunResult& result);

}  // namespace host
