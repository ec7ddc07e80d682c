// The crossing state of one track on one segment of a counting line.
#include "event/line_cross.h"

#include "base/log.h"
#include "base/numeric.h"
#include "detect/box.h"
#include "event/line_geometry.h"
#include "track/line_side.h"
#include "vca/event.h"

using vca::orientation;
using vca::wrap_mul;
using vca::wrap_sub;

namespace {

constexpr char kLogName[] = "vca_line_check_crossing_state";

constexpr int32_t kUturnCrossPx = 5;  // distance that registers a crossing under U-turn filtering
constexpr int32_t kNearPx = 4;        // closer to the line than this a track is on neither side

bool filters_uturns(int line) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    return cfg.UturnFilter != 0 && cfg.UturnEn[line] != 0;
}

// Shorter than a pixel, as those that are not used are.
bool is_empty(const LINE_SEG_S& s) {
    return s.start.x == s.end.x && s.start.y == s.end.y;
}

bool is_on_extension(POINT_POS_S p, const LINE_SEG_S& s) {
    return wrap_mul(wrap_sub(p.x, s.end.x), wrap_sub(s.end.y, s.start.y)) ==
           wrap_mul(wrap_sub(p.y, s.end.y), wrap_sub(s.end.x, s.start.x));
}

// Moves the state of the segment on by the track's current box. While the movement from the frozen
// previous box crosses the segment but the track is not yet far enough past it, that box stays.
void vca_line_point_cross_check(TRACKER_RSLT_S& trk, const DET_OBJ_S& cur, int line, int seg) {
    const LINE_SEG_S& s = dev_get_config()->lineSeg[line][seg];
    const POINT_POS_S pre = vca::box_center(trk.segPrev[line][seg]);
    const POINT_POS_S p = vca::box_center(cur);
    if (is_on_extension(pre, s) || is_on_extension(p, s)) return;
    if (!doLinesIntersect({pre, p}, s)) {
        trk.segPrev[line][seg] = cur;
        return;
    }
    const int32_t threshold = filters_uturns(line) ? kUturnCrossPx : trk.crossDist;
    const int32_t distance = vca::to_i32(point_to_line_min_dis(p, s.start, s.end));
    const int32_t orient = orientation(s.start, s.end, p);
    const int dir = (orient > 0) - (orient < 0);
    const int32_t side = dir > 0 ? VCA_SIDE_LEFT : dir < 0 ? VCA_SIDE_RIGHT : VCA_SIDE_NONE;
    if (distance >= threshold) {
        trk.segSide[line][seg] = side;
        trk.nearSide[line] = VCA_SIDE_NONE;
        VCA_LOG("line[%d][%d]=(%d %d)<-->(%d %d)", line, seg, s.start.x, s.start.y, s.end.x,
                s.end.y);
        VCA_LOG("line[%d][%d] obj: pre=%d %d cur=%d %d dir=%d", line, seg, pre.x, pre.y, p.x, p.y,
                dir);
    } else if (distance > kNearPx) {
        trk.nearSide[line] = side;
    }
}

// Whether the track really went through is decided when it leaves the area or ends.
void tally_for_uturn(TRACKER_RSLT_S& trk, int line, int seg, int32_t cross) {
    std::printf("\tuTurn obj[%d] line[%d] seg[%d] CrossEvt=%d LastState=%d\n", trk.trackId, line,
                seg, cross, trk.LastState[line]);
    trk.IsCrossed[line] = 1;
    if (cross == trk.LastState[line]) return;
    trk.crossLine[line] = line;
    trk.CrossCnt[line] = vca::wrap_add(trk.CrossCnt[line], 1);
    trk.LastState[line] = cross;
}

}  // namespace

int vca_line_check_crossing_state(TRACKER_RSLT_S* trk, int line, int seg) {
    if (line < 0 || line >= VCA_LINE_NUM || seg < 0 || seg >= VCA_SEG_NUM) return 0;
    vca::check_crossing_state(*trk, *vca_trk_obj_get_event_box(trk, false), line, seg);
    return 0;
}

void vca::check_crossing_state(TRACKER_RSLT_S& trk, const DET_OBJ_S& cur, int line, int seg) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    if (is_empty(cfg.lineSeg[line][seg])) return;
    vca_line_point_cross_check(trk, cur, line, seg);

    const int32_t side = trk.segSide[line][seg];
    if (!vca::is_side(side)) return;
    const int32_t cross = vca::direction_to(side, line);
    if (filters_uturns(line)) {
        tally_for_uturn(trk, line, seg, cross);
    } else {
        VCA_LOG_AS(kLogName, "line=%d seg=%d cross=%d", line, seg, cross);
        if (cross != trk.LastState[line]) {
            VCA_LOG_AS(kLogName, "add_event...");
            vca_dev_add_counting_line_group(&trk, line, cross);
            trk.LastState[line] = cross;
        }
    }
    trk.segSide[line][seg] = VCA_SIDE_NONE;
    trk.segPrev[line][seg] = cur;
}
