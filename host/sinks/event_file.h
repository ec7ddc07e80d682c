// events.jsonl, written while the run goes on: a long run must not keep its messages in memory.
#pragma once

#include <fstream>
#include <string>

#include "host/engine/sink.h"

namespace host {

class EventFile final : public Sink {
  public:
    // Throws std::runtime_error when the file cannot be opened.
    explicit EventFile(const std::string& path);

    // Appends the event as one line when it is a message, not a decision. Throws std::runtime_error
    // when that fails.
    void on_event(const Event& event) override;
    // Flushes the frame's lines to the file, for those who follow it.
    void end_frame(const PassReport& report) override;
    // Ends the file. Throws std::runtime_error when not everything could be written.
    void finish() override;

  private:
    void check() const;

    std::string path_;
    std::ofstream out_;
};

}  // namespace host
