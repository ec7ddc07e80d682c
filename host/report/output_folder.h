// The folder that a run leaves behind: what grows with the run, and what is whole at its end.
#pragma once

#include <cstdio>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

namespace host {

// Keeps other runs out of a folder for its lifetime.
class FolderLock {
  public:
    FolderLock() = default;
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    // False when another one holds the folder.
    bool take(const std::string& folder);

  private:
    int file_ = -1;
};

class OutputFolder {
  public:
    // Makes the folder, keeps other runs out of it, and finds out whether files of these names can
    // be written. Throws InputError.
    OutputFolder(const std::string& path, std::vector<std::string> names);
    // Without commit() removes what is unfinished, and the folders that were made when nothing is
    // left in them.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    // Puts aside what an earlier run left under these names, so that the folder tells of one run.
    void begin();
    // Path of a file to be written now. One that grows during the run (see grows()) has its name
    // from the beginning, and stays; the others have a temporary one.
    std::string file(const std::string& name) const;
    // This file is not written after all; what has grown of one stays.
    void leave_out(const std::string& name);
    // There was no run: removes its files, those that stay too, and brings back what begin() put
    // aside.
    void discard();
    // Gives all files their names. Throws std::runtime_error when one was not written.
    void commit();

    const std::filesystem::path& path() const { return path_; }

  private:
    void remove_made_folders();
    void check_names() const;
    void remember_for_emergency();
    void forget_former();
    std::string temporary(const std::string& name) const;
    std::filesystem::path former(const std::string& name) const;

    std::filesystem::path path_;
    std::vector<std::filesystem::path> made_;  // folders, innermost first
    std::vector<std::string> names_;
    std::vector<std::string> former_;  // names of files that were put aside
    std::deque<std::string> emergency_paths_;
    FolderLock lock_;
    bool committed_ = false;
};

// Removes the temporary files of the folder in work, and the folders that were made for it. For a
// signal handler that ends the program: only calls what is safe there.
void remove_unfinished_output();

// Opens standard input, output and error on /dev/null where the caller closed them, so that no
// other file gets their numbers.
void open_missing_standard_files();

// Writes all of the text. Throws std::runtime_error when the stream does not take it.
void write_text(std::FILE* out, const std::string& text);

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
