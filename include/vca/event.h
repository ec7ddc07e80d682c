/* Line counting: geometry, crossings, groups, U-turns and results. C++ only.
 *
 * Seen along a segment from start to end in the image, direction 1 ends on the left-hand side of a
 * walker on the picture (orientation above 0), direction 2 on the right-hand side; Flip swaps them:
 *
 *        direction 1
 *      start ---^----> end
 *               |
 */
#ifndef VCA_EVENT_H
#define VCA_EVENT_H

#include "vca/track.h"

/* One counted crossing of one person, queued until the end of the frame pass. */
struct DEV_COUNTING_RSLT_S {
    int32_t frame; /* the track's updSeq */
    int32_t id;    /* the track's trackId */
    DET_OBJ_S obj; /* the track's position box */
    float height;  /* mm */
    float speed;   /* pixels per frame */
    int32_t line;  /* 0..3 */
    int32_t cross; /* direction 1 or 2 */
};
VCA_CHECK_SIZE(DEV_COUNTING_RSLT_S, 88);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, frame, 0);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, id, 4);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, obj, 8);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, height, 72);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, speed, 76);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, line, 80);
VCA_CHECK_OFFSET(DEV_COUNTING_RSLT_S, cross, 84);

/* People crossing a line together. */
struct DEV_COUNTING_GROUP_S {
    int32_t id;      /* running number */
    uint8_t counted; /* 1 once reported */
    int32_t err;     /* frames since a member last joined */
    int32_t errMax;  /* frames of silence after which the group closes */
    int32_t line;
    int32_t event;                  /* 3 for direction 1, 4 for direction 2 */
    float speed;                    /* mean speed of the members */
    std::vector<DET_OBJ_S> members; /* in joining order */
};

/* Message 6045: one person counted. */
struct LINE_COUNT_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp */
    int32_t trackId;
    DET_OBJ_S obj;
    uint8_t reserved0[16];
    int32_t line;  /* 0..3 */
    int32_t cross; /* 1 or 2 */
    uint32_t reserved1;
};
VCA_CHECK_SIZE(LINE_COUNT_MSG_S, 104);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, trackId, 8);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, obj, 12);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, reserved0, 76);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, line, 92);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, cross, 96);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, reserved1, 100);

/* Message 6080: one group counted. */
struct GROUP_COUNT_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp */
    int32_t members;
    int32_t line;
    int32_t cross; /* 1 or 2, 0 for any other event */
    int32_t zero;
};
VCA_CHECK_SIZE(GROUP_COUNT_MSG_S, 24);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, members, 8);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, line, 12);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, cross, 16);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, zero, 20);

VCA_EXTERN_C_BEGIN

/* Whether two segments meet. Segments that cross in their interiors do; an end point of b on a
 * does; an end point of a on b does not. */
VCA_API bool doLinesIntersect(LINE_SEG_S a, LINE_SEG_S b);

/* Distance in pixels from p to the infinite line through a and b, by way of a foot point truncated
 * to whole pixels; the distance to a when a and b coincide. */
VCA_API float point_to_line_min_dis(POINT_POS_S p, POINT_POS_S a, POINT_POS_S b);

/* Settles one track on one segment of one line for this frame. Returns 0. */
VCA_API int vca_line_check_crossing_state(TRACKER_RSLT_S* trk, int line, int seg);

/* Queues a counted crossing and joins the person to a group. Returns 0. */
VCA_API int vca_dev_add_counting_line_group(TRACKER_RSLT_S* trk, int line, int cross);

/* The queue of counted crossings and the open groups; never null, to be read between frame
 * passes. */
VCA_API const std::vector<DEV_COUNTING_RSLT_S>* vca_dev_get_counting_results(void);
VCA_API const std::vector<DEV_COUNTING_GROUP_S>* vca_dev_get_counting_groups(void);

/* Whether a track takes part in line counting this frame. */
VCA_API bool vca_check_obj_event_line_update(TRACKER_RSLT_S* trk);

/* Decides the tallied crossings of a track that leaves a line's U-turn area or ends. Returns 0. */
VCA_API int vca_rgn_uturn_check_obj_line_cross(TRACKER_RSLT_S* trk, int line);

/* The line stage of a frame pass over all tracks, lines and segments. Returns 0. */
VCA_API int vca_event_counting_line_uturn_proc(std::vector<TRACKER_RSLT_S>& tracks);

/* Sends the queued crossings (message 6045), ages the groups and sends the closed ones (6080).
 * Returns 0. */
VCA_API int vca_event_counting_refresh_line_result(void);

VCA_EXTERN_C_END

#endif
