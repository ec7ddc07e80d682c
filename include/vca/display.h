/* Snapshots of the tracks for the host's live picture. C++ only; the messages are in messages.h,
 * usable from C as well. */
#ifndef VCA_DISPLAY_H
#define VCA_DISPLAY_H

#include "vca/track.h"

VCA_EXTERN_C_BEGIN

/* Whether a track is shown: missing for at most 4 frames and more than 10 pixels wide and high. */
VCA_API bool vca_check_obj_show_update(TRACKER_RSLT_S* trk);

/* Sends message 6069 with the smoothed trails, newest point first. Nothing is sent until a track
 * has been shown for the first time; from then on every call sends. Returns 0. */
VCA_API int vca_local_dev_sync_tracking_info_show(std::vector<TRACKER_RSLT_S>& tracks);

/* The same for message 6090, with the trails of box centres, newest point first. Returns 0. */
VCA_API int vca_local_dev_sync_detect_obj_show(std::vector<TRACKER_RSLT_S>& tracks);

VCA_EXTERN_C_END

#endif
