/* The configuration message, the configuration record that every stage reads, device state and
 * polygon masks. */
#ifndef VCA_CONFIG_H
#define VCA_CONFIG_H

#include "vca/detect.h"

VCA_EXTERN_C_BEGIN

/* Marks an unused coordinate; a coordinate is valid when it is at least VCA_COORD_MIN. */
#define VCA_COORD_NONE (-15360)
#define VCA_COORD_MIN (-15359)

#define VCA_LINE_NUM 4     /* counting lines */
#define VCA_LINE_PT_NUM 5  /* points of a line */
#define VCA_SEG_NUM 4      /* segments of a line */
#define VCA_RGN_NUM 4      /* counting regions */
#define VCA_EXCL_NUM 4     /* exclusion regions */
#define VCA_POLY_PT_NUM 10 /* points of a polygon */
#define VCA_MASK_ROWS 181
#define VCA_MASK_COLS 320

/* ---- Payload of message 6078 (host to library), 1916 bytes, little-endian. Flags are 0 or 1. ----
 */

typedef struct POINT12 {
    uint8_t en; /* point used */
    uint8_t pad[3];
    int32_t x;
    int32_t y;
} POINT12;

VCA_CHECK_SIZE(POINT12, 12);
VCA_CHECK_OFFSET(POINT12, en, 0);
VCA_CHECK_OFFSET(POINT12, x, 4);
VCA_CHECK_OFFSET(POINT12, y, 8);

typedef struct VCA_CFG_LINE_S {
    uint8_t LineEn; /* has no lasting effect: two valid points enable a line */
    uint8_t pad0[3];
    POINT12 pt[VCA_LINE_PT_NUM]; /* the polyline, colour-image pixels */
    uint8_t UturnEn;             /* filter people who turn back on this line */
    uint8_t pad1[3];
    POINT12 uturn_pt[VCA_POLY_PT_NUM]; /* area around the line; none: the whole image */
    uint8_t Flip;                      /* swap directions 1 and 2 */
    uint8_t pad2[3];
} VCA_CFG_LINE_S;

VCA_CHECK_SIZE(VCA_CFG_LINE_S, 192);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, pt, 4);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, UturnEn, 64);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, uturn_pt, 68);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, Flip, 188);

typedef struct VCA_CFG_RGN_S {
    uint8_t used; /* the points are meant */
    uint8_t en_a; /* region enabled when en_a or en_b is set */
    uint8_t pad0[6];
    uint8_t en_b;
    uint8_t pad1[7];
    POINT12 pt[VCA_POLY_PT_NUM];
} VCA_CFG_RGN_S;

VCA_CHECK_SIZE(VCA_CFG_RGN_S, 136);
VCA_CHECK_OFFSET(VCA_CFG_RGN_S, en_a, 1);
VCA_CHECK_OFFSET(VCA_CFG_RGN_S, en_b, 8);
VCA_CHECK_OFFSET(VCA_CFG_RGN_S, pt, 16);

typedef struct VCA_CFG_EXCL_S {
    uint32_t reserved;
    uint32_t type; /* 0 drops detections inside, 1 leaves depth pixels inside out of heights */
    POINT12 pt[VCA_POLY_PT_NUM];
} VCA_CFG_EXCL_S;

VCA_CHECK_SIZE(VCA_CFG_EXCL_S, 128);
VCA_CHECK_OFFSET(VCA_CFG_EXCL_S, type, 4);
VCA_CHECK_OFFSET(VCA_CFG_EXCL_S, pt, 8);

typedef struct VCA_ALGO_CFG_S {
    int32_t devWorkMode;   /* 0 stand-alone, 1 cascade master, 2 cascade slave */
    int32_t InstallHeight; /* camera over the floor, mm; a change resets the floor map */
    uint8_t AcceleroEn;
    uint8_t pad0[3];
    int32_t TargetHeightMax; /* mm; people outside the range are not counted */
    int32_t TargetHeightMin; /* mm */
    uint8_t ChildDistinction;
    uint8_t pad1[3];
    int32_t ChildHeightThresh; /* mm */
    int32_t StandAloneTrk;     /* nonzero: count by the foot point on a stand-alone device */
    uint8_t GenderRecognize;
    uint8_t pad2[3];
    uint8_t StaffDetection;
    uint8_t pad8[3];
    int32_t StaffDetectSens;
    uint8_t GroupEn; /* group counting */
    uint8_t pad3[3];
    int32_t GroupObjNumMax;
    int32_t GroupObjNumMin;
    uint8_t HtmpEn; /* heat map */
    uint8_t pad4[3];
    VCA_CFG_LINE_S line[VCA_LINE_NUM];
    uint8_t RgnEn; /* region counting */
    uint8_t pad5[3];
    VCA_CFG_RGN_S rgn[VCA_RGN_NUM];
    int32_t
        cscdMapSize[4];    /* x, y, width, height of the device's area; region and U-turn polygons
                              and track boxes are in its coordinates. Stand-alone: 0, 0, 960, 544 */
    uint8_t ShowDetectBox; /* send message 6086 */
    uint8_t ExclTotalEn;   /* exclusion regions on */
    uint8_t pad6[2];
    VCA_CFG_EXCL_S excl[VCA_EXCL_NUM];
    uint8_t ShowHistoryBox; /* send messages 6087 and 6088 */
    uint8_t pad7[3];
    int32_t DetectModel; /* 0 colour and depth, 1 colour only, 2 depth only; others count as 0 */
} VCA_ALGO_CFG_S;

