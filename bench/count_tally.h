// Counted crossings held against true ones, one by one.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/app/run.h"
#include "host/engine/sink.h"
#include "host/score/identities.h"
#include "host/score/metrics.h"
#include "sim/crossings.h"

// What is compared: a person over a line in a direction.
struct Passage {
    int line = 0;
    int direction = 0;
    double time_s = 0.0;
    std::optional<int> person;  // of a counted one: whom the track lay on
    int track = 0;              // of a counted one
};

// Sums over runs.
struct CountTally {
    std::int64_t truth = 0;
    std::int64_t missed = 0;
    std::int64_t extra = 0;
    std::int64_t swaying = 0;     // of the extra ones: the person did go over the line and 0.15 m
                                  // beyond, but not as far as the truth asks for
    std::int64_t backwards = 0;   // of the other extra ones: the person went the other way only
    std::int64_t switches = 0;    // of tracks, as CLEAR-MOT counts them
    std::int64_t gap_frames = 0;  // between the first and the last report of a track, without one
    std::int64_t tracked_frames = 0;  // all frames between these
    std::int64_t false_boxes = 0;     // tracked boxes on which nobody is

    std::int64_t wrong() const { return missed + extra; }
    void add(const CountTally& other);
};

// Each true passage takes the counted one of the same line and direction nearest in time: the same
// person's first, then another's within 3 s, which the truth may know by a different
// name. What is left over is wrong; a line each goes to `cases`.
// Passages before `from_s` count only as partners of later ones. `touches`: passages as the truth
// would know them if it asked for less.
CountTally compare_passages(const std::vector<Passage>& truth, const std::vector<Passage>& counted,
                            std::vector<Passage> touches, double from_s,
                            std::vector<std::string>& cases);

struct TallySetup {
    double frames_per_second = 15.0;
    double from_s = 0.0;  // what happens before is left out: a recording may begin with people on a
                          // line
    std::vector<host::CountingLine> lines;
    double m_per_px = 0.0;  // of places on the floor
};

// For a run whose frames come as its source has them now.
TallySetup tally_setup(const host::RunPlan& plan, double from_s = 0.0);

// Follows a run.
class TallySink final : public host::Sink {
  public:
    explicit TallySink(const TallySetup& setup);

    void on_frame(const host::FrameView& frame) override;
    void on_event(const host::Event& event) override;
    void end_frame(const host::PassReport& report) override;

    // After the run; the cases of `compare_passages` are appended.
    CountTally tally(std::vector<std::string>& cases) const;

  private:
    struct Seen {
        std::int64_t first = 0;
        std::int64_t last = 0;
        std::int64_t frames = 0;
    };

    void count_false_boxes(const host::PassReport& report);

    const TallySetup setup_;
    sim::CrossingCounter sway_;
    host::TrackingMeter tracking_;
    host::Identities identities_;
    std::vector<host::TruePerson> people_;
    std::vector<host::Event> counted_now_;
    std::vector<Passage> truth_;
    std::vector<Passage> touches_;
    std::vector<Passage> counted_;
    std::map<int, Seen> seen_;  // by track
    std::int64_t false_boxes_ = 0;
};
