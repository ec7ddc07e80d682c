// One line for each story.
#include "host/sinks/people_file.h"

#include <stdexcept>
#include <utility>

#include "host/sinks/story_json.h"

namespace host {

PeopleFile::PeopleFile(const std::string& path, StoryNames names)
    : path_(path), names_(std::move(names)), out_(path) {
    check();
}

void PeopleFile::on_event(const Event& event) {
    for (const Story& story : book_.add(event))
        write(story);
}

void PeopleFile::finish() {
    for (const Story& story : book_.rest())
        write(story);
    out_.close();
    check();
}

void PeopleFile::write(const Story& story) {
    out_ << story_json(story, names_) << std::endl;
    check();
}

void PeopleFile::check() const {
    if (!out_) throw std::runtime_error("cannot write \"" + path_ + "\"");
}

}  // namespace host
