// Decisions about staff against what people truly are.
#pragma once

#include <cstdint>
#include <map>

#include "host/engine/events.h"
#include "host/score/identities.h"

namespace host {

// Decisions on tracks that were shown for at least two seconds.
struct StaffScore {
    int right_staff = 0;  // decided to be staff, and is
    int wrong_staff = 0;  // decided to be staff, but is not
    int missed = 0;       // staff, but not decided to be
    int right_others = 0;

    int tracks() const { return right_staff + wrong_staff + missed + right_others; }
    double precision() const;  // NaN when nobody was decided to be staff
    double recall() const;     // NaN when nobody was staff
    double accuracy() const;   // NaN without any track
};

class StaffMeter {
  public:
    // A track not shown for `memory_frames` frames has ended; the identities must remember it for
    // longer.
    explicit StaffMeter(std::int64_t memory_frames) : memory_frames_(memory_frames) {}

    void add_shown(std::int64_t frame, double time_s, const TracksShown& shown);
    // Judges the tracks that have ended; with `all`, also those still going on.
    void judge_ended(std::int64_t frame, const Identities& identities, bool all = false);
    const StaffScore& score() const { return score_; }

  private:
    // What was shown of a track while it lived.
    struct Shown {
        double first_s = 0.0;
        double last_s = 0.0;
        std::int64_t last_frame = 0;
        bool staff = false;  // as last decided
    };

    void judge(int track, const Shown& shown, const Identities& identities);

    std::int64_t memory_frames_;
    std::map<int, Shown> tracks_;
    StaffScore score_;
};

}  // namespace host
