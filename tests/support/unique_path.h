// Paths for files of a test. Cases run as processes of their own, several at a time.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace test {

// In the folder for temporary files, with the process's number in its name.
inline std::filesystem::path unique_path(const std::string& stem, const std::string& ending = "") {
    return std::filesystem::temp_directory_path() /
           (stem + "-" + std::to_string(::getpid()) + ending);
}

}  // namespace test
