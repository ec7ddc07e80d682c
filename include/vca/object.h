/* Updating one track from its detection: height, attributes, head and foot boxes, static false
 * detections. C++ only. */
#ifndef VCA_OBJECT_H
#define VCA_OBJECT_H

#include "vca/track.h"

VCA_EXTERN_C_BEGIN

/* Updates a track from the detection named by its tracker record. `cascadePass` marks a master's
 * pass over merged objects, whose height and attributes were measured elsewhere. A record whose
 * det_idx is outside the list is ignored. */
VCA_API void vca_set_track_obj_info(TRACKER_RSLT_S* trk, const IOU_TRK_OBJ_S* rec,
                                    const DET_OBJECTS_S* dets, bool cascadePass);

/* Measures height and attributes of a track's current box and derives head box, foot point and foot
 * box; `objectCount` is the number of detections of the frame. */
VCA_API void vca_check_person_info_local(TRACKER_RSLT_S* trk, int32_t objectCount);

/* Static false detection and motion; `prevPos` is the position box before this update. */
VCA_API void vca_dev_obj_chk_static_false_det(TRACKER_RSLT_S* trk, const DET_OBJ_S* prevPos);

/* The box used as the track's position: curObj or, on a stand-alone device, headBox or footBox as
 * StandAloneTrkMd selects. Points into the record. */
VCA_API DET_OBJ_S* vca_trk_obj_get_position_box(TRACKER_RSLT_S* trk);

/* Uncompensated height in mm of the track's current box over the floor, also kept in rawHeight.
 * `depth` is the depth working image. */
VCA_API float dev_calc_obj_height(TRACKER_RSLT_S* trk, const uint16_t* depth);

/* Correction in mm for high installations: 0 below 3.9 m, then -40 rising to 210 at 6 m. */
VCA_API int32_t dev_obj_height_compen_by_install(void);

/* Adds one height sample (mm) to the track's history and updates the track's height to the trimmed
 * mean, clamped to the range of its class. The number of samples a history keeps is common to all
 * tracks, from 12 in an empty scene down to 8 at 30 people, according to the frame last passed to
 * vca_check_person_info_local. */
VCA_API void vca_dev_deal_obj_height(TRACKER_RSLT_S* trk, float sample);

/* Updates the flag that marks heights outside the configured target range. */
VCA_API void dev_obj_height_chk_exceed(TRACKER_RSLT_S* trk);

/* Samples and decides a track's gender and staff flag from the crop that the host's models judge.
 * `realImage` is the frame's colour image, whose size bounds the crop; `objectCount` is the number
 * of detections of the frame, which slows the sampling of a busy scene. */
VCA_API void vca_obj_deal_human_attr(TRACKER_RSLT_S* trk, const VCA_IMAGE_S* realImage,
                                     int32_t objectCount);

/* Votes over the samples of a track; does nothing if there are none. */
VCA_API void vca_obj_update_human_attr(TRACKER_RSLT_S* trk);

/* Prints the newest sample of a track and the decision while the attribute switch is on. */
VCA_API void vca_obj_print_attr_info(const TRACKER_RSLT_S* trk, const HUMAN_ATTR_S* sample);

VCA_EXTERN_C_END

#endif
