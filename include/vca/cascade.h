/* Several devices that count as one: what slaves send to their master, the common frame counter,
 * and the master's merge of everybody's people. C++ only. */
#ifndef VCA_CASCADE_H
#define VCA_CASCADE_H

#include "vca/track.h"

#define VCA_SLAVE_MAX 15
#define VCA_SLAVE_TRACK_MAX 90

/* One person as a slave sends it; coordinates are the slave's image pixels, or what the host maps
 * them to. */
struct SLAVE_TRACK_S {
    uint32_t reserved0;
    uint32_t track_id;
    uint32_t reserved1;
    uint8_t class_id;
    uint8_t pad[3];
    float score;
    int32_t gender; /* 0 unknown, 1 male, 2 female */
    float height;   /* mm */
    int32_t staff;  /* 1 for a member of staff */
    int32_t cx;     /* centre of the box */
    int32_t cy;
    int32_t foot_x; /* where the person stands */
    int32_t foot_y;
    uint32_t reserved2[5];
};
VCA_CHECK_SIZE(SLAVE_TRACK_S, 68);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, track_id, 4);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, class_id, 12);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, score, 16);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, gender, 20);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, height, 24);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, staff, 28);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, cx, 32);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, cy, 36);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, foot_x, 40);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, foot_y, 44);
VCA_CHECK_OFFSET(SLAVE_TRACK_S, reserved2, 48);

/* Message 6085 as a slave sends it. */
struct SLAVE_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp; not read by the master */
    uint32_t frame;         /* frame number of the last person, on the master's clock */
    int32_t count;          /* entries of tracks, 0..90; brought into range before use */
    SLAVE_TRACK_S tracks[VCA_SLAVE_TRACK_MAX];
};
VCA_CHECK_SIZE(SLAVE_MSG_S, 6136);
VCA_CHECK_OFFSET(SLAVE_MSG_S, frame, 8);
VCA_CHECK_OFFSET(SLAVE_MSG_S, count, 12);
VCA_CHECK_OFFSET(SLAVE_MSG_S, tracks, 16);

/* Message 6085 as it is delivered to the master: the host adds who sent it. */
struct MASTER_MSG_S {
    uint32_t slave_idx; /* 0..14 */
    uint32_t reserved;
    SLAVE_MSG_S msg;
};
VCA_CHECK_SIZE(MASTER_MSG_S, 6144);
VCA_CHECK_OFFSET(MASTER_MSG_S, msg, 8);

VCA_EXTERN_C_BEGIN

/* Whether a track is current enough to be sent to the master or merged: the less it moved lately,
 * the longer it may be missing. */
VCA_API bool vca_check_obj_cscd_tracking_update(TRACKER_RSLT_S* trk);

/* Sends the tracks to the master (message 6085), and one empty message after the last of them has
 * gone. Returns 0. */
VCA_API int dev_cascade_slave_send_track_to_master(std::vector<TRACKER_RSLT_S>& tracks);

/* Handler of message 6085 (MASTER_MSG_S): keeps a slave's newest message. */
VCA_API void dev_cscd_master_recive_slave_track(int channel, void* payload);

/* Handler of message 6084: answers with the feed frame counter (message 6083). */
VCA_API void dev_cscd_master_send_frm_cnt_to_slave(int channel, void* payload);

/* Handler of message 6083: a slave takes over the master's feed frame counter. */
VCA_API void dev_cscd_slave_recive_master_frm_cnt(int channel, void* payload);

/* Merges the master's own tracks and the newest message of every slave into `result`: objects of
 * different devices whose feet stand on the same spot become one. objs are squares around the foot
 * points, raw_objs squares around the box centres. Returns 0. */
VCA_API int dev_cascade_local_master_merge_slave_obj(VCA_NN_RESULT_S* result,
                                                     std::vector<TRACKER_RSLT_S>& tracks);

VCA_EXTERN_C_END

#endif
