// A disk under SQLite that can be full or write-protected, fails when it is told to, and remembers
// everything that was written to it, so that a loss of power can be tried at any moment.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace test {

struct DiskOperation {
    enum class Kind { kWrite, kSync, kTruncate, kRemove, kMark };
    Kind kind = Kind::kWrite;
    std::string path;
    std::int64_t offset = 0;  // of a write; the new size for a truncation
    std::vector<unsigned char> bytes;
    std::int64_t mark = 0;  // what somebody had been told by then
};

// The default disk of SQLite for as long as it exists; there is one at a time.
class FaultDisk {
  public:
    FaultDisk();
    ~FaultDisk();
    FaultDisk(const FaultDisk&) = delete;
    FaultDisk& operator=(const FaultDisk&) = delete;

    // Every change fails with this result from now on; SQLITE_OK ends it.
    void fail_always(int result);
    // The n-th change from now on, beginning at 1, fails once.
    void fail_once(std::int64_t n, int result);
    bool has_failed() const;

    void remember(bool on);
    void mark(std::int64_t mark);
    std::vector<DiskOperation> operations() const;

    // For the files of the disk.
    int check();
    void note(DiskOperation operation);

  private:
    mutable std::mutex mutex_;
    int always_ = SQLITE_OK;
    int once_ = SQLITE_OK;
    std::int64_t left_ = 0;
    bool failed_ = false;
    bool remembering_ = false;
    std::vector<DiskOperation> operations_;
};

// What a loss of power after the first `count` operations leaves in a folder: of each file what was
// synced, and of what was written since, each sector of 512 bytes new, old, or torn somewhere in
// between, by chance.
void write_after_power_loss(const std::vector<DiskOperation>& operations, std::size_t count,
                            const std::filesystem::path& folder, std::mt19937& random);

}  // namespace test
