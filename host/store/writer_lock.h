// Keeps a second writer away from a database.
#pragma once

#include <string>

namespace host {

class WriterLock {
  public:
    // Takes the lock in a file beside the database. Throws InputError when another process has it;
    // where no such file can be made, nothing is written to the database either.
    explicit WriterLock(const std::string& database);
    ~WriterLock();
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

    // The file was there before: a database of ours has been written here.
    bool found() const { return found_; }

  private:
    int file_ = -1;
    bool found_ = false;
};

}  // namespace host
