/* Line counting: geometry, crossings, groups, U-turns and results. C++ only; the messages and the
 * meaning of the directions are in messages.h, usable from C as well. */
#ifndef VCA_EVENT_H
#define VCA_EVENT_H

#include "vca/track.h"

/* One counted crossing of one person, queued until the end of the frame pass; the library writes
 * it. */
struct DEV_COUNTING_RSLT_S {
    int32_t frame; /* the track's updSeq, 0..9999 */
    int32_t id;    /* the track's trackId */
    DET_OBJ_S obj; /* the track's position box */
    float height;  /* the track's height, mm */
    float speed;   /* the track's speed, pixels per frame */
    int32_t line;  /* counting line, 0..3 */
    int32_t cross; /* VCA_DIR_1 or VCA_DIR_2 */
};
VCA_CHECK_SIZE(DEV_COUNTING_RSLT_S, 88);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, frame, 0);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, id, 4);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, obj, 8);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, height, 72);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, speed, 76);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, line, 80);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, cross, 84);

/* The direction in which a group walks (DEV_COUNTING_GROUP_S.event). */
typedef enum VCA_GROUP_DIR_E {
    VCA_GROUP_DIR_1 = 3, /* VCA_DIR_1 */
    VCA_GROUP_DIR_2 = 4  /* VCA_DIR_2 */
} VCA_GROUP_DIR_E;

/* People crossing a line together; the library writes it. */
struct DEV_COUNTING_GROUP_S {
    int32_t id;                     /* running number from 0 */
    uint8_t counted;                /* 1 once reported */
    int32_t err;                    /* frames since a member last joined */
    int32_t errMax;                 /* frames of silence after which the group closes, 10..80 */
    int32_t line;                   /* counting line, 0..3 */
    int32_t event;                  /* VCA_GROUP_DIR_E */
    float speed;                    /* mean speed of the members, pixels per frame */
    std::vector<DET_OBJ_S> members; /* their position boxes in joining order */
};

VCA_EXTERN_C_BEGIN

/* Whether two segments meet. Crossing in their interiors counts as meeting, as does an end point of
 * b on a; an end point of a on b does not. */
VCA_API bool doLinesIntersect(LINE_SEG_S a, LINE_SEG_S b);

/* Distance in pixels from p to the infinite line through a and b, using a foot point truncated to
 * whole pixels; the distance to a when a and b coincide. */
VCA_API float point_to_line_min_dis(POINT_POS_S p, POINT_POS_S a, POINT_POS_S b);

/* Updates the crossing state of one track on one segment of one line for this frame. Returns 0. */
VCA_API int vca_line_check_crossing_state(TRACKER_RSLT_S* trk, int line, int seg);

/* Queues a counted crossing and joins the person to a group. Returns 0. */
VCA_API int vca_dev_add_counting_line_group(TRACKER_RSLT_S* trk, int line, int cross);

/* The queue of counted crossings and the open groups; never null; read it between frame passes
 * only. */
VCA_API const std::vector<DEV_COUNTING_RSLT_S>* vca_dev_get_counting_results(void);
VCA_API const std::vector<DEV_COUNTING_GROUP_S>* vca_dev_get_counting_groups(void);

/* Whether a track takes part in line counting this frame. */
VCA_API bool vca_check_obj_event_line_update(TRACKER_RSLT_S* trk);

/* Decides on the tallied crossings of a track that leaves a line's U-turn area or ends. Returns
 * 0. */
VCA_API int vca_rgn_uturn_check_obj_line_cross(TRACKER_RSLT_S* trk, int line);

/* The line stage of a frame pass over all tracks, lines and segments. Returns 0. */
VCA_API int vca_event_counting_line_uturn_proc(std::vector<TRACKER_RSLT_S>& tracks);

/* Sends the queued crossings (message 6045), ages the groups and sends the closed ones (6080).
 * Returns 0. */
VCA_API int vca_event_counting_refresh_line_result(void);

VCA_EXTERN_C_END

#endif
