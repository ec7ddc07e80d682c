// What a perfect observer counts: people's true paths against the counting lines.
//
// A path counts when it gets from 0.25 m on one side of the line to 0.25 m on the other with the
// head in view all the way, over the line itself and not around its end. Crossing over and back
// counts as two crossings. On a line with a U-turn area only the sides on which a person enters and
// leaves the area matter: different sides give one crossing, the same side none.
//
// Direction 1 ends where orient(start, end, p) = (end.y - start.y) * (p.x - end.x) -
// (end.x - start.x) * (p.y - end.y) is positive, which for a line drawn from left to right is up
// the image; direction 2 ends on the other side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "sim/simulator.h"

namespace sim {

inline constexpr double kCrossingDepth_m = 0.25;

struct Crossing {
    std::size_t line = 0;  // index of the counting line
    int person = 0;
    std::int64_t frame = 0;  // when the far side, or the edge of the U-turn area, was reached
    int direction = 0;       // 1 or 2
};

// Distance from the (infinitely extended) line, positive on the side where direction 1 ends.
double signed_distance(const std::vector<Point>& line, const Point& p);

bool inside_polygon(const std::vector<Point>& polygon, const Point& p);

class CrossingCounter {
  public:
    // `depth_m`: how far beyond the line both sides are reached.
    explicit CrossingCounter(std::vector<CountingLine> lines, double depth_m = kCrossingDepth_m);

    // Call for every frame in order; returns the crossings completed in this frame, sorted by line,
    // then person. A person who is missing from the truth is out of view.
    std::vector<Crossing> update(const Frame& frame);

  private:
    struct Path {
        Point at;
        std::int64_t frame = 0;
        int side = 0;     // last side reached by 0.25 m, 0 before that
        int net = 0;      // crossings of the line since then, towards positive minus back
        int entered = 0;  // side of entry into the U-turn area, 0 while outside or unknown
    };

    int step_line(const CountingLine& line, Path& path, const Point& to) const;
    static int step_area(const CountingLine& line, Path& path, const Point& to);

    std::vector<CountingLine> lines_;
    double depth_m_;
    std::vector<std::map<int, Path>> paths_;  // for each line, by person
};

}  // namespace sim
