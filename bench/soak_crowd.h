// People who come and go for a long run, what the models and the slaves report of them, and the
// configurations that they walk under.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "vca/vca.h"

namespace soak {

constexpr int kWidth = 960;
constexpr int kHeight = 544;
constexpr int kDepthWidth = 480;
constexpr int kDepthHeight = 256;
constexpr int kPeopleMax = 100;

using Random = std::mt19937_64;

// A number from `low` to `high`.
int draw(Random& random, int low, int high);
// Whether something happens that does so once in `n` times.
bool once_in(Random& random, int n);

class Crowd {
  public:
    explicit Crowd(uint64_t seed) : random_(seed) {}

    // Sets how many people there shall be; they come in over the next frames and go on foot.
    void aim_for(int people) { target_ = people; }
    // Takes everybody away at once.
    void clear() { people_.clear(); }
    int size() const { return static_cast<int>(people_.size()); }

    // One frame later.
    void step();
    // What a detection model sees: a few people are missed, the boxes tremble.
    void detect(VCA_NN_RESULT_S& result);
    // Distances in millimetres, 480 x 256, floor and heads.
    void draw_depth(std::vector<uint16_t>& depth_mm);
    // What slave `index` of `slaves` reports: its share of the people and some in its own view
    // only.
    MASTER_MSG_S slave_report(int index, int slaves, uint32_t frame);

  private:
    struct Person {
        double x, y;    // centre in colour pixels
        double vx, vy;  // pixels per frame
        int height_mm;
        int stands;  // frames until the person walks on
    };

    void add();

    Random random_;
    std::vector<Person> people_;
    int target_ = 0;
};

// A configuration within the legal ranges with any set of features, in work mode `mode`.
VCA_ALGO_CFG_S draw_config(Random& random, int mode);

// Stand-alone or master with lines, groups, regions, heat map, attributes and history.
VCA_ALGO_CFG_S everything_on(int mode);

}  // namespace soak
