// How well a site counts: the master's merged scene against the truth, beside each camera alone.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/engine/events.h"
#include "host/score/region_meter.h"
#include "host/settings/site.h"
#include "sim/crossings.h"

namespace host {

// An object of the merged scene.
struct MergedTrack {
    int id = 0;
    PicturePoint foot;  // in the master's picture
    double height_mm = 0.0;
};

// The objects of a master's message: their boxes are squares around the foot point.
std::vector<MergedTrack> merged_tracks(const TracksShown& message);

// Somebody who is really there.
struct SitePerson {
    int id = 0;
    SitePoint at;
    double height_mm = 0.0;
    int cameras = 0;  // how many have the head in view
};

struct SiteFrame {
    std::int64_t number = 0;
    std::vector<SitePerson> people;
    std::vector<MergedTrack> tracks;
};

// Fills `cameras` of the people by the devices' views.
void count_views(const Site& site, std::vector<SitePerson>& people);

// People seen by two cameras or more at once, as the merged scene shows them.
struct MergeScore {
    std::int64_t person_frames = 0;  // in view of two cameras or more
    std::int64_t one_object = 0;     // of these: exactly one object
    std::int64_t no_object = 0;
    std::int64_t several_objects = 0;
    std::int64_t duplicate_frames = 0;  // of second objects that last more than 5 frames
    std::int64_t id_changes = 0;        // a person's object has a different number than before
    int people = 0;                     // different people
    int people_one_object = 0;          // of these: found on most frames, never a duplicate
    std::int64_t objects = 0;           // on frames
    std::int64_t stray_objects = 0;     // of these: not near anybody a camera sees

    double one_object_share() const;  // NaN without anybody
    double duplicate_share() const;
};

// Decides frame by frame whose object each track is. Objects are assigned to people within reach so
// that as many people as possible have one and, among such assignments, the distances are smallest,
// with a preference for the pairs of the previous frame. An object left over within reach of
// somebody is that person's second one.
class MergeMeter {
  public:
    explicit MergeMeter(const Site& site) : site_(site) {}
    void add_frame(const SiteFrame& frame);
    MergeScore score() const;

    static constexpr double kReach_m = 0.7;
    static constexpr int kLongestDouble = 5;  // frames that a second object may live

  private:
    struct Presence {
        std::int64_t frames = 0;  // in view of two cameras or more
        std::int64_t found = 0;
        bool doubled = false;
    };

    struct Surplus {
        std::int64_t frame = 0;  // the last one
        int length = 0;
        std::set<int> people;
    };

    std::vector<int> assign(const SiteFrame& frame, const std::vector<SitePoint>& places) const;
    void add_surplus(std::int64_t frame, int track, int person);

    const Site& site_;
    MergeScore score_;
    std::map<int, int> track_of_;  // of each person matched in the previous frame
    std::map<int, int> last_track_;
    std::map<int, Presence> presence_;
    std::map<int, Surplus> surplus_;  // by track
};

// A meter for the site's regions, with places in metres.
RegionMeter region_meter(const Site& site);
// The people expected in the regions: those seen by some camera.
std::vector<TruePerson> people_in_view(const SiteFrame& frame);

// What a perfect observer with all cameras' views counts.
class SiteTruth {
  public:
    explicit SiteTruth(const Site& site);
    std::vector<TrueCrossing> add_frame(const SiteFrame& frame);

  private:
    std::vector<sim::CrossingCounter> counters_;  // one for each line
    std::vector<bool> flip_;
};

// Counts of directions 1 and 2 of every line by one observer; none for a line it does not see.
struct LineCounts {
    std::string who;
    std::vector<std::optional<std::array<int, 2>>> lines;
};

LineCounts count_truth(const Site& site, const std::vector<TrueCrossing>& crossings);
LineCounts no_counts(const Site& site, const std::string& who);

// Sum of the differences over all directions of the lines that the observer sees, as a share of the
// true crossings of these lines; none when there were no true ones.
std::optional<double> count_error(const LineCounts& counts, const LineCounts& truth);

struct SiteResult {
    bool has_truth = true;  // else nobody is known, and only what was merged says something
    LineCounts truth;
    LineCounts merged;
    std::vector<LineCounts> alone;
    MergeScore merge;
    std::vector<Occupancy> regions;  // in the order of the site's, without stays
    std::vector<SiteFrame> frames;
};

// The table of counts and what became of people seen twice.
std::string site_table(const Site& site, const SiteResult& result);

}  // namespace host
