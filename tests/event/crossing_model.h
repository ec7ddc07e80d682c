// The line stage for one track, rewritten plainly: per line and segment the position that was last
// settled, the band just past the line, and the tally of U-turn lines.
#ifndef TESTS_EVENT_CROSSING_MODEL_H
#define TESTS_EVENT_CROSSING_MODEL_H

#include <cmath>
#include <vector>

#include "tests/event/walker.h"

namespace fix {

class CrossingModel {
  public:
    CrossingModel(POINT_POS_S birth, int cross_dist) : cross_dist_(cross_dist) {
        for (auto& line : lines)
            for (POINT_POS_S& prev : line.prev)
                prev = birth;
    }

    struct Line {
        POINT_POS_S prev[4];
        int last = 0;
        int near = 0;
        int changes = 0;
        int place = 0;  // 0 outside the U-turn area, 2 inside, 5 just left
        bool tallied = false;
    };

    // One frame on one line; `inside` is whether the position lies in the line's U-turn area.
    void frame(int l, POINT_POS_S p, bool inside) {
        Line& line = lines[l];
        if (!uturn(l)) {
            segments(l, p);
            return;
        }
        if (!cfg().UturnRgnEn[l] || inside) {
            line.place = 2;
            segments(l, p);
        } else if (line.place == 2) {
            line.place = 5;
            segments(l, p);
            leave(l);
        } else {
            line.place = 0;
        }
    }

    // The decision on leaving the area or at the track's end.
    void leave(int l) {
        Line& line = lines[l];
        if (!line.tallied) return;
        if (line.changes % 2 == 1 && line.last != 0) counted.push_back({1, l, line.last});
        line.tallied = false;
        line.changes = 0;
        line.last = 0;
    }

    Line lines[4];
    std::vector<Counted> counted;

  private:
    static bool uturn(int l) { return cfg().UturnFilter && cfg().UturnEn[l]; }

    static int64_t side_value(const LINE_SEG_S& s, POINT_POS_S p) {
        return int64_t{s.end.y - s.start.y} * (p.x - s.end.x) -
               int64_t{s.end.x - s.start.x} * (p.y - s.end.y);
    }

    void segments(int l, POINT_POS_S p) {
        for (int k = 0; k < 4; ++k)
            segment(l, k, p);
    }

    void segment(int l, int k, POINT_POS_S p) {
        const LINE_SEG_S& s = cfg().lineSeg[l][k];
        if (s.start.x == s.end.x && s.start.y == s.end.y) return;
        Line& line = lines[l];
        POINT_POS_S& prev = line.prev[k];
        const int64_t value = side_value(s, p);
        if (value == 0 || side_value(s, prev) == 0) return;
        if (!doLinesIntersect({prev, p}, s)) {
            prev = p;
            return;
        }
        const int past = static_cast<int>(point_to_line_min_dis(p, s.start, s.end));
        if (past < (uturn(l) ? 5 : cross_dist_)) {
            if (past >= 5) line.near = value > 0 ? 7 : 5;
            return;
        }
        line.near = 0;
        prev = p;
        const bool positive = value > 0;
        cross(l, positive != (cfg().line[l].Flip != 0) ? 1 : 2);
    }

    void cross(int l, int direction) {
        Line& line = lines[l];
        if (uturn(l)) {
            line.tallied = true;
            line.changes += direction != line.last;
        } else if (direction != line.last) {
            counted.push_back({1, l, direction});
        }
        line.last = direction;
    }

    int cross_dist_;
};

}  // namespace fix

#endif
