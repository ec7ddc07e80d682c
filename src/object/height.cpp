// The height of a tracked person: installation height minus the distance to the top of the box,
// compensated, smoothed and checked against the target range.
#include <algorithm>
#include <numeric>

#include "base/decision.h"
#include "base/log.h"
#include "base/numeric.h"
#include "base/working_size.h"
#include "object/object_state.h"
#include "vca/depth.h"
#include "vca/object.h"

using vca::safe_div;
using vca::wrap_add;
using vca::wrap_mul;
using vca::wrap_sub;

namespace {

constexpr char kLogName[] = "dev_calc_obj_height";

// Accepted samples and the range of the result, by class, in millimetres.
struct ClassLimits {
    float sample_min;
    int32_t height_min;
    int32_t height_max;
};

ClassLimits class_limits(const TRACKER_RSLT_S& trk) {
    if (trk.curObj.class_id == VCA_CLASS_SMALL) return {10.0f, 10, 1500};
    return {500.0f, 500, 1980};
}

// The box in depth-image pixels; negative coordinates become 0, the far edges are not clipped.
DET_OBJ_S scale_to_depth(const DET_OBJ_S& box) {
    const int32_t ws = vca::working_width(VCA_SIZE_COLOUR);
    const int32_t hs = vca::working_height(VCA_SIZE_COLOUR);
    const int32_t wd = vca::working_width(VCA_SIZE_DEPTH);
    const int32_t hd = vca::working_height(VCA_SIZE_DEPTH);
    DET_OBJ_S scaled{};
    scaled.x = safe_div(wrap_mul(std::max(box.x, 0), wd), ws);
    scaled.w = safe_div(wrap_mul(std::max(box.w, 0), wd), ws);
    scaled.y = safe_div(wrap_mul(std::max(box.y, 0), hd), hs);
    scaled.h = safe_div(wrap_mul(std::max(box.h, 0), hd), hs);
    if (wrap_add(scaled.x, scaled.w) >= wd || wrap_add(scaled.y, scaled.h) >= hd)
        VCA_LOG_AS(kLogName, "H-calc-exceed SrcObj=(%d %d %d %d) TmpObj=(%d %d %d %d)", box.x,
                   box.y, box.w, box.h, scaled.x, scaled.y, scaled.w, scaled.h);
    return scaled;
}

// Learnt floor distance of the map cell under the box centre, 0 when none has been learnt.
int32_t floor_under(const DET_OBJ_S& scaled) {
    const int32_t cell_w = vca::working_width(VCA_SIZE_DEPTH) / VCA_DEPTH_GRID;
    const int32_t cell_h = vca::working_height(VCA_SIZE_DEPTH) / VCA_DEPTH_GRID;
    const int32_t col = safe_div(wrap_add(scaled.x, scaled.w / 2), cell_w);
    const int32_t row = safe_div(wrap_add(scaled.y, scaled.h / 2), cell_h);
    const auto& map = vca_depth_get_state()->depthMap;
    return map[av_limit_min_max(row, 0, VCA_DEPTH_GRID - 1)]
              [av_limit_min_max(col, 0, VCA_DEPTH_GRID - 1)];
}

void log_values(const char* label, const std::vector<float>& values) {
    if (!vca::debug_on(vca::kDbgHeight)) return;
    std::printf("%s", label);
    for (const float v : values)
        std::printf("%g ", static_cast<double>(v));
    std::printf("%zu\n", values.size());
}

// Up to seven samples lose their extremes in turn, the largest first, down to two. Longer histories
// lose three low readings for each high one, down to four: partial views and raised arms read low.
// Among equal values the first is dropped.
void trim(std::vector<float>& samples) {
    const bool is_long = samples.size() >= 8;
    const size_t keep = is_long ? 4 : 2;
    for (size_t step = 0; samples.size() > keep; ++step) {
        const bool drop_largest = is_long ? step % 4 == 2 : step % 2 == 0;
        samples.erase(drop_largest ? std::max_element(samples.begin(), samples.end())
                                   : std::min_element(samples.begin(), samples.end()));
    }
}

float mean_of(const std::vector<float>& values) {
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    return static_cast<float>(sum / static_cast<double>(values.size()));
}

void renew_height(TRACKER_RSLT_S& trk) {
    std::vector<float>& trimmed = vca::object_state().trimmed;
    trimmed = trk.heightSamples;
    trim(trimmed);
    log_values("Prev vTmpH: ", trimmed);
    if (trimmed.empty()) return;
    trk.heightMeans.push_back(mean_of(trimmed));
    if (trk.heightMeans.size() > 1) trk.heightMeans.erase(trk.heightMeans.begin());
    trk.height = mean_of(trk.heightMeans);
}

void leave_range(TRACKER_RSLT_S& trk, float bound_mm, float outside_mm) {
    constexpr float kGrossMm = 80.0f;
    constexpr int32_t kFlagAbove = 4;
    if (trk.heightExceed != 0) return;
    trk.heightExceedCnt += outside_mm > kGrossMm ? 6 : 2;
    if (trk.heightExceedCnt <= kFlagAbove) return;
    trk.heightExceed = 1;
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    vca::tell(VCA_DECISION_HEIGHT_OUT, trk, -1, 0, trk.height, bound_mm);
    std::printf("===Obj[%d] H=%.2f exceed=(%d %d) ! \n", trk.trackId,
                static_cast<double>(trk.height), cfg.TargetHeightMin, cfg.TargetHeightMax);
}

// The counter does not fall while the flag is clear: scattered readings out of range add up.
void stay_in_range(TRACKER_RSLT_S& trk) {
    if (trk.heightExceed == 0 || trk.heightExceedCnt < 1) return;
    trk.heightExceedCnt -= 2;
    if (trk.heightExceedCnt >= 1) return;
    trk.heightExceed = 0;
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    vca::tell(VCA_DECISION_HEIGHT_BACK, trk, -1, 0, trk.height);
    std::printf("===Obj[%d] H=%.2f restore=(%d %d) ! \n", trk.trackId,
                static_cast<double>(trk.height), cfg.TargetHeightMin, cfg.TargetHeightMax);
}

}  // namespace

