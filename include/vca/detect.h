/* Detection records, box geometry, interpolation helpers, non-maximum suppression and the merge of
 * colour and depth detections.
 *
 * All coordinates are whole pixels of the analysed image, 960 x 544, origin at the top left, x to
 * the right, y down. A box covers the columns x .. x + w - 1 and the rows y .. y + h - 1; its
 * centre is (x + w / 2, y + h / 2) with halves that truncate toward zero. Arithmetic on i32 wraps;
 * conversions from float truncate toward zero, saturate at the ends of i32 and turn NaN into 0. */
#ifndef VCA_DETECT_H
#define VCA_DETECT_H

#include "vca/image.h"

VCA_EXTERN_C_BEGIN

/* Capacity of every detection list. */
#define VCA_DET_MAX 128

/* What was detected (class_id); other values are defined by the detector. */
typedef enum VCA_CLASS_E {
    VCA_CLASS_PERSON = 1,
    VCA_CLASS_SMALL = 2 /* small target: heights of 10 to 1500 mm */
} VCA_CLASS_E;

/* Genders, as attribute models report them and messages carry them. */
typedef enum VCA_GENDER_E {
    VCA_GENDER_UNKNOWN = 0,
    VCA_GENDER_MALE = 1,
    VCA_GENDER_FEMALE = 2
} VCA_GENDER_E;

/* A point in pixels. */
typedef struct POINT_POS_S {
    int32_t x; /* column */
    int32_t y; /* row */
} POINT_POS_S;

VCA_CHECK_SIZE(POINT_POS_S, 8);
VCA_CHECK_OFFSET(POINT_POS_S, x, 0);
VCA_CHECK_OFFSET(POINT_POS_S, y, 4);

/* One detected box; always copied whole. The detector writes it, except where noted. */
typedef struct DET_OBJ_S {
    uint32_t reserved0;    /* not read on detections; a slave's track id on a master's candidates */
    uint32_t aux0;         /* copied unchanged into a track's box; on a master's merged objects,
                              the device: 0 the master, 1..15 its slaves */
    uint32_t reserved1;    /* not read on detections; the frame number on a master's candidates */
    int32_t x;             /* left column, pixels */
    int32_t y;             /* top row, pixels */
    int32_t w;             /* width, pixels */
    int32_t h;             /* height, pixels */
    int32_t area;          /* w * h in square pixels, updated by any code that resizes the box */
    uint8_t class_id;      /* VCA_CLASS_E, or another value defined by the detector */
    uint8_t pad[3];        /* padding */
    float score;           /* confidence 0..1 */
    uint32_t reserved2[2]; /* not read */
    int32_t gender;        /* VCA_GENDER_E; on a track's box, the library's decision */
    float height;       /* height of the person, mm; on a track's box, as measured by the library */
    int32_t staff;      /* 1 for a member of staff; on a track's box, the library's decision */
    uint32_t reserved3; /* not read on detections; nonzero on a master's merged candidates */
} DET_OBJ_S;

VCA_CHECK_SIZE(DET_OBJ_S, 64);
VCA_CHECK_OFFSET(DET_OBJ_S, reserved0, 0);
VCA_CHECK_OFFSET(DET_OBJ_S, aux0, 4);
VCA_CHECK_OFFSET(DET_OBJ_S, reserved1, 8);
VCA_CHECK_OFFSET(DET_OBJ_S, x, 12);
VCA_CHECK_OFFSET(DET_OBJ_S, y, 16);
VCA_CHECK_OFFSET(DET_OBJ_S, w, 20);
VCA_CHECK_OFFSET(DET_OBJ_S, h, 24);
VCA_CHECK_OFFSET(DET_OBJ_S, area, 28);
VCA_CHECK_OFFSET(DET_OBJ_S, class_id, 32);
VCA_CHECK_OFFSET(DET_OBJ_S, score, 36);
VCA_CHECK_OFFSET(DET_OBJ_S, reserved2, 40);
VCA_CHECK_OFFSET(DET_OBJ_S, gender, 48);
VCA_CHECK_OFFSET(DET_OBJ_S, height, 52);
VCA_CHECK_OFFSET(DET_OBJ_S, staff, 56);
VCA_CHECK_OFFSET(DET_OBJ_S, reserved3, 60);

