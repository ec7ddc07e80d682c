// The texts a person reads: the summary of a run and the list of scenes.
#pragma once

#include <cstddef>
#include <string>

#include "host/app/run_result.h"

namespace host {

std::string summary_text(const RunResult& result);
std::string scenes_text();

// One sentence on what the analysis did not give back; empty when nothing is left over.
std::string left_over_text(const RunResult& result);

// Text cut or filled with blanks to a number of UTF-8 characters.
std::string fitted(const std::string& text, std::size_t width);

}  // namespace host
