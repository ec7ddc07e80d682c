// Counting regions: who is inside each of them and for how long, and the report to the host.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame/frame_state.h"
#include "frame/log.h"
#include "frame/numeric.h"
#include "vca/messages.h"
#include "vca/region.h"

using vca::wrap_add;

namespace {

constexpr int32_t kLostMax = 4;
constexpr int32_t kSideMin_px = 10;
constexpr int32_t kStepMin_ms = 10;
constexpr int32_t kStepMax_ms = 500;

struct RegionState {
    int32_t last_pass_ms = 0;
    bool anybody = false;  // somebody took part in the previous frame
};

RegionState state;

bool takes_part(TRACKER_RSLT_S& trk) {
    return vca_check_obj_event_rgn_update(&trk) && trk.heightExceed == 0;
}

// `box` is in mask cells; what lies beyond the mask does not overlap it.
bool overlaps(const char (&mask)[VCA_MASK_ROWS][VCA_MASK_COLS], const DET_OBJ_S& box) {
    const int32_t left = std::clamp(box.x, 0, VCA_MASK_COLS);
    const int32_t right = std::clamp(wrap_add(box.x, box.w), left, VCA_MASK_COLS);
    const int32_t top = std::clamp(box.y, 0, VCA_MASK_ROWS);
    const int32_t bottom = std::clamp(wrap_add(box.y, box.h), top, VCA_MASK_ROWS);
    for (int32_t row = top; row < bottom; ++row) {
        const char* cells = mask[row];
        if (std::any_of(cells + left, cells + right, [](char cell) { return cell != 0; }))
            return true;
    }
    return false;
}

// Between the region and its surroundings lies a band, where the person's box still reaches into
// the region, in which nothing changes: who stands on the edge does not flicker in and out.
void update_stay(TRACKER_RSLT_S& trk, int region, int32_t step_ms) {
    const auto& mask = dev_get_config()->rgnMask[region].mask;
    RGN_STAY_S& stay = trk.rgnStay[region];
    const DET_OBJ_S box = cscd_map_box_to_mask(*vca_trk_obj_get_event_box(&trk, true));
    if (vca_trk_obj_in_mask(&trk, mask)) {
        stay.inRgn = 1;
        stay.stayTime = wrap_add(stay.stayTime, step_ms);
    } else if (!overlaps(mask, box)) {
        stay = {};
    }
}

void fill_entry(RGN_MSG_S& msg, const TRACKER_RSLT_S& trk) {
    RGN_PERSON_S& person = msg.persons[msg.num++];
    person.obj = trk.curObj;
    person.obj.reserved0 = static_cast<uint32_t>(trk.trackId);
    for (int region = 0; region < VCA_RGN_NUM; ++region) {
        person.rgn[region].inRgn = trk.rgnStay[region].inRgn;
        person.rgn[region].stayTime = trk.rgnStay[region].stayTime;
        if (trk.rgnStay[region].inRgn != 0) ++msg.peopleCnt[region];
    }
}

void print_report(const RGN_MSG_S& msg) {
    std::printf("~~~~~~~~~~~~~~~~~~~~~~~~~~~ RgnPeopleCnt=%d\n", static_cast<int32_t>(msg.num));
    for (uint32_t i = 0; i < msg.num; ++i) {
        const RGN_PERSON_S& person = msg.persons[i];
        std::printf("\tObj-%d=(%d, %d, %d, %d) \n", static_cast<int32_t>(person.obj.reserved0),
                    person.obj.x, person.obj.y, person.obj.w, person.obj.h);
        std::printf("\t\tRgn");
        for (int region = 0; region < VCA_RGN_NUM; ++region)
            std::printf("[%d]=(%d, %d) ", region, person.rgn[region].inRgn,
                        person.rgn[region].stayTime);
        std::printf("\n");
    }
    std::printf("\tRgn People Count: [");
    for (const int32_t count : msg.peopleCnt)
        std::printf("%d, ", count);
    std::printf("]\n");
}

}  // namespace

bool vca_check_obj_event_rgn_update(TRACKER_RSLT_S* trk) {
    return trk->lostCnt <= kLostMax && trk->curObj.w > kSideMin_px && trk->curObj.h > kSideMin_px;
}

int vca_event_counting_region_stay_proc(std::vector<TRACKER_RSLT_S>& tracks) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    const auto now_ms = static_cast<int32_t>(avs_get_timestamp());
    const int32_t step_ms =
        av_limit_min_max(vca::wrap_sub(now_ms, state.last_pass_ms), kStepMin_ms, kStepMax_ms);
    for (TRACKER_RSLT_S& trk : tracks) {
        if (cfg.RgnEn == 0) {
            std::fill_n(trk.rgnStay, VCA_RGN_NUM, RGN_STAY_S{});
            continue;
        }
        if (!takes_part(trk)) continue;
        for (int region = 0; region < VCA_RGN_NUM; ++region) {
            if (cfg.RgnEnable[region] == 0)
                trk.rgnStay[region] = {};
            else
                update_stay(trk, region, step_ms);
        }
    }
    state.last_pass_ms = now_ms;
    return 0;
}

int vca_event_counting_refresh_rgn_result(std::vector<TRACKER_RSLT_S>& tracks) {
    RGN_MSG_S msg;
    std::memset(&msg, 0, sizeof(msg));  // padding bytes too: they are sent
    vca::copy_frame_stamp(msg.frame_flag);
    bool anybody = false;
    for (TRACKER_RSLT_S& trk : tracks) {
        if (!takes_part(trk)) continue;
        anybody = true;
        if (msg.num < VCA_RGN_PERSON_MAX) fill_entry(msg, trk);
    }
    // When the last one has gone, one empty report says so.
    if ((anybody || state.anybody) && dev_get_config()->RgnEn != 0) {
        vca::send_record(VCA_MSG_REGIONS, msg);
        if (vca::debug_on(vca::kDbgRegion)) print_report(msg);
    }
    state.anybody = anybody;
    return 0;
}
