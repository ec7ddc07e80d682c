// A track that is walked over counting lines step by step, for the tests of line counting.
#ifndef TESTS_EVENT_WALKER_H
#define TESTS_EVENT_WALKER_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/track/fixtures.h"

namespace fix {

// A crossing handed on to counting.
struct Counted {
    int id;
    int line;
    int cross;
    bool operator==(const Counted&) const = default;
};

inline void PrintTo(const Counted& c, std::ostream* os) {
    *os << "track " << c.id << " line " << c.line << " direction " << c.cross;
}

// The crossings in the queue, which is emptied.
std::vector<Counted> take_counted();

// Line `line` becomes the polyline through the points and is enabled.
void set_line(int line, const std::vector<POINT_POS_S>& points, bool flip = false);

// A track whose box is moved to a centre; every step is one frame.
class Walker {
  public:
    explicit Walker(POINT_POS_S birth, int cross_dist = 10, int id = 1);

    void move_to(POINT_POS_S to);
    // Moves and runs the four segments of a line, or one of them.
    void step(POINT_POS_S to, int line = 0);
    void step_segment(POINT_POS_S to, int line, int seg);
    // Moves and runs the whole line stage over this one track.
    void stage(POINT_POS_S to);

    TRACKER_RSLT_S& trk() { return list_[0]; }

  private:
    std::vector<TRACKER_RSLT_S> list_;
};

}  // namespace fix

#endif
