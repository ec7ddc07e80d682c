// The texts a person reads: the summary of a run and the list of scenes.
#pragma once

#include <string>

#include "host/app/run_result.h"

namespace host {

std::string summary_text(const RunResult& result);
std::string scenes_text();

}  // namespace host
