// Whether a user's file can be read.
#pragma once

#include <string>

namespace host {

// Why a file cannot be read, such as "Permission denied" or "it is a folder"; empty when it can.
// Anything but a regular file is not opened, because that might block forever.
std::string why_unreadable(const std::string& path);

}  // namespace host
