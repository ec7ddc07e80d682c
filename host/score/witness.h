// What is known of everybody who was followed, to be asked when a count and a person disagree.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/base/picture.h"
#include "host/score/story.h"

namespace host {

// Somebody at a line.
struct LineMoment {
    double time_s = 0.0;
    std::string line;
    int counted = 0;  // direction in which they were counted then; 0 for not
    PicturePoint place{};
};

struct Witness {
    int track = -1;
    double from_s = 0.0;
    double to_s = 0.0;
    std::string why;  // one sentence
    std::vector<LineMoment> moments;
};

Witness witness_of(const Story& story, const StoryNames& names);

// Why nobody was counted there and then: the story of whoever was nearest to it in time, or that
// nobody was followed at the line.
struct Explanation {
    std::string why;
    std::optional<int> track;
    std::optional<PicturePoint> place;
};

Explanation explain_missing(const std::vector<Witness>& witnesses, const std::string& line,
                            int direction, double time_s);
// Why this track was counted there and then.
Explanation explain_count(const std::vector<Witness>& witnesses, int track, double time_s);

}  // namespace host
