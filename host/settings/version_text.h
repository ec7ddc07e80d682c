// The text of vca --version.
#pragma once

#include <string>

namespace host {

// Version, commit, build type and capabilities.
std::string version_text();

}  // namespace host