VCA_CHECK_SIZE(VCA_ALGO_CFG_S, 1916);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, InstallHeight, 4);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, AcceleroEn, 8);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, TargetHeightMax, 12);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, TargetHeightMin, 16);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, ChildDistinction, 20);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, ChildHeightThresh, 24);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, StandAloneTrk, 28);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, GenderRecognize, 32);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, StaffDetection, 36);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, StaffDetectSens, 40);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, GroupEn, 44);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, GroupObjNumMax, 48);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, GroupObjNumMin, 52);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, HtmpEn, 56);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, line, 60);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, RgnEn, 828);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, rgn, 832);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, cscdMapSize, 1376);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, ShowDetectBox, 1392);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, ExclTotalEn, 1393);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, excl, 1396);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, ShowHistoryBox, 1908);
VCA_CHECK_OFFSET(VCA_ALGO_CFG_S, DetectModel, 1912);

/* ---- The configuration record ---- */

/* A polygon; its points are the leading valid ones, closed from the last back to the first. */
typedef struct POLYGON_S {
    uint8_t coord; /* 1 colour-image coordinates, 0 coordinates of the cascade map */
    uint8_t pad[3];
    int32_t x[VCA_POLY_PT_NUM];
    int32_t y[VCA_POLY_PT_NUM];
} POLYGON_S;

VCA_CHECK_SIZE(POLYGON_S, 84);
VCA_CHECK_OFFSET(POLYGON_S, coord, 0);
VCA_CHECK_OFFSET(POLYGON_S, x, 4);
VCA_CHECK_OFFSET(POLYGON_S, y, 44);

/* A polygon rasterised to a 320 x 181 grid over the image. */
typedef struct VCA_MASK_S {
    int32_t result;                          /* number of cells set */
    char mask[VCA_MASK_ROWS][VCA_MASK_COLS]; /* 1 inside, 0 outside */
} VCA_MASK_S;

VCA_CHECK_SIZE(VCA_MASK_S, 57924);
VCA_CHECK_OFFSET(VCA_MASK_S, result, 0);
VCA_CHECK_OFFSET(VCA_MASK_S, mask, 4);

/* A straight piece of a counting line. */
typedef struct LINE_SEG_S {
    POINT_POS_S start;
    POINT_POS_S end;
} LINE_SEG_S;

VCA_CHECK_SIZE(LINE_SEG_S, 16);
VCA_CHECK_OFFSET(LINE_SEG_S, start, 0);
VCA_CHECK_OFFSET(LINE_SEG_S, end, 8);

/* A point of a counting line as the record keeps it. */
typedef struct VCA_LINE_PT_S {
    int32_t x;
    int32_t y;
    uint8_t data[12];
} VCA_LINE_PT_S;

VCA_CHECK_SIZE(VCA_LINE_PT_S, 20);
VCA_CHECK_OFFSET(VCA_LINE_PT_S, y, 4);
VCA_CHECK_OFFSET(VCA_LINE_PT_S, data, 8);

typedef struct VCA_LINE_S {
    uint8_t Flip;
    VCA_LINE_PT_S pt[VCA_LINE_PT_NUM];
} VCA_LINE_S;

VCA_CHECK_SIZE(VCA_LINE_S, 104);
VCA_CHECK_OFFSET(VCA_LINE_S, pt, 4);

/* What the library works by; all zero before the first configuration message but for
 * InstallHeight, which is 3000. */