/* A list of detections; the host's detector writes it. */
typedef struct DET_OBJECTS_S {
    int32_t reserved;                /* not read */
    int32_t num;                     /* valid entries of objs; clamped to 0..128 before use */
    DET_OBJ_S raw_objs[VCA_DET_MAX]; /* the detector's unrefined box of the same index */
    DET_OBJ_S objs[VCA_DET_MAX];     /* the boxes; objs[0..num-1] are valid */
} DET_OBJECTS_S;

VCA_CHECK_SIZE(DET_OBJECTS_S, 16392);
VCA_CHECK_OFFSET(DET_OBJECTS_S, num, 4);
VCA_CHECK_OFFSET(DET_OBJECTS_S, raw_objs, 8);
VCA_CHECK_OFFSET(DET_OBJECTS_S, objs, 8200);

/* Result record of the host's inference. */
typedef struct VCA_NN_RESULT_S {
    uint8_t header[32];    /* the host's, not interpreted */
    DET_OBJECTS_S objects; /* the boxes found, written by the host */
} VCA_NN_RESULT_S;

VCA_CHECK_SIZE(VCA_NN_RESULT_S, 16424);
VCA_CHECK_OFFSET(VCA_NN_RESULT_S, objects, 32);

/* Intersection over union of two boxes, 0..1. The areas are recomputed from w and h. Two empty
 * boxes that do not meet give NaN, which compares as no overlap. */
VCA_API float vca_rgn_calc_IoU(const DET_OBJ_S* a, const DET_OBJ_S* b);

/* Euclidean distance in pixels, truncated. */
VCA_API int32_t vca_calc_point_pos_dis(const POINT_POS_S* p, const POINT_POS_S* q);

/* Squared Euclidean distance in square pixels. */
VCA_API int32_t vca_calc_point_pos_dis_square(const POINT_POS_S* p, const POINT_POS_S* q);

/* Distance between the centres of two boxes in pixels, truncated. */
VCA_API int32_t vca_calc_bbox_center_dis(const DET_OBJ_S* a, const DET_OBJ_S* b);

/* Turns the box into a square of `size` pixels around the same centre and sets its area. */
VCA_API void dev_bbox_adjust_rect(DET_OBJ_S* box, int32_t size);

/* Position of the installation height between 2 m (0) and 6 m (1), clamped to 0..1. */
VCA_API float dev_calc_install_height_ratio(void);

/* Side in pixels of the square foot box used for events: 90 at 2 m down to 40 at 6 m. */
VCA_API int32_t dev_foot_get_event_size(void);

/* Linear interpolation from lo (t = 0) to hi (t = 1), rounded, t clamped to 0..1; lo > hi is
 * allowed. */
VCA_API int32_t av_calc_val(int32_t lo, int32_t hi, float t);

/* Interpolation from a (t = 0) through b (t = 0.5) to c (t = 1), truncated; t is not clamped. */
VCA_API int32_t av_calc_set_val(int32_t a, int32_t b, int32_t c, float t);

/* qsort comparator over DET_OBJ_S by descending score; equal scores and NaN compare equal. */
VCA_API int score_cmp(const void* a, const void* b);

/* Greedy non-maximum suppression. Sorts in->objs by descending score in place, copies the kept
 * boxes to out->objs and their number to out->num, and returns that number. A box is dropped when
 * its IoU with a better kept box is at least `iou_thresh`. When the 128th box is kept the call
 * warns on standard output and returns 128 at once without writing out->num. */
VCA_API int32_t vca_nms_proc(DET_OBJECTS_S* in, float iou_thresh, DET_OBJECTS_S* out);

/* Joins the colour and depth detections of a frame into `out` (num and objs only): all colour boxes
 * and the depth boxes that no colour box covers and that stay 20 pixels clear of the border, except
 * those in exclusion regions and, up to an installation height of 4800 mm, those under 25 pixels.
 * Sends message 6086 when detection display is configured. Always returns 0. */
VCA_API int vca_obj_merge_real_depth_rslt(const DET_OBJECTS_S* real, const DET_OBJECTS_S* depth,
                                          DET_OBJECTS_S* out);

VCA_EXTERN_C_END

#endif
