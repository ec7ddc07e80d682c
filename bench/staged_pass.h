// A frame pass of a stand-alone device with everything on, stage by stage, for timing single
// stages in the surroundings they have in a pass.
#pragma once

#include "bench/floor.h"
#include "bench/quiet_host.h"
#include "vca/vca.h"

namespace bench {

class StagedPass {
  public:
    explicit StagedPass(int people);
    ~StagedPass();
    StagedPass(const StagedPass&) = delete;
    StagedPass& operator=(const StagedPass&) = delete;

    // Makes the next frame the current one, and its detections.
    void advance();

    void update_depth_map();
    void merge_detections();
    void track();
    void show_tracks();
    void count_lines();
    void count_regions();
    void heat();
    void finish();

    // What the stages must read and write on the current frame, before they have run.
    void floor_of_merge(Floor& floor) const;
    void floor_of_track(Floor& floor) const;
    void floor_of_show(Floor& floor) const;
    void floor_of_lines(Floor& floor) const;
    void floor_of_regions(Floor& floor) const;
    void floor_of_heat(Floor& floor) const;

    const std::vector<TRACKER_RSLT_S>& tracks() const { return tracks_; }

    // All stages in the order of a pass.
    using Stage = void (StagedPass::*)();
    static const Stage kStages[8];

  private:
    Crowd crowd_;
    int frame_ = -1;
    VCA_NN_RESULT_S colour_{};
    VCA_NN_RESULT_S depth_{};
    VCA_NN_RESULT_S merged_{};
    std::vector<TRACKER_RSLT_S> tracks_;
};

}  // namespace bench
