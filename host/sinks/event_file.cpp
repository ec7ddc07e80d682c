// One line of JSON for each event, through the stream's own buffer.
#include "host/sinks/event_file.h"

#include <stdexcept>

namespace host {

EventFile::EventFile(const std::string& path) : path_(path), out_(path) {
    if (!out_) throw std::runtime_error("cannot write \"" + path_ + "\"");
}

void EventFile::write(const Event& event) {
    if (failed_) return;
    out_ << to_json_line(event) << '\n';
    if (!out_) failed_ = true;
}

void EventFile::finish() {
    out_.close();
    if (failed_ || !out_) throw std::runtime_error("cannot write \"" + path_ + "\"");
}

}  // namespace host
