// Things that are not people: what some carry, push or lead, and what stands or moves by itself.
#pragma once

#include <vector>

#include "sim/body.h"

namespace sim {

class Builder;

void add_pram(Builder& b, const Look& look);
void add_dog_on_lead(Builder& b, const Vec3& hand, double phase, const Look& look);
void add_umbrella(Builder& b, const Vec3& hand, const Look& look);

struct Thing {
    enum class Kind {
        kChair,  // with arms, its back 0.9 m high; (x, y) is the middle of the seat
        kDog,    // (x, y) is its middle
        kDoor,   // a leaf of 0.9 x 2.0 m; (x, y) is the hinge, the leaf runs forward from it
    };
    Kind kind = Kind::kChair;
    double x_m = 0.0;
    double y_m = 0.0;
    double dir_x = 0.0;  // unit vector, the way it faces
    double dir_y = 1.0;
    double phase = 0.0;  // of a dog's gait
};

struct Things {
    std::vector<Thing> list{};
    std::vector<SunPatch> suns{};
};

void add_things(const Camera& camera, const Things& things, Model& model);

}  // namespace sim
