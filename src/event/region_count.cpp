// Counting regions: who is inside each of them and for how long, and the report to the host.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/decision.h"
#include "base/log.h"
#include "base/numeric.h"
#include "base/send.h"
#include "config/mask_cells.h"
#include "detect/box.h"
#include "track/event_box.h"
#include "track/track_list.h"
#include "vca/region.h"

using vca::wrap_add;

namespace {

constexpr int32_t kStepMin_ms = 10;
constexpr int32_t kStepMax_ms = 500;

struct RegionState {
    int32_t last_pass_ms = 0;
    bool anybody = false;  // somebody took part in the previous frame
};

RegionState region_state;

bool takes_part(TRACKER_RSLT_S& trk) {
    return vca_check_obj_event_rgn_update(&trk) && trk.heightExceed == 0;
}

// `box` is in mask cells.
bool overlaps(const vca::MaskCells& mask, const DET_OBJ_S& box) {
    return vca::any_set(mask, {box.x, box.y, wrap_add(box.x, box.w), wrap_add(box.y, box.h)});
}

// A track on the mask grid, which all masks share.
struct Place {
    DET_OBJ_S box;     // the box it keeps while it is young or lost
    POINT_POS_S cell;  // centre of its event box
};

Place place_of(TRACKER_RSLT_S& trk) {
    const DET_OBJ_S kept = *vca_trk_obj_get_event_box(&trk, true);
    const DET_OBJ_S now = *vca_trk_obj_get_event_box(&trk, false);
    const DET_OBJ_S box = cscd_map_box_to_mask(kept);
    const bool same = now.x == kept.x && now.y == kept.y && now.w == kept.w && now.h == kept.h;
    return {box, vca::box_center(same ? box : cscd_map_box_to_mask(now))};
}

bool is_outside(const RGN_STAY_S& stay) {
    return stay.inRgn == 0 && stay.stayTime == 0;
}

// Between the region and its surroundings lies a band, where the person's box still reaches into
// the region, in which nothing changes: a person standing on the edge does not flicker in and out.
// Whoever is outside already has nothing to lose there, so his box is not looked up.
void update_stay(RGN_STAY_S& stay, const Place& place, const VCA_MASK_S& region, int32_t step_ms) {
    if (vca::is_set(region.mask, place.cell)) {
        stay.inRgn = 1;
        stay.stayTime = wrap_add(stay.stayTime, step_ms);
    } else if (!is_outside(stay) && !overlaps(region.mask, place.box)) {
        stay = {};
    }
}

void tell_stay(const TRACKER_RSLT_S& trk, int region, const RGN_STAY_S& before, bool entered) {
    if (entered)
        vca::tell(VCA_DECISION_ENTERED, trk, region, 0);
    else
        vca::tell(VCA_DECISION_LEFT, trk, region, 0, static_cast<float>(before.stayTime));
}

void update_stays(TRACKER_RSLT_S& trk, int32_t step_ms) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    Place place{};
    bool known = false;
    for (int region = 0; region < VCA_RGN_NUM; ++region) {
        RGN_STAY_S& stay = trk.rgnStay[region];
        if (cfg.RgnEnable[region] == 0) {
            stay = {};
            continue;
        }
        if (!known || !vca::event_box_is_settled(trk)) place = place_of(trk);
        known = true;
        const RGN_STAY_S before = stay;
        update_stay(stay, place, cfg.rgnMask[region], step_ms);
        if (stay.inRgn != before.inRgn) tell_stay(trk, region, before, stay.inRgn != 0);
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
    return trk->lostCnt <= vca::kLostMax && vca::is_large_enough(trk->curObj);
}

int vca_event_counting_region_stay_proc(std::vector<TRACKER_RSLT_S>& tracks) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    const auto now_ms = static_cast<int32_t>(avs_get_timestamp());
    const int32_t step_ms = av_limit_min_max(vca::wrap_sub(now_ms, region_state.last_pass_ms),
                                             kStepMin_ms, kStepMax_ms);
    for (TRACKER_RSLT_S& trk : tracks) {
        if (cfg.RgnEn == 0) {
            std::fill_n(trk.rgnStay, VCA_RGN_NUM, RGN_STAY_S{});
            continue;
        }
        if (takes_part(trk)) update_stays(trk, step_ms);
    }
    region_state.last_pass_ms = now_ms;
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
    // Once the last person has gone, one empty report says so.
    if ((anybody || region_state.anybody) && dev_get_config()->RgnEn != 0) {
        vca::send_record(VCA_MSG_REGIONS, msg);
        if (vca::debug_on(vca::kDbgRegion)) print_report(msg);
    }
    region_state.anybody = anybody;
    return 0;
}
