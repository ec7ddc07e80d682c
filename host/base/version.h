// Version, commit and build type of the program.
#pragma once

#include <string>

namespace host {

std::string version_number();
std::string version_commit();
std::string version_build_type();

}  // namespace host
