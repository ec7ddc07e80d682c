// A track that is walked over counting lines step by step.
#include "tests/event/walker.h"

namespace fix {

std::vector<Counted> take_counted() {
    std::vector<Counted> counted;
    for (const DEV_COUNTING_RSLT_S& result : *vca_dev_get_counting_results())
        counted.push_back({result.id, result.line, result.cross});
    output_of([] { vca_event_counting_refresh_line_result(); });
    return counted;
}

void set_line(int line, const std::vector<POINT_POS_S>& points, bool flip) {
    cfg().LineEn[line] = 1;
    cfg().line[line].Flip = flip;
    for (size_t i = 0; i + 1 < points.size(); ++i)
        cfg().lineSeg[line][i] = {points[i], points[i + 1]};
}

Walker::Walker(POINT_POS_S birth, int cross_dist, int id) : list_(1) {
    trk().trackId = id;
    trk().age = 10;
    trk().crossDist = cross_dist;
    move_to(birth);
    trk().evtObj = trk().curObj;
    for (auto& line : trk().segPrev)
        for (DET_OBJ_S& prev : line)
            prev = trk().curObj;
}

void Walker::move_to(POINT_POS_S to) {
    trk().curObj = centred(to.x, to.y);
}

void Walker::step(POINT_POS_S to, int line) {
    move_to(to);
    for (int seg = 0; seg < 4; ++seg)
        vca_line_check_crossing_state(&trk(), line, seg);
}

void Walker::step_segment(POINT_POS_S to, int line, int seg) {
    move_to(to);
    EXPECT_EQ(vca_line_check_crossing_state(&trk(), line, seg), 0);
}

void Walker::stage(POINT_POS_S to) {
    move_to(to);
    EXPECT_EQ(vca_event_counting_line_uturn_proc(list_), 0);
}

}  // namespace fix
