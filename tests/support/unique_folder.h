// A folder of a test, gone with what is in it at the end.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "tests/support/unique_path.h"

namespace test {

class UniqueFolder {
  public:
    // Throws std::filesystem::filesystem_error when it cannot be made.
    explicit UniqueFolder(const std::string& stem) : path_(unique_path(stem)) {
        std::filesystem::remove_all(path_);  // of a process of this number that was killed
        std::filesystem::create_directory(path_);
    }
    ~UniqueFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    UniqueFolder(const UniqueFolder&) = delete;
    UniqueFolder& operator=(const UniqueFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    const std::filesystem::path path_;
};

}  // namespace test