float dev_calc_obj_height(TRACKER_RSLT_S* trk, const uint16_t* depth) {
    constexpr int32_t kPatchSide = 40;
    const DET_OBJ_S& box = trk->curObj;
    const bool log = vca::debug_on(vca::kDbgVca);
    if (log) VCA_LOG("Calc Obj=(%d %d %d %d) height 000", box.x, box.y, box.w, box.h);
    DET_OBJ_S scaled = scale_to_depth(box);
    if (box.class_id == VCA_CLASS_SMALL)
        dev_bbox_adjust_rect(&scaled, std::min({scaled.w, scaled.h, kPatchSide}));
    if (log) VCA_LOG("Calc Obj=(%d %d %d %d) height 111", scaled.x, scaled.y, scaled.w, scaled.h);

    const float mean = depth16_calc_rgn_distance(depth, scaled.x, scaled.y,
                                                 wrap_sub(wrap_add(scaled.x, scaled.w), 1),
                                                 wrap_sub(wrap_add(scaled.y, scaled.h), 1), false);
    const int32_t grid = floor_under(scaled);
    const int32_t base = grid != 0 ? grid : vca_dev_get_install_height();
    trk->rawHeight = static_cast<float>(base) - mean;
    if (vca::debug_on(vca::kDbgHeight))
        VCA_LOG("\n setHeight=%d ins_grid_h=%d mean=%.2f objHeight=%.2f",
                vca_dev_get_install_height(), grid, static_cast<double>(mean),
                static_cast<double>(trk->rawHeight));
    return trk->rawHeight;
}

int32_t dev_obj_height_compen_by_install(void) {
    constexpr int32_t kFromMm = 3900;
    constexpr int32_t kToMm = 6000;
    int32_t install = vca_dev_get_install_height();
    float ratio = 0.5f;
    int32_t lo = 0;
    int32_t hi = 0;
    int32_t compensation = 0;
    if (install >= kFromMm) {
        install = av_limit_min_max(install, kFromMm, kToMm);
        ratio = static_cast<float>(install - kFromMm) / 2100.0f;
        lo = -40;
        hi = 210;
        compensation = av_calc_set_val(lo, 60, hi, ratio);
    }
    if (vca::debug_on(vca::kDbgHeight))
        VCA_LOG("Install=%d %.2f Adapt=%d %d Compe=%d", install, static_cast<double>(ratio), lo, hi,
                compensation);
    return compensation;
}

void vca_dev_deal_obj_height(TRACKER_RSLT_S* trk, float sample) {
    const ClassLimits limits = class_limits(*trk);
    const bool log = vca::debug_on(vca::kDbgHeight);
    if (log) VCA_LOG("$objHeight=%.2f", static_cast<double>(sample));
    if (sample >= limits.sample_min) {
        const auto history = static_cast<size_t>(vca::object_state().height_history);
        trk->heightSamples.push_back(sample);
        if (trk->heightSamples.size() > history)
            trk->heightSamples.erase(trk->heightSamples.begin());
    }
    log_values("Prev H: ", trk->heightSamples);
    renew_height(*trk);
    trk->height = static_cast<float>(
        av_limit_min_max(vca::to_i32(trk->height), limits.height_min, limits.height_max));
    if (log)
        std::printf("$Obj-%d H = %g ok-%d\n", trk->trackId, static_cast<double>(trk->height),
                    trk->age);
}

void dev_obj_height_chk_exceed(TRACKER_RSLT_S* trk) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    if (trk->curObj.class_id == VCA_CLASS_SMALL) {
        trk->heightExceed = 0;
        return;
    }
    if (trk->age <= 1) return;
    const auto lowest = static_cast<float>(cfg.TargetHeightMin);
    const auto highest = static_cast<float>(cfg.TargetHeightMax);
    if (trk->height < lowest)
        leave_range(*trk, lowest, lowest - trk->height);
    else if (trk->height > highest)
        leave_range(*trk, highest, trk->height - highest);
    else
        stay_in_range(*trk);
}
