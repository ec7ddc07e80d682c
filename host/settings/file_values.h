// Values that several of the user's files have. Each throws InputError that names file and line.
#pragma once

#include <string>

#include "host/base/toml_reader.h"

namespace host {

// Names that become topics of a broker and names of files: letters, digits, - and _.
std::string plain_name(const TomlValue& value, const std::string& what);

// Names of lines and regions are shown to people.
std::string shown_name(const TomlValue& value);

// The path of a file that is named in another one, which lies in `folder`.
std::string path_beside(const std::string& folder, const std::string& file);

// The path of a file; `key` is what messages call it.
std::string file_value(const TomlValue& value, const char* key, const std::string& folder);

// Where the pictures of a live camera come from, and in which form.
std::string address_value(const TomlValue& value, const char* key, const std::string& folder);
std::string depth_format_value(const TomlValue& value);

// Throws InputError that begins with `place` when a camera file cannot be read.
void check_camera_file(const std::string& path, const std::string& place);

}  // namespace host
