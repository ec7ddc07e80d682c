// A crowd for the benchmarks: everybody walks to and fro on a place of his own, some across a
// counting line, and after 600 frames somebody else comes in his stead.
#pragma once

#include <vector>

#include "vca/cascade.h"
#include "vca/config.h"

namespace bench {

constexpr int kPeopleMax = 100;
constexpr int kWalkFrames = 64;   // the movement repeats after them
constexpr int kStayFrames = 600;  // 40 s at 15 frames/s
constexpr int kInstall_mm = 6000;

// What a device of a cascade sees of the crowd: the places first .. last - 1.
struct View {
    int first = 0;
    int last = 0;
};

// Places lie on a grid, in coordinates of the master's picture, which on a master continues beyond
// the picture's edges. Stand-alone and slave: all places in the picture. Master: half of them are
// in its own picture, the others in those of two slaves, and every fourth place is seen by two
// devices.
class Crowd {
  public:
    Crowd(int people, VCA_WORK_MODE_E mode);

    int people() const { return people_; }
    VCA_WORK_MODE_E mode() const { return mode_; }

    // Who is on the place, 0 for nobody. Between two people it is empty for 6 frames, as long as
    // it takes until the first one's track ends.
    int32_t id_at(int place, int frame) const;

    DET_OBJ_S box_at(int place, int frame) const;

    // Raw depth image, 480 x 256 millimetres.
    const uint16_t* depth_mm(int frame) const;

    // The place of a box by its centre; by its foot point for the merged objects of a master.
    int place_of_box(POINT_POS_S centre) const;
    int place_of_feet(POINT_POS_S feet) const;

    // The device's own view, and what slave 0 or 1 of a master reports on the frame.
    View own_view() const;
    MASTER_MSG_S report_of_slave(int slave, int frame) const;

    // Four counting lines, group counting on, counted by the foot point.
    VCA_ALGO_CFG_S counting_config() const;

    // All that can be switched on: four regions, turning back filtered on two of the lines,
    // exclusion regions for boxes and for depth, attributes, heat maps and every display.
    VCA_ALGO_CFG_S everything_config() const;

  private:
    POINT_POS_S centre_at(int place, int frame) const;
    View slave_view(int slave) const;

    int people_;
    VCA_WORK_MODE_E mode_;
    std::vector<std::vector<uint16_t>> depth_mm_;
};

}  // namespace bench
