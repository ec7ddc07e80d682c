/* The learnt floor map, the measured installation height and the distance of a rectangle.
 *
 * Depth images are u16 millimetres, row-major, without padding; 0 to 3 are missing measurements.
 * The depth working image has the size img_size[VCA_SIZE_DEPTH], 480 x 256. */
#ifndef VCA_DEPTH_H
#define VCA_DEPTH_H

#include "vca/base.h"

VCA_EXTERN_C_BEGIN

#define VCA_DEPTH_GRID 8

/* Maximum number of samples used for the distance of a rectangle. */
#define VCA_DEPTH_SAMPLE_MAX 14400

/* The floor map: 8 x 8 cells over the depth image, indexed [row][column]. */
typedef struct VCA_DEPTH_STATE_S {
    int32_t depthMap[VCA_DEPTH_GRID][VCA_DEPTH_GRID]; /* learnt floor distance, mm; 0 after reset */
    uint8_t depthValid[VCA_DEPTH_GRID][VCA_DEPTH_GRID]; /* 1 once the floor was seen in the cell */
    int32_t depthCur[VCA_DEPTH_GRID][VCA_DEPTH_GRID];   /* last measurement, mm, for diagnostics */
    int32_t depthCallCnt;                               /* calls of vca_update_depth_map */
    int32_t depthUpdCnt;                                /* updates performed, one in six calls */
    int32_t depthRowPhase;                              /* advances on every fifth update */
    uint32_t depthDbgCnt;                               /* counter of the diagnostic dump */
    uint16_t depthSortBuf[VCA_DEPTH_SAMPLE_MAX];        /* scratch of depth16_calc_rgn_distance */
} VCA_DEPTH_STATE_S;

/* The depth state; never null, valid for the life of the process, written by the library only. */
VCA_API const VCA_DEPTH_STATE_S* vca_depth_get_state(void);

/* Resets the floor map. Returns 0. */
VCA_API int vca_depth_algo_init(void);

/* Counterpart of vca_depth_algo_init; has nothing to release. Returns 0. */
VCA_API int vca_depth_algo_uninit(void);

/* Forgets the learnt floor; the counters stay. Returns 0. */
VCA_API int dev_depth_map_reset(void);

/* Learns the floor from one raw depth frame; works on every sixth call. Returns 0. */
VCA_API int vca_update_depth_map(const uint16_t* depth);

/* Floor distance under the image centre in millimetres, the mean of 30 x 20 pixels, biased towards
 * 3000 by 3000 / n for n valid pixels; the largest i32 when none is valid. */
VCA_API int32_t depth_calc_install_height_by_raw_dist16(const uint16_t* depth, int width,
                                                        int height);

/* Distance in millimetres to the nearest surface in columns x0 .. x1 - 1 and rows y0 .. y1 - 1 of
 * the depth working image, rounded to two decimals. `mapMode` skips the 100 nearest samples and
 * averages 20; otherwise few are skipped and depth exclusion regions are left out. 1600.0 for an
 * invalid rectangle (one log line); the installation height when nothing plausible was measured. */
VCA_API float depth16_calc_rgn_distance(const uint16_t* depth, int x0, int y0, int x1, int y1,
                                        bool mapMode);

VCA_EXTERN_C_END

#endif
