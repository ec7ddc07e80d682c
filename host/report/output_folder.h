// The folder that a run leaves behind: files that grow with the run, and files that are complete at
// its end.
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

    // False when another run holds the folder.
    bool take(const std::string& folder);

  private:
    int file_ = -1;
};

class OutputFolder {
  public:
    // Creates the folder, keeps other runs out of it, and checks that files of these names can be
    // written. Throws InputError.
    OutputFolder(const std::string& path, std::vector<std::string> names);
    // Without commit(), removes unfinished files, and the folders it created if nothing is left in
    // them.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    // Sets aside what an earlier run left under these names, so that the folder describes one run
    // only.
    void begin();
    // Path of a file to be written now. One that grows during the run (see grows()) has its final
    // name from the beginning and stays; the others have a temporary one.
    std::string file(const std::string& name) const;
    // This file is not written after all; a growing one keeps what it has.
    void leave_out(const std::string& name);
    // There was no run: removes its files, even those that would stay, and restores what begin()
    // set aside.
    void discard();
    // Gives all files their final names. Throws std::runtime_error when one was not written.
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
    std::vector<std::string> former_;  // names of files that were set aside
    std::deque<std::string> emergency_paths_;
    FolderLock lock_;
    bool committed_ = false;
};

// Removes the temporary files of the folder being written, and the folders created for it. For a
// signal handler that ends the program: calls only what is safe there.
void remove_unfinished_output();

// Opens standard input, output and error on /dev/null where the caller closed them, so that no
// other file gets their descriptors.
void open_missing_standard_files();

// Writes all of the text. Throws std::runtime_error when the stream does not take it.
void write_text(std::FILE* out, const std::string& text);

// Sends the process's standard output to a file, and keeps the original one for the host.
class StandardOutput {
  public:
    explicit StandardOutput(const std::string& log_path);
    ~StandardOutput();
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // The original standard output.
    std::FILE* host() const { return host_; }
    // Restores it.
    void restore();

  private:
    std::FILE* host_ = nullptr;
    bool redirected_ = false;
};

}  // namespace host
