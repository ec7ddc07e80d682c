// events.jsonl, written while the run goes on: a long run must not keep its messages in memory.
#pragma once

#include <atomic>
#include <fstream>
#include <string>

#include "host/engine/events.h"

namespace host {

class EventFile {
  public:
    // Throws std::runtime_error when the file cannot be opened.
    explicit EventFile(const std::string& path);

    // Appends the event as one line. Does nothing after a failed write.
    void write(const Event& event);
    // Whether a write failed, so that the run can end; any thread may ask.
    bool failed() const { return failed_; }
    // Ends the file. Throws std::runtime_error when not everything could be written.
    void finish();

  private:
    std::string path_;
    std::ofstream out_;
    std::atomic<bool> failed_{false};
};

}  // namespace host
