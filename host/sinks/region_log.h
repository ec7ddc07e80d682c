// What the analysis reports of regions and attributes, condensed while the run goes on.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "host/engine/events.h"

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

// People in each region on one frame.
struct RegionCount {
    std::int64_t frame = 0;
    std::array<int, VCA_RGN_NUM> people{};  // as reported, with those still on the edge
    std::array<int, VCA_RGN_NUM> inside{};  // of these, whose time ran on since the last report
};

class RegionLog {
  public:
    void add(std::int64_t frame, double time_s, const RegionsReported& report);

    const std::vector<RegionCount>& counts() const { return counts_; }
    const std::vector<RegionStay>& stays() const { return stays_; }

  private:
    struct Open {
        std::size_t stay = 0;  // index into stays_
        int stay_ms = 0;
    };

    void add_person(std::int64_t frame, double time_s, const RGN_PERSON_S& person);

    std::vector<RegionCount> counts_;
    std::vector<RegionStay> stays_;
    std::map<std::pair<int, int>, Open> open_;  // by track and region
};

// What was shown of a track while it lived.
struct ShownTrack {
    double first_s = 0.0;
    double last_s = 0.0;
    bool staff = false;  // as it was decided last
};

// By track.
using ShownTracks = std::map<int, ShownTrack>;

void add_shown(double time_s, const TracksShown& shown, ShownTracks& tracks);

}  // namespace host
