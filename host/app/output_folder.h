// The folder that a run leaves behind: complete, or not there at all.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace host {

class OutputFolder {
  public:
    // Makes the folder and finds out whether files can be written. Throws InputError.
    explicit OutputFolder(const std::string& path);
    // Without commit() removes what was written, and the folders that were made.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    // Path of a file to be written now, under a temporary name.
    std::string temporary(const std::string& name);
    // Gives all files their names.
    void commit();

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
    std::vector<std::filesystem::path> made_;  // folders, innermost first
    std::vector<std::string> names_;
    bool committed_ = false;
};

// Sends the process's standard output to a file, and keeps the former one for the host.
class StandardOutput {
  public:
    explicit StandardOutput(const std::string& log_path);
    ~StandardOutput();
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // The former standard output.
    std::FILE* host() const { return host_; }
    // Brings it back.
    void restore();

  private:
    std::FILE* host_ = nullptr;
    bool redirected_ = false;
};

}  // namespace host
