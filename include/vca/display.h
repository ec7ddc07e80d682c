/* Snapshots of the tracks for the host's live picture. C++ only. */
#ifndef VCA_DISPLAY_H
#define VCA_DISPLAY_H

#include "vca/track.h"

#define VCA_SHOW_MAX 90
#define VCA_SHOW_TRAIL_MAX 30

/* One track of a snapshot. */
struct SHOW_OBJ_S {
    uint32_t trackId;
    int32_t x; /* box, colour-image pixels */
    int32_t y;
    int32_t w;
    int32_t h;
    uint8_t class_id; /* 1 person */
    uint8_t zero0;
    uint16_t trailNum; /* points of trail, 0..30 */
    POINT_POS_S trail[VCA_SHOW_TRAIL_MAX];
    uint32_t height;    /* mm */
    int32_t gender;     /* 0 unknown, 1 male, 2 female */
    int32_t staff;      /* 1 for a member of staff */
    uint16_t crossDist; /* twice the pixels past a counting line before a crossing counts */
    uint8_t zero1[22];
};
VCA_CHECK_SIZE(SHOW_OBJ_S, 300);
VCA_CHECK_OFFSET(SHOW_OBJ_S, x, 4);
VCA_CHECK_OFFSET(SHOW_OBJ_S, class_id, 20);
VCA_CHECK_OFFSET(SHOW_OBJ_S, trailNum, 22);
VCA_CHECK_OFFSET(SHOW_OBJ_S, trail, 24);
VCA_CHECK_OFFSET(SHOW_OBJ_S, height, 264);
VCA_CHECK_OFFSET(SHOW_OBJ_S, gender, 268);
VCA_CHECK_OFFSET(SHOW_OBJ_S, staff, 272);
VCA_CHECK_OFFSET(SHOW_OBJ_S, crossDist, 276);
VCA_CHECK_OFFSET(SHOW_OBJ_S, zero1, 278);

/* Messages 6069 and 6090: the tracks of one frame. */
struct SHOW_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp */
    uint32_t zero;
    int32_t num; /* entries of objs, 0..90 */
    SHOW_OBJ_S objs[VCA_SHOW_MAX];
};
VCA_CHECK_SIZE(SHOW_MSG_S, 27016);
VCA_CHECK_OFFSET(SHOW_MSG_S, zero, 8);
VCA_CHECK_OFFSET(SHOW_MSG_S, num, 12);
VCA_CHECK_OFFSET(SHOW_MSG_S, objs, 16);

VCA_EXTERN_C_BEGIN

/* Whether a track is shown: missing for at most 4 frames and more than 10 pixels wide and high. */
VCA_API bool vca_check_obj_show_update(TRACKER_RSLT_S* trk);

/* Sends message 6069 with the smoothed trails, newest point first. Nothing is sent before a track
 * was shown for the first time; from then on every call sends. Returns 0. */
VCA_API int vca_local_dev_sync_tracking_info_show(std::vector<TRACKER_RSLT_S>& tracks);

/* The same as message 6090 with the trails of box centres, newest point first. Returns 0. */
VCA_API int vca_local_dev_sync_detect_obj_show(std::vector<TRACKER_RSLT_S>& tracks);

VCA_EXTERN_C_END

#endif
