/* Counting regions: who is inside, for how long, and the report of it. C++ only. */
#ifndef VCA_REGION_H
#define VCA_REGION_H

#include "vca/track.h"

#define VCA_RGN_PERSON_MAX 90

/* One person of the region report. */
struct RGN_PERSON_S {
    DET_OBJ_S obj;               /* the track's curObj; reserved0 holds its trackId */
    RGN_STAY_S rgn[VCA_RGN_NUM]; /* padding bytes are zero */
};
VCA_CHECK_SIZE(RGN_PERSON_S, 96);
VCA_CHECK_OFFSET(RGN_PERSON_S, rgn, 64);

/* Message 6070: the people of one frame and the number of them in each region. */
struct RGN_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp */
    uint32_t num;           /* entries of persons, 0..90 */
    RGN_PERSON_S persons[VCA_RGN_PERSON_MAX];
    int32_t peopleCnt[VCA_RGN_NUM]; /* listed people inside region 0..3 */
    uint32_t zero;
};
VCA_CHECK_SIZE(RGN_MSG_S, 8672);
VCA_CHECK_OFFSET(RGN_MSG_S, num, 8);
VCA_CHECK_OFFSET(RGN_MSG_S, persons, 12);
VCA_CHECK_OFFSET(RGN_MSG_S, peopleCnt, 8652);
VCA_CHECK_OFFSET(RGN_MSG_S, zero, 8668);

VCA_EXTERN_C_BEGIN

/* Whether a track takes part in region counting this frame: missing for at most 4 frames and more
 * than 10 pixels wide and high. */
VCA_API bool vca_check_obj_event_rgn_update(TRACKER_RSLT_S* trk);

/* Keeps every track's inRgn and stayTime. Returns 0. */
VCA_API int vca_event_counting_region_stay_proc(std::vector<TRACKER_RSLT_S>& tracks);

/* Sends message 6070 while anybody takes part, and once more, empty, when the last one has gone.
 * Returns 0. */
VCA_API int vca_event_counting_refresh_rgn_result(std::vector<TRACKER_RSLT_S>& tracks);

VCA_EXTERN_C_END

#endif
