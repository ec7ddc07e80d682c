// One line of JSON for each event, through the stream's own buffer.
#include "host/sinks/event_file.h"

#include <stdexcept>
#include <variant>

namespace host {

EventFile::EventFile(const std::string& path) : path_(path), out_(path) {
    check();
}

void EventFile::on_event(const Event& event) {
    if (std::holds_alternative<Decision>(event.payload)) return;
    out_ << to_json_line(event) << '\n';
    // What is wrong with an input is of interest while no frames come.
    if (event.id == kInputId) out_.flush();
    check();
}

void EventFile::end_frame(const PassReport&) {
    out_.flush();
    check();
}

void EventFile::finish() {
    out_.close();
    check();
}

void EventFile::check() const {
    if (!out_) throw std::runtime_error("cannot write \"" + path_ + "\"");
}

}  // namespace host
