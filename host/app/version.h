// Version, commit, build type and capabilities of the program.
#pragma once

#include <string>

namespace host {

std::string version_text();
std::string version_commit();

}  // namespace host
