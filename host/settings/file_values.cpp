// Names, paths and addresses.
#include "host/settings/file_values.h"

#include <algorithm>
#include <filesystem>

#include "host/base/input_error.h"
#include "host/frames/depth_camera.h"
#include "host/frames/live_reader.h"
#include "host/settings/line_checks.h"

namespace host {

std::string plain_name(const TomlValue& value, const std::string& what) {
    std::string name = value.text();
    const bool fits = std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
    if (!fits || name.empty() || name.size() > 64) {
        throw InputError(value.place("the " + what + " \"" + name +
                                     "\" cannot be used; write 1 to 64 letters, digits, - and _"));
    }
    return name;
}

std::string shown_name(const TomlValue& value) {
    check_name(value.text(), value.place("the name"));
    return value.text();
}

std::string path_beside(const std::string& folder, const std::string& file) {
    const std::filesystem::path path(file);
    return path.is_absolute() ? file : (std::filesystem::path(folder) / path).string();
}

std::string file_value(const TomlValue& value, const char* key, const std::string& folder) {
    if (value.text().empty())
        throw InputError(value.place(key) + " is empty; write the name of a file");
    return path_beside(folder, value.text());
}

std::string address_value(const TomlValue& value, const char* key, const std::string& folder) {
    const std::string text = value.text();
    if (text == "-" || text.empty()) {
        throw InputError(value.place(key) + " is \"" + text +
                         "\"; write a named pipe, a device, or tcp://HOST:PORT");
    }
    return text.starts_with("tcp://") ? text : path_beside(folder, text);
}

std::string depth_format_value(const TomlValue& value) {
    try {
        parse_depth_format(value.text());
    } catch (const InputError&) {
        throw InputError(value.place("depth_format") + " is \"" + value.text() +
                         "\"; write raw:WIDTHxHEIGHT@FPS, such as raw:640x480@30");
    }
    return value.text();
}

void check_camera_file(const std::string& path, const std::string& place) {
    try {
        read_recording_camera(path);
    } catch (const InputError& error) {
        throw InputError(place + ": " + error.what());
    }
}

}  // namespace host
