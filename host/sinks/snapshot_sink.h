// Evidence of a run for its pictures: a frame worth showing, the paths of its people, the heat map.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "host/engine/sink.h"

namespace host {

inline constexpr double kTrail_s = 6.0;  // length of the paths before the shown frame

// The tracks of one frame.
struct TrailFrame {
    double time_s = 0.0;
    std::vector<TrackedBox> tracks;
};

struct Evidence {
    std::int64_t frame = -1;  // of the snapshot; -1 without any frame
    double time_s = 0.0;
    std::vector<std::uint8_t> colour_nv12;
    std::vector<TrackedBox> tracks;       // on the snapshot
    std::vector<TrailFrame> trail;        // of the last seconds before it, and itself
    std::map<int, double> heights_mm;     // of tracks of the trail that were counted
    std::optional<HeatMapReported> heat;  // of the whole run; none when there was no answer
};

// Keeps the frame with the most people; on a tie the last, whose paths are the longest.
class SnapshotSink final : public Sink {
  public:
    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    void finish() override;

    // Complete after finish().
    const Evidence& evidence() const { return evidence_; }

  private:
    void add_heat(const HeatMapReported& heat);
    bool in_trails(int track) const;

    std::vector<std::uint8_t> colour_nv12_;  // of the current frame
    std::deque<TrailFrame> recent_;
    std::map<int, double> heights_mm_;
    Evidence evidence_;
};

}  // namespace host
