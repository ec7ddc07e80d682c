// How well detections and tracks agree with the truth, by the usual definitions.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "host/engine/sink.h"
#include "host/frames/frame_source.h"

namespace host {

// Boxes agree when their intersection is at least half of their union.
inline constexpr double kMatchIou = 0.5;

double box_overlap(const PixelBox& a, const PixelBox& b);

struct DetectionScore {
    std::int64_t truths = 0;  // people who had to be found, over all frames
    std::int64_t found = 0;
    std::int64_t false_boxes = 0;

    double recall() const;     // NaN when there was nobody to find
    double precision() const;  // NaN when nothing was reported
};

// Precision and recall of boxes, frame by frame. People who are not clear (at the edge of the
// picture, hidden) need not be found, and a box on one of them is not held against the detector.
class DetectionMeter {
  public:
    void add_frame(const std::vector<TruePerson>& people, const std::vector<PixelBox>& boxes);
    const DetectionScore& score() const { return score_; }

  private:
    DetectionScore score_;
};

struct TrackingScore {
    std::int64_t truths = 0;
    std::int64_t misses = 0;
    std::int64_t false_boxes = 0;
    std::int64_t switches = 0;          // a person's box has a different id than when last matched
    std::int64_t identity_matches = 0;  // boxes explained by the best one-to-one naming of tracks

    // NaN where there is nothing to divide by.
    double mota() const;  // 1 - (misses + false boxes + switches) / truths
    double idf1() const;  // 2 matches / (truths + reported boxes)
    std::int64_t reported = 0;
};

// CLEAR-MOT and identity scores. In each frame a person first keeps the track of the previous
// frame while they still overlap enough; the rest is assigned optimally. The best one-to-one naming
// of all tracks splits into groups of people and tracks that were ever matched, so a group is
// settled, and forgotten, once no member of it has been seen for a while.
class TrackingMeter {
  public:
    // Anyone not seen for `memory_frames` frames does not come back under the same number.
    explicit TrackingMeter(std::int64_t memory_frames) : memory_frames_(memory_frames) {}

    // Returns the track of each person matched in this frame, including people who are not clear.
    std::map<int, int> add_frame(const std::vector<TruePerson>& people,
                                 const std::vector<TrackedBox>& tracks);
    // Complete after the last frame.
    TrackingScore score() const;

  private:
    // Frames of person and track matched.
    using Together = std::map<std::pair<int, int>, std::int64_t>;

    void settle_gone();

    std::int64_t memory_frames_;
    std::int64_t frame_ = 0;                   // frames added
    TrackingScore score_;                      // with the identity matches of settled groups
    std::map<int, int> last_track_;            // of each person, at the last match
    std::map<int, int> current_track_;         // of each person matched in the previous frame
    std::map<int, std::int64_t> person_seen_;  // frame in which each was last there
    std::map<int, std::int64_t> track_seen_;
    Together together_;
};

}  // namespace host