typedef struct VCA_DEV_CFG_S {
    int32_t DevType;        /* always 2 */
    int32_t devWorkMode;    /* 0 stand-alone, 1 cascade master, 2 cascade slave */
    int32_t srcImgWidth;    /* 960 */
    int32_t srcImgHeight;   /* 544 */
    int32_t cscdMapSize[4]; /* x, y, width, height */
    uint8_t HighInstall;    /* set by dev_set_high_install_enable before the configuration */
    int32_t InstallHeight;  /* mm */
    uint8_t AcceleroEn;
    int32_t
        StandAloneTrkMd; /* position box on a stand-alone device: 0 curObj, 1 headBox, 2 footBox */
    int32_t TargetHeightMin; /* mm */
    int32_t TargetHeightMax; /* mm */
    uint8_t UturnFilter;     /* always 1 once configured */
    uint8_t UturnEn[VCA_LINE_NUM];
    uint8_t UturnRgnEn[VCA_LINE_NUM]; /* 1 when the U-turn polygon has more than 2 valid points */
    POLYGON_S uturnRgn[VCA_LINE_NUM];
    VCA_MASK_S uturnMask[VCA_LINE_NUM];
    uint8_t LineEn[VCA_LINE_NUM]; /* 1 when the line has at least two valid points */
    VCA_LINE_S line[VCA_LINE_NUM];
    LINE_SEG_S lineSeg[VCA_LINE_NUM][VCA_SEG_NUM]; /* unused segments hold VCA_COORD_NONE */
    uint8_t GroupEn;
    int32_t GroupDistMax; /* pixels between members of a group */
    int32_t GroupObjNumMin;
    int32_t GroupObjNumMax;
    float GroupSpdTimesMax; /* 1.75: largest ratio of speeds in a group */
    uint8_t RgnEn;
    uint8_t RgnEnable[VCA_RGN_NUM];
    POLYGON_S rgn[VCA_RGN_NUM];
    VCA_MASK_S rgnMask[VCA_RGN_NUM];
    uint8_t HtmpEn;
    uint8_t CartEn;        /* always 0 */
    int32_t PersonDetMode; /* always 1 once configured */
    uint8_t GenderRecognize;
    uint8_t StaffDetection;
    int32_t StaffDetectSens;
    uint8_t ChildDistinction;
    int32_t ChildHeightThresh; /* mm */
    uint8_t ShowDetectBox;
    uint8_t ShowHistoryBox;
    uint8_t ExclTotalEn;
    uint8_t ExclEn[VCA_EXCL_NUM];
    int32_t ExclType[VCA_EXCL_NUM]; /* 1 drops detections, 0 leaves depth pixels out */
    POLYGON_S exclRgn[VCA_EXCL_NUM];
    VCA_MASK_S exclMask[VCA_EXCL_NUM];
    int32_t DetectModel; /* 0 colour and depth, 1 colour only, 2 depth only */
} VCA_DEV_CFG_S;

VCA_CHECK_SIZE(VCA_DEV_CFG_S, 696920);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, cscdMapSize, 16);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, InstallHeight, 36);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, StandAloneTrkMd, 44);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, UturnFilter, 56);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, uturnRgn, 68);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, uturnMask, 404);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, LineEn, 232100);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, line, 232104);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, lineSeg, 232520);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, GroupEn, 232776);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, RgnEn, 232796);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, rgn, 232804);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, rgnMask, 233140);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, HtmpEn, 464836);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, ShowDetectBox, 464860);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, ExclEn, 464863);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, ExclType, 464868);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, exclRgn, 464884);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, exclMask, 465220);
VCA_CHECK_OFFSET(VCA_DEV_CFG_S, DetectModel, 696916);

/* The configuration record; never null, valid for the life of the process. */
VCA_API VCA_DEV_CFG_S* dev_get_config(void);

/* Handler of message 6078: applies a VCA_ALGO_CFG_S and prints it to standard output. */
VCA_API void vca_algo_set_cfg_params(int channel, void* payload);

/* Always 2. */
VCA_API int32_t dev_get_device_type(void);

/* 0 stand-alone, 1 cascade master, 2 cascade slave. */
VCA_API int32_t vca_dev_get_work_mode(void);

/* Configured installation height in millimetres. */
VCA_API int32_t vca_dev_get_install_height(void);

/* Whether crossings are counted; initially true. */
VCA_API bool dev_get_counting_enable(void);
VCA_API void dev_set_counting_enable(bool enable);

/* The high-installation flag copied into the next configuration; initially false. */
VCA_API bool dev_device_is_high_install(void);
VCA_API void dev_set_high_install_enable(bool enable);

/* The feed frame counter: completed frame passes since the process started. Adding wraps. */
VCA_API int32_t vca_feed_frm_cnt_get(void);
VCA_API void vca_feed_frm_cnt_set(int32_t count);
VCA_API void vca_feed_frm_cnt_add(int32_t step);

/* Largest distance in pixels between members of a group, by installation height and work mode. */
VCA_API int32_t line_group_obj_dist_max(void);

/* Moves a point into the cascade map's own coordinates and clamps it into the map. */
VCA_API POINT_POS_S cscd_map_point_clip(POINT_POS_S point);

/* The box in mask cells: moved and clamped into the cascade map, scaled to 320 x 181. */
VCA_API DET_OBJ_S cscd_map_box_to_mask(DET_OBJ_S box);

/* Rasterises a polygon into a mask the caller has cleared; returns the number of cells set. Prints
 * the polygon to standard output. */
VCA_API int32_t polygon_convert_to_mask(const POLYGON_S* poly,
                                        char mask[VCA_MASK_ROWS][VCA_MASK_COLS]);

VCA_EXTERN_C_END

#endif
