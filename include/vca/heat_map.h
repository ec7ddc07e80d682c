/* Heat maps: how long people stayed and how often they moved at each cell of a 240 x 135 grid over
 * the device's area. C++ only; the message is in messages.h, usable from C as well. */
#ifndef VCA_HEAT_MAP_H
#define VCA_HEAT_MAP_H

#include "vca/track.h"

/* A pair of heat maps, row-major, written by the library. */
struct HEAT_MAP_S {
    int32_t dwell[VCA_HEAT_ROWS][VCA_HEAT_COLS];  /* milliseconds that people stood in the cell */
    int32_t motion[VCA_HEAT_ROWS][VCA_HEAT_COLS]; /* passages through the cell */
};
VCA_CHECK_SIZE(HEAT_MAP_S, 259200);
VCA_CHECK_OFFSET(HEAT_MAP_S, motion, 129600);

VCA_EXTERN_C_BEGIN

/* Whether a track adds to the heat maps this frame: updated in this frame, older than one update
 * and more than 10 pixels wide and high. */
VCA_API bool vca_check_obj_event_heatmap_update(TRACKER_RSLT_S* trk);

/* Adds the dwell or motion of every track to its own grids. Returns 0. */
VCA_API int vca_event_heat_map_dwell_and_motion(std::vector<TRACKER_RSLT_S>& tracks);

/* Moves a track's grids into the total; those of a static false detection or of a person outside
 * the target heights are dropped. Returns 0. */
VCA_API int vca_trker_heat_map_update_result(TRACKER_RSLT_S* trk);

/* Moves the grids of every track into the total on each 120th of its updates. Returns 0. */
VCA_API int vca_event_heat_map_refresh_total_result(std::vector<TRACKER_RSLT_S>& tracks);

/* The total; never null, owned by the library; read it between frame passes only. */
VCA_API const HEAT_MAP_S* vca_dev_get_heat_map_rslt(void);

/* Sets the total to zero. */
VCA_API void vca_dev_reset_heat_map_rslt(void);

/* Handler of message 6082: sets the total to zero; the payload is not read. */
VCA_API void vca_heat_map_reset_rslt(int channel, void* payload);

/* Handler of message 6081: replies with the 24 bytes of the request followed by the total (message
 * 6081) and sets the total to zero. */
VCA_API void vca_heat_map_update_rslt(int channel, void* payload);

VCA_EXTERN_C_END

#endif
