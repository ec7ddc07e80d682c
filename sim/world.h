// Who is where: the source of poses behind a simulator.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/body.h"
#include "sim/things.h"

namespace sim {

class World {
  public:
    virtual ~World() = default;

    // Poses of everyone in the next frame, sorted by id. Called once per frame, in order.
    virtual void step(std::vector<Pose>& people) = 0;

    // What else is there in the frame of the last step.
    virtual Things things() const { return {}; }
};

}  // namespace sim
