// Whether a file has changed since it was looked at.
#pragma once

#include <string>

namespace host {

// Differs when the file is another one, or was written since; the same for all that are not there.
std::string file_stamp(const std::string& path);

// Tells of each change of a file once, when it has stayed as it is between two looks: whoever
// writes it is through then.
class FileWatch {
  public:
    explicit FileWatch(std::string path);

    // True when the file is to be read again.
    bool look();
    // It has just been read.
    void was_read();
    const std::string& path() const { return path_; }

  private:
    std::string path_;
    std::string read_;  // stamps
    std::string last_;
};

}  // namespace host
