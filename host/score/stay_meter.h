// How long tracks stay in regions, and how long their people truly do.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "host/base/counting_places.h"
#include "host/engine/events.h"
#include "host/score/identities.h"
#include "host/score/region_meter.h"

namespace host {

// Time that a track spent in a region without leaving it.
struct RegionStay {
    int track = 0;
    int region = 0;
    std::int64_t first_frame = 0;
    std::int64_t last_frame = 0;
    double entered_s = 0.0;  // scene time of the first frame
    double stay_s = 0.0;
    std::optional<int> person;          // who it truly was, when the track lay on somebody
    std::optional<double> true_stay_s;  // that person's time in the region meanwhile
};

// A reported stay may bridge moments on the region's edge that split the true one, so it is
// compared with all true stays of the person that it overlaps, once these are over.
class StayMeter {
  public:
    // A track not reported for `memory_frames` frames has ended.
    StayMeter(std::vector<CountingRegion> regions, double frames_per_second, bool has_truth,
              std::int64_t memory_frames);

    // Returns for how many people in each region the time has kept running since their last report.
    RegionArray add_report(std::int64_t frame, double time_s, const RegionsReported& report);

    // After the reports of a frame: where everybody truly is, and who is under each track.
    void add_frame(std::int64_t frame, const std::vector<TruePerson>& people,
                   const Identities& identities);

    // The stays settled since the last call; with `all`, also those still going on, after which
    // nothing may be added.
    std::vector<RegionStay> take_settled(bool all = false);

    // True stays of a second or more that were settled, and those of which nothing was reported.
    int true_long_stays() const { return true_long_stays_; }
    int true_long_stays_missed() const { return true_long_stays_missed_; }

  private:
    struct OpenStay {
        RegionStay stay;
        int stay_ms = 0;
        std::int64_t seen_frame = 0;  // last report of the track
        std::map<int, int> people;    // frames of each up to the last report of being inside
        std::map<int, int> people_since;
    };

    // A person's uninterrupted time in a region.
    struct TrueStay {
        std::int64_t first_frame = 0;
        std::int64_t last_frame = 0;
        std::int64_t frames = 0;
        bool reported = false;

        bool overlaps(const RegionStay& stay) const {
            return first_frame <= stay.last_frame && last_frame >= stay.first_frame;
        }
    };

    using Key = std::pair<int, int>;  // track or person, and region

    void add_person(std::int64_t frame, double time_s, const RegionPerson& person,
                    RegionArray& running);
    void note_people(const Identities& identities);
    void note_true_stays(std::int64_t frame, const std::vector<TruePerson>& people);
    void close_forgotten(std::int64_t frame);
    void settle(bool all);
    bool try_settle(RegionStay& stay, bool all);
    void settle_true_stays(bool all);
    std::int64_t earliest_unsettled(int region) const;
    void close(const OpenStay& open);

    const std::vector<CountingRegion> regions_;
    const double frames_per_second_;
    const bool has_truth_;
    const std::int64_t memory_frames_;
    std::map<Key, OpenStay> open_;
    std::vector<RegionStay> closed_;  // wait for the true stays that they overlap
    std::vector<RegionStay> settled_;
    std::map<Key, std::deque<TrueStay>> true_stays_;
    std::int64_t frame_ = -1;         // the last one with truth
    std::int64_t frame_before_ = -1;  // the one before it
    int true_long_stays_ = 0;
    int true_long_stays_missed_ = 0;
};

}  // namespace host
