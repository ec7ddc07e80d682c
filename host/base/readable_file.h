// Reading a user's file.
#pragma once

#include <string>

namespace host {

// Why a file cannot be read, such as "Permission denied" or "it is a folder"; empty when it can.
// Anything but a regular file is not opened, because that might block forever.
std::string why_unreadable(const std::string& path);

// The whole file. `kind` is what it is called in messages, such as "site file", and `remedy` ends
// the sentence when there is none. Throws InputError.
std::string read_text_file(const std::string& path, const std::string& kind,
                           const std::string& remedy);

}  // namespace host
