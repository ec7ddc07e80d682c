// Debug switch files for tests.
#ifndef TESTS_SUPPORT_FLAG_FILE_H
#define TESTS_SUPPORT_FLAG_FILE_H

#include <cstdio>
#include <string>
#include <utility>

namespace test {

// An existing flag file while it lives. Programs that use it take vca_lock_flag_files() in their
// CMakeLists.txt, because the paths are shared by all processes.
class FlagFile {
  public:
    explicit FlagFile(std::string path) : path_(std::move(path)) {
        if (std::FILE* file = std::fopen(path_.c_str(), "w")) std::fclose(file);
    }
    ~FlagFile() { std::remove(path_.c_str()); }
    FlagFile(const FlagFile&) = delete;
    FlagFile& operator=(const FlagFile&) = delete;

  private:
    std::string path_;
};

}  // namespace test

#endif
