// The crossing state of one track on one segment of a counting line.
#include "event/line_cross.h"

#include <algorithm>

#include "base/decision.h"
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
constexpr int32_t kNearPx = 4;        // closer to the line than this, a track is on neither side

bool filters_uturns(int line) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    return cfg.UturnFilter != 0 && cfg.UturnEn[line] != 0;
}

// Shorter than a pixel, as unused segments are.
bool is_empty(const LINE_SEG_S& s) {
    return s.start.x == s.end.x && s.start.y == s.end.y;
}

bool is_on_extension(POINT_POS_S p, const LINE_SEG_S& s) {
    return wrap_mul(wrap_sub(p.x, s.end.x), wrap_sub(s.end.y, s.start.y)) ==
           wrap_mul(wrap_sub(p.y, s.end.y), wrap_sub(s.end.x, s.start.x));
}

// Reports a person who has not crossed the line but is about as close to it as the distance usually
// needed beyond it.
void tell_near(const TRACKER_RSLT_S& trk, POINT_POS_S p, int line, const LINE_SEG_S& s,
               int32_t threshold) {
    if (!vca::is_observed()) return;
    const float distance = vca::distance_to_segment(p, s);
    if (distance > static_cast<float>(std::max(threshold, trk.crossDist))) return;
    vca::tell(VCA_DECISION_NEAR_LINE, trk, line, 0, distance, static_cast<float>(threshold));
}

// Reports a person who is across the line, but not far enough.
void tell_touched(const TRACKER_RSLT_S& trk, int line, int32_t distance, int32_t threshold) {
    if (!vca::is_observed()) return;
    const auto beyond = static_cast<float>(distance);
    if (distance > kNearPx) {
        vca::ToldTrack& told = vca::told_track(trk);
        told.touched_pass[line] = trk.trkFrames;
        told.touched_px[line] = beyond;
    }
    vca::tell(VCA_DECISION_NEAR_LINE, trk, line, 1, beyond, static_cast<float>(threshold));
}

// Advances the state of the segment with the track's current box. While the movement from the
// frozen previous box crosses the segment but the track is not yet far enough past it, that box is
// kept.
void vca_line_point_cross_check(TRACKER_RSLT_S& trk, const DET_OBJ_S& cur, int line, int seg) {
    const LINE_SEG_S& s = dev_get_config()->lineSeg[line][seg];
    const POINT_POS_S pre = vca::box_center(trk.segPrev[line][seg]);
    const POINT_POS_S p = vca::box_center(cur);
    if (is_on_extension(pre, s) || is_on_extension(p, s)) return;
    const int32_t threshold = filters_uturns(line) ? kUturnCrossPx : trk.crossDist;
    if (!doLinesIntersect({pre, p}, s)) {
        trk.segPrev[line][seg] = cur;
        tell_near(trk, p, line, s, threshold);
        return;
    }
    const int32_t distance = vca::to_i32(point_to_line_min_dis(p, s.start, s.end));
    const int32_t orient = orientation(s.start, s.end, p);
    const int dir = (orient > 0) - (orient < 0);
    const int32_t side = dir > 0 ? VCA_SIDE_LEFT : dir < 0 ? VCA_SIDE_RIGHT : VCA_SIDE_NONE;
    if (distance >= threshold) {
        trk.segSide[line][seg] = side;
        trk.nearSide[line] = VCA_SIDE_NONE;
        vca::tell(VCA_DECISION_CROSSED, trk, line, seg, static_cast<float>(distance),
                  static_cast<float>(threshold));
        VCA_LOG("line[%d][%d]=(%d %d)<-->(%d %d)", line, seg, s.start.x, s.start.y, s.end.x,
                s.end.y);
        VCA_LOG("line[%d][%d] obj: pre=%d %d cur=%d %d dir=%d", line, seg, pre.x, pre.y, p.x, p.y,
                dir);
        return;
    }
    tell_touched(trk, line, distance, threshold);
    if (distance > kNearPx) trk.nearSide[line] = side;
}

// Whether the track really went through is decided when it leaves the area or ends.
void tally_for_uturn(TRACKER_RSLT_S& trk, int line, int seg, int32_t cross) {
    std::printf("\tuTurn obj[%d] line[%d] seg[%d] CrossEvt=%d LastState=%d\n", trk.trackId, line,
                seg, cross, trk.LastState[line]);
    trk.IsCrossed[line] = 1;
    if (cross == trk.LastState[line]) {
        vca::tell(VCA_DECISION_SAME_SIDE, trk, line, cross);
        return;
    }
    trk.crossLine[line] = line;
    trk.CrossCnt[line] = vca::wrap_add(trk.CrossCnt[line], 1);
    trk.LastState[line] = cross;
    vca::tell(VCA_DECISION_WAITS, trk, line, cross, static_cast<float>(trk.CrossCnt[line]));
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
        } else {
            vca::tell(VCA_DECISION_SAME_SIDE, trk, line, cross);
        }
    }
    trk.segSide[line][seg] = VCA_SIDE_NONE;
    trk.segPrev[line][seg] = cur;
}
