// A file that others see whole or not at all.
#pragma once

#include <string>

namespace host {

// Writes a file in place of the one that is there, safe from a loss of power, with the folders to
// it. Throws std::runtime_error, and leaves what was there.
void write_whole_file(const std::string& path, const std::string& text);

}  // namespace host
