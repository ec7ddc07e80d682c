// people.jsonl: one line for each track when it has ended, with its story.
#pragma once

#include <fstream>
#include <string>

#include "host/engine/sink.h"
#include "host/score/story.h"

namespace host {

class PeopleFile final : public Sink {
  public:
    // Throws std::runtime_error when the file cannot be opened.
    PeopleFile(const std::string& path, StoryNames names);

    void on_event(const Event& event) override;
    // Ends the file with the tracks that have not ended. Throws std::runtime_error when not
    // everything could be written.
    void finish() override;

  private:
    void write(const Story& story);
    void check() const;

    std::string path_;
    StoryNames names_;
    StoryBook book_;
    std::ofstream out_;
};

}  // namespace host
