// Things that must not be taken for people, and somebody who stands about, beside the walkers of a
// passage.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sim/walkers.h"

namespace sim {

enum class Clutter { kChairs, kPrams, kTrolleys, kDogs, kUmbrellas, kDoors, kSun, kStanding };

// One of clutter_names(). Throws std::invalid_argument for any other.
Clutter clutter_from(const std::string& name);

std::vector<Clutter> all_clutter();

// What people carry, push or lead where these kinds are about.
std::vector<Load> burdens_of(const std::vector<Clutter>& kinds);

// Walkers among these things, which have the sides of the passage: the plan should keep people
// within 0.65 m of its middle. It must run along the image's y axis.
std::unique_ptr<World> make_cluttered(const std::vector<Clutter>& kinds, const WalkerPlan& plan,
                                      double fps, std::uint64_t seed);

}  // namespace sim
