/* Counting regions: who is inside and for how long, and the report to the host. C++ only; the
 * message is in messages.h, usable from C as well. */
#ifndef VCA_REGION_H
#define VCA_REGION_H

#include "vca/track.h"

VCA_EXTERN_C_BEGIN

/* Whether a track takes part in region counting this frame: missing for at most 4 frames and more
 * than 10 pixels wide and high. */
VCA_API bool vca_check_obj_event_rgn_update(TRACKER_RSLT_S* trk);

/* Updates every track's inRgn and stayTime. Returns 0. */
VCA_API int vca_event_counting_region_stay_proc(std::vector<TRACKER_RSLT_S>& tracks);

/* Sends message 6070 while anybody takes part, and once more, empty, when the last one is gone.
 * Returns 0. */
VCA_API int vca_event_counting_refresh_rgn_result(std::vector<TRACKER_RSLT_S>& tracks);

VCA_EXTERN_C_END

#endif
