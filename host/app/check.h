// The command that checks a site file.
#pragma once

#include <string>

namespace host {

// Reads a site file and gives what there is to say about it; site_plan.png goes into the folder
// `output`, or beside the file when that is empty. Throws InputError for a file that is not sound.
std::string check_site_command(const std::string& file, const std::string& output);

}  // namespace host
