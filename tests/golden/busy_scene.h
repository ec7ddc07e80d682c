// A crowd under the camera that does everything people do: crosses lines alone and in groups, turns
// back, waits in regions, stands still like a false detection, is lost and found again, is too tall
// or too small. Whole numbers only, so that it is the same on every machine.
#ifndef TESTS_GOLDEN_BUSY_SCENE_H
#define TESTS_GOLDEN_BUSY_SCENE_H

#include <vector>

#include "tests/support/scripted_host.h"
#include "vca/vca.h"

namespace golden {

constexpr int kFrames = 2000;

// Everything on: four lines, two of them with U-turn filters, groups, regions, exclusions of both
// kinds, heat maps, attributes, all displays. The configuration changes with the phase, 0 to 2.
VCA_ALGO_CFG_S busy_config(VCA_WORK_MODE_E mode, int phase);

// Detections of both models and the raw depth image of a frame.
test::Frame busy_frame(int frame);

// Time between a frame and the one before it: mostly 66 ms, at times long, once backwards.
int64_t busy_step_us(int frame);

// What a slave (0 or 1) reports to its master at a frame: part of the same crowd, seen a few pixels
// beside where the master sees it, and people of its own.
MASTER_MSG_S busy_report(uint32_t slave, int frame);

// Joins each object to the nearest one of the frames before, or gives it a new number.
class NearestTracker {
  public:
    IOU_TRK_RSLT_S update(const std::vector<IOU_TRK_OBJ_S>& objects);

  private:
    struct Target {
        int32_t id;
        int32_t x, y;  // twice the centre
        int missing;
    };
    Target* nearest(const IOU_TRK_OBJ_S& object, const std::vector<int32_t>& taken);

    std::vector<Target> targets_;
    int32_t next_id_ = 1;
};

}  // namespace golden

#endif
