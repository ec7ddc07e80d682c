// Generated walkers in a passage: they come from both ends, keep clear of each other, and some
// stop, turn back, walk in groups, or push a trolley.
#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "sim/world.h"

namespace sim {

// A place where people stand to look at something on the nearer side of the passage.
struct StopPlace {
    double along = 0.0;
    double across = 0.0;
};

// Positions along the passage run from -half_length_m to half_length_m, across it from
// -half_width_m to half_width_m; the middle is below the camera.
struct WalkerPlan {
    bool along_x = false;         // the passage runs along the image's x axis, else along y
    double half_length_m = 3.5;   // people appear and vanish there, out of view
    double half_width_m = 0.8;    // of the positions of heads
    double arrivals_per_s = 0.3;  // people or groups, both ends together
    int max_people = 8;
    double children = 0.0;        // share of arrivals that are an adult with one or two children
    double groups = 0.0;          // share of arrivals that are groups of 2 to 4 adults
    double groups_in_file = 0.2;  // share of these that walk one behind the other
    double uturns = 0.0;          // share of single arrivals who turn back near the middle
    double stops = 0.0;           // share of single arrivals who stand still for a while
    double stop_least_s = 1.0;
    double stop_most_s = 4.0;
    std::vector<StopPlace> stop_places;  // empty: people stop somewhere on their way
    double returns = 0.0;                // share of those at stop_places who go back from there
    double trolleys = 0.0;               // share of single arrivals with a trolley or cart
    double burdened = 0.0;               // share of single arrivals with one of these
    std::vector<Load> burdens;
    double bags = 0.2;        // share of single arrivals with a bag, backpack or suitcase
    double staff = 0.0;       // share of single arrivals who wear the staff vest; no bags
    double vivid_tops = 0.0;  // share of the other single arrivals in a yellow or orange top
    double warm_up_s = 0.0;   // simulated before the first frame
    double arrivals_end_s = std::numeric_limits<double>::infinity();  // after the first frame
};

// The length of a scene that lasts for `own_s`, or for `seconds` when given; infinity is allowed.
// The plan's arrivals end `clearing_s` before it, so that no walk is cut short, but not before they
// do in the scene's own time: a shorter scene is the beginning of the full one. Throws
// std::invalid_argument when `seconds` is not above 0.
double settle_length(WalkerPlan& plan, double own_s, double clearing_s,
                     std::optional<double> seconds);

std::unique_ptr<World> make_walkers(const WalkerPlan& plan, double fps, std::uint64_t seed);

}  // namespace sim
