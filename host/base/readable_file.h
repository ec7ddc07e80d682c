// Whether a file of the user's can be read.
#pragma once

#include <string>

namespace host {

// Why a file cannot be read, such as "Permission denied" or "it is a folder"; empty when it can.
// What is no regular file is not opened, because that might wait for ever.
std::string why_unreadable(const std::string& path);

}  // namespace host
