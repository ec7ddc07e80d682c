#include "track/motion.h"

#include "detect/box.h"
#include "vca/object.h"

using vca::wrap_add;
using vca::wrap_sub;

namespace {

constexpr size_t kTrailMax = 20;
constexpr size_t kLostTrailMax = 10;
constexpr size_t kSmoothMax = 7;
constexpr size_t kObjTrailMax = 7;
constexpr int32_t kSpeedWindowFrames = 24;

TRK_POINT_S trail_point(const DET_OBJ_S& box) {
    const POINT_POS_S center = vca::box_center(box);
    return {center.x, center.y, {}};
}

void drop_oldest_above(std::vector<TRK_POINT_S>& points, size_t limit) {
    if (points.size() > limit) points.erase(points.begin());
}

// The newest sample older than the window is kept, so that the window is always spanned.
void drop_old_samples(TRACKER_RSLT_S& trk) {
    const auto now = static_cast<int32_t>(trk.lastFrm);
    for (size_t k = trk.moveFrm.size(); k-- > 0;) {
        if (wrap_sub(now, trk.moveFrm[k]) <= kSpeedWindowFrames) continue;
        const auto older = static_cast<std::ptrdiff_t>(k);
        trk.moveFrm.erase(trk.moveFrm.begin(), trk.moveFrm.begin() + older);
        trk.moveDist.erase(trk.moveDist.begin(), trk.moveDist.begin() + older);
        return;
    }
}

void sample_displacement(TRACKER_RSLT_S& trk, const DET_OBJ_S& box) {
    trk.moveDist.push_back(vca_calc_bbox_center_dis(&trk.prevObj, &box));
    trk.moveFrm.push_back(static_cast<int32_t>(trk.lastFrm));
    trk.prevObj = box;
    drop_old_samples(trk);
    float sum = 0.0f;
    for (const int32_t d : trk.moveDist)
        sum += static_cast<float>(d);
    const int32_t frames = wrap_add(wrap_sub(trk.moveFrm.back(), trk.moveFrm.front()), 1);
    trk.speed = static_cast<float>(vca::to_i32(sum)) / static_cast<float>(frames);
}

bool farther_than(const TRK_POINT_S& p, const TRK_POINT_S& q, int32_t limit) {
    const int32_t dx = wrap_sub(p.x, q.x);
    const int32_t dy = wrap_sub(p.y, q.y);
    return dx > limit || dx < -limit || dy > limit || dy < -limit;
}

TRK_POINT_S midpoint(const TRK_POINT_S& p, const TRK_POINT_S& q) {
    return {wrap_add(p.x, q.x) / 2, wrap_add(p.y, q.y) / 2, {}};
}

}  // namespace

void vca::update_trail_and_speed(TRACKER_RSLT_S& trk) {
    if (trk.age < 1 || trk.lostCnt > 0) {
        drop_oldest_above(trk.trail, kLostTrailMax);
        return;
    }
    const DET_OBJ_S& box = *vca_trk_obj_get_position_box(&trk);
    trk.trail.push_back(trail_point(box));
    if (trk.age < 2)
        trk.prevObj = box;
    else if (trk.age % 2 == 0)
        sample_displacement(trk, box);
    drop_oldest_above(trk.trail, kTrailMax);
}

void vca::update_smooth_trail(TRACKER_RSLT_S& trk) {
    const int32_t step = vca_dev_get_work_mode() == VCA_WORK_MASTER ? 2 : 1;
    const int32_t jitter = step == 2 ? 3 : 1;
    trk.trailSmooth.clear();
    if (trk.trail.empty()) return;
    TRK_POINT_S taken = trk.trail.back();
    trk.trailSmooth.push_back(taken);
    for (size_t k = trk.trail.size() - 1; k-- > 0 && trk.trailSmooth.size() < kSmoothMax;) {
        if (!farther_than(trk.trail[k], taken, jitter)) continue;
        trk.trailSmooth.push_back(midpoint(trk.trail[k], taken));
        taken = trk.trail[k];
    }
    // A trajectory always has a direction.
    if (trk.trailSmooth.size() == 1)
        trk.trailSmooth.push_back({wrap_add(taken.x, step), wrap_add(taken.y, step), {}});
}

void vca::append_object_trail(TRACKER_RSLT_S& trk) {
    trk.objTrail.push_back(trail_point(trk.curObj));
    drop_oldest_above(trk.objTrail, kObjTrailMax);
}
