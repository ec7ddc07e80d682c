/* Several devices that count as one: what slaves send to their master, the shared frame counter,
 * and how the master merges the people of all devices. C++ only; the messages are in messages.h,
 * usable from C as well. */
#ifndef VCA_CASCADE_H
#define VCA_CASCADE_H

#include "vca/track.h"

VCA_EXTERN_C_BEGIN

/* Whether a track is current enough to be sent to the master or merged: the less it has moved
 * lately, the longer it may be missing. */
VCA_API bool vca_check_obj_cscd_tracking_update(TRACKER_RSLT_S* trk);

/* Sends the tracks to the master (message 6085), and one empty message once the last of them is
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
