// A simulator over poses that a test places by hand.
#pragma once

#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "sim/simulator.h"
#include "sim/world.h"

namespace sim_test {

class FixedWorld : public sim::World {
  public:
    explicit FixedWorld(std::vector<sim::Pose> people) : people_(std::move(people)) {}
    void step(std::vector<sim::Pose>& people) override { people = people_; }

  private:
    std::vector<sim::Pose> people_;
};

inline sim::Pose standing(int id, double x_m, double y_m, double height_m) {
    sim::Pose pose;
    pose.id = id;
    pose.x_m = x_m;
    pose.y_m = y_m;
    sim::Rng rng(static_cast<std::uint64_t>(id) + 7);
    pose.look = sim::random_look(rng, height_m);
    pose.look.hair = {120, 90, 60};
    return pose;
}

inline sim::Simulator fixed_scene(std::vector<sim::Pose> people, double camera_height_m,
                                  std::uint64_t seed = 5) {
    sim::SceneInfo info;
    info.name = "fixed";
    info.camera.height_m = camera_height_m;
    return {info, std::make_unique<FixedWorld>(std::move(people)), seed};
}

}  // namespace sim_test
