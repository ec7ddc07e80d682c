// The stories of tracks, from what the library decided about each: why somebody was counted, or
// not.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/events.h"

namespace host {

// A decision made once or several times in a row: for approaches to a line the closest, for steps
// across it the farthest.
struct StoryStep {
    std::int64_t frame = -1;  // of the first time
    double time_s = 0.0;
    Decision decision{};
    LeftOut left_out = LeftOut::kNot;  // of a count
};

struct Story {
    static constexpr std::size_t kMostSteps = 200;

    std::int32_t list = VCA_LIST_LOCAL;
    std::int32_t track = -1;
    std::vector<StoryStep> steps;   // in order; from birth to end, when there were not too many
    std::int64_t left_out = 0;      // steps beyond kMostSteps, except counts and the end
    std::int64_t ended_frame = -1;  // -1 while the track lives
};

// Names as the user gave them, in the order of their numbers.
struct StoryNames {
    std::vector<std::string> lines;
    std::vector<std::string> regions;
    bool counts_merged = false;  // the tracks of a device of a site do not count by themselves
};

// One sentence for a reader, such as: came within 14 px of line door, 22 were needed, and went
// back.
std::string story_sentence(const Story& story, const StoryNames& names);

// What one step says, such as: 9 px past line door, 22 px are needed.
std::string step_text(const StoryStep& step, const StoryNames& names);

// The name of a line or region, its number from 1 when it has none.
std::string story_name(const std::vector<std::string>& names, int number);

bool is_about_line(std::int32_t kind);
bool is_about_region(std::int32_t kind);

// The name of a kind of decision, as written in files.
const char* decision_name(std::int32_t kind);

// Collects decisions until a track has ended. The tracker remembers people for longer than the
// library keeps their records, and may then report the same track again; its story then goes on.
class StoryBook {
  public:
    static constexpr std::int64_t kReturnFrames = 30;

    // Takes a track's decision and returns the stories that are over, which any event can show.
    std::vector<Story> add(const Event& event);
    // Since when somebody is there whose story is not over; infinite when nobody is.
    double open_since_s() const;
    // The stories that are left.
    std::vector<Story> rest();

  private:
    std::vector<Story> take_over(std::int64_t frame);
    void leave_out(const CountLeftOut& late);

    std::map<std::pair<std::int32_t, std::int32_t>, Story> open_;  // by list and track
    std::int64_t next_end_ = INT64_MAX;  // no story is over before this frame
};

}  // namespace host
