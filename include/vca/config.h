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
#define VCA_MASK_ROWS 181  /* cells of a mask from top to bottom */
#define VCA_MASK_COLS 320  /* cells of a mask from left to right */

/* The role of a device among others (devWorkMode). */
typedef enum VCA_WORK_MODE_E {
    VCA_WORK_ALONE = 0,  /* counts the people it sees */
    VCA_WORK_MASTER = 1, /* merges the people of its slaves with its own and counts those */
    VCA_WORK_SLAVE = 2   /* sends its people to its master and counts nobody */
} VCA_WORK_MODE_E;

/* The box that marks a person's position on a stand-alone device (StandAloneTrkMd). */
typedef enum VCA_POSITION_E {
    VCA_POSITION_BOX = 0,  /* the detection itself, curObj */
    VCA_POSITION_HEAD = 1, /* headBox */
    VCA_POSITION_FOOT = 2  /* footBox */
} VCA_POSITION_E;

/* The detection models that run (DetectModel). */
typedef enum VCA_DETECT_MODEL_E {
    VCA_DETECT_BOTH = 0,
    VCA_DETECT_COLOUR = 1,
    VCA_DETECT_DEPTH = 2
} VCA_DETECT_MODEL_E;

/* What an exclusion region excludes, as coded in the message (VCA_CFG_EXCL_S.type). */
typedef enum VCA_CFG_EXCL_TYPE_E {
    VCA_CFG_EXCL_DETECTIONS = 0, /* detections whose centre lies inside are dropped */
    VCA_CFG_EXCL_DEPTH = 1       /* depth pixels inside are ignored for heights */
} VCA_CFG_EXCL_TYPE_E;

/* The same in the configuration record (ExclType), where the numbers are swapped. */
typedef enum VCA_EXCL_TYPE_E { VCA_EXCL_DEPTH = 0, VCA_EXCL_DETECTIONS = 1 } VCA_EXCL_TYPE_E;

/* ---- Payload of message 6078 (host to library), 1916 bytes, little-endian. The host writes every
 * field, the library reads a copy. Flags (u8) are off when 0 and on otherwise. Padding is not read.
 * ---- */

/* A point of a line or polygon. */
typedef struct POINT12 {
    uint8_t en;     /* flag: the point is used */
    uint8_t pad[3]; /* padding */
    int32_t x;      /* column in pixels, at least VCA_COORD_MIN; in the coordinates of its owner */
    int32_t y;      /* row in pixels, at least VCA_COORD_MIN */
} POINT12;

VCA_CHECK_SIZE(POINT12, 12);
VCA_CHECK_OFFSET(POINT12, en, 0);
VCA_CHECK_OFFSET(POINT12, x, 4);
VCA_CHECK_OFFSET(POINT12, y, 8);

/* A counting line. */
typedef struct VCA_CFG_LINE_S {
    uint8_t LineEn;                    /* no lasting effect: two valid points enable a line */
    uint8_t pad0[3];                   /* padding */
    POINT12 pt[VCA_LINE_PT_NUM];       /* the polyline from its start, colour-image pixels */
    uint8_t UturnEn;                   /* flag: filter people who turn back on this line */
    uint8_t pad1[3];                   /* padding */
    POINT12 uturn_pt[VCA_POLY_PT_NUM]; /* area around the line in pixels of the cascade map; with
                                          fewer than three points, everywhere counts as inside */
    uint8_t Flip;                      /* flag: swap VCA_DIR_1 and VCA_DIR_2 */
    uint8_t pad2[3];                   /* padding */
} VCA_CFG_LINE_S;

VCA_CHECK_SIZE(VCA_CFG_LINE_S, 192);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, pt, 4);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, UturnEn, 64);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, uturn_pt, 68);
VCA_CHECK_OFFSET(VCA_CFG_LINE_S, Flip, 188);

/* A counting region. */
typedef struct VCA_CFG_RGN_S {
    uint8_t used;                /* flag: the points are used */
    uint8_t en_a;                /* flag: region on; either of the two flags is enough */
    uint8_t pad0[6];             /* padding */
    uint8_t en_b;                /* flag: the same */
    uint8_t pad1[7];             /* padding */
    POINT12 pt[VCA_POLY_PT_NUM]; /* the polygon in pixels of the cascade map; fewer than three
                                    points switch the region off */
} VCA_CFG_RGN_S;

VCA_CHECK_SIZE(VCA_CFG_RGN_S, 136);
VCA_CHECK_OFFSET(VCA_CFG_RGN_S, en_a, 1);
VCA_CHECK_OFFSET(VCA_CFG_RGN_S, en_b, 8);
VCA_CHECK_OFFSET(VCA_CFG_RGN_S, pt, 16);

/* An exclusion region. */
typedef struct VCA_CFG_EXCL_S {
    uint32_t reserved;           /* not read */
    uint32_t type;               /* VCA_CFG_EXCL_TYPE_E; other values keep the previous type */
    POINT12 pt[VCA_POLY_PT_NUM]; /* the polygon in colour-image pixels; fewer than three points
                                    switch the region off */
} VCA_CFG_EXCL_S;

VCA_CHECK_SIZE(VCA_CFG_EXCL_S, 128);
VCA_CHECK_OFFSET(VCA_CFG_EXCL_S, type, 4);
VCA_CHECK_OFFSET(VCA_CFG_EXCL_S, pt, 8);

/* The message. */
typedef struct VCA_ALGO_CFG_S {
    int32_t devWorkMode;       /* VCA_WORK_MODE_E */
    int32_t InstallHeight;     /* camera over the floor, mm; a change resets the floor map */
    uint8_t AcceleroEn;        /* flag: stored and printed, no effect */
    uint8_t pad0[3];           /* padding */
    int32_t TargetHeightMax;   /* mm; taller people are not counted */
    int32_t TargetHeightMin;   /* mm; smaller people are not counted */
    uint8_t ChildDistinction;  /* flag: stored and printed, for the host's own use */
    uint8_t pad1[3];           /* padding */
    int32_t ChildHeightThresh; /* mm; stored and printed, for the host's own use */
    int32_t StandAloneTrk;     /* not 0: a stand-alone device counts by the foot point */
    uint8_t GenderRecognize;   /* flag: when off, every gender reads as unknown */
    uint8_t pad2[3];           /* padding */
    uint8_t StaffDetection;    /* flag: when off, nobody reads as staff */
    uint8_t pad8[3];           /* padding */
    int32_t StaffDetectSens;   /* stored and printed, no effect */
    uint8_t GroupEn;           /* flag: group counting */
    uint8_t pad3[3];           /* padding */
    int32_t GroupObjNumMax;    /* number of people at which a group closes */
    int32_t GroupObjNumMin;    /* fewest people for a group to be reported */
    uint8_t HtmpEn;            /* flag: heat maps */
    uint8_t pad4[3];           /* padding */
    VCA_CFG_LINE_S line[VCA_LINE_NUM]; /* counting lines 0..3 */
    uint8_t RgnEn;                     /* flag: region counting */
    uint8_t pad5[3];                   /* padding */
    VCA_CFG_RGN_S rgn[VCA_RGN_NUM];    /* counting regions 0..3 */
    int32_t cscdMapSize[4];            /* x, y, width, height of the device's area in pixels, the
                                          cascade map; region and U-turn polygons and track boxes
                                          are in its coordinates. Stand-alone: 0, 0, 960, 544 */
    uint8_t ShowDetectBox;             /* flag: send message 6086 */
    uint8_t ExclTotalEn;               /* flag: exclusion regions */
    uint8_t pad6[2];                   /* padding */
    VCA_CFG_EXCL_S excl[VCA_EXCL_NUM]; /* exclusion regions 0..3 */
    uint8_t ShowHistoryBox;            /* flag: send messages 6087 and 6088 */
    uint8_t pad7[3];                   /* padding */
    int32_t DetectModel;               /* VCA_DETECT_MODEL_E; other values mean both */
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

/* ---- The configuration record: the library writes it from message 6078 ---- */

/* A polygon; its points are the leading valid ones, closed from the last back to the first. */
typedef struct POLYGON_S {
    uint8_t coord;              /* 1 colour-image coordinates, 0 those of the cascade map */
    uint8_t pad[3];             /* padding */
    int32_t x[VCA_POLY_PT_NUM]; /* columns in pixels; VCA_COORD_NONE for points not used */
    int32_t y[VCA_POLY_PT_NUM]; /* rows in pixels; VCA_COORD_NONE for points not used */
} POLYGON_S;

VCA_CHECK_SIZE(POLYGON_S, 84);
VCA_CHECK_OFFSET(POLYGON_S, coord, 0);
VCA_CHECK_OFFSET(POLYGON_S, x, 4);
VCA_CHECK_OFFSET(POLYGON_S, y, 44);

/* A polygon rasterised to a 320 x 181 grid over the image. */
typedef struct VCA_MASK_S {
    int32_t result;                          /* number of cells set, 0..57920 */
    char mask[VCA_MASK_ROWS][VCA_MASK_COLS]; /* 1 inside, 0 outside */
} VCA_MASK_S;

VCA_CHECK_SIZE(VCA_MASK_S, 57924);
VCA_CHECK_OFFSET(VCA_MASK_S, result, 0);
VCA_CHECK_OFFSET(VCA_MASK_S, mask, 4);

/* A straight piece of a counting line. */
typedef struct LINE_SEG_S {
    POINT_POS_S start; /* colour-image pixels; VCA_COORD_NONE in a segment that is not used */
    POINT_POS_S end;   /* colour-image pixels */
} LINE_SEG_S;

VCA_CHECK_SIZE(LINE_SEG_S, 16);
VCA_CHECK_OFFSET(LINE_SEG_S, start, 0);
VCA_CHECK_OFFSET(LINE_SEG_S, end, 8);

/* A point of a counting line as the record keeps it. */
typedef struct VCA_LINE_PT_S {
    int32_t x;        /* column, colour-image pixels; VCA_COORD_NONE for a point not used */
    int32_t y;        /* row, colour-image pixels; VCA_COORD_NONE for a point not used */
    uint8_t data[12]; /* zero */
} VCA_LINE_PT_S;

VCA_CHECK_SIZE(VCA_LINE_PT_S, 20);
VCA_CHECK_OFFSET(VCA_LINE_PT_S, y, 4);
VCA_CHECK_OFFSET(VCA_LINE_PT_S, data, 8);

/* A counting line as the record keeps it. */
typedef struct VCA_LINE_S {
    uint8_t Flip;                      /* flag: directions are swapped */
    VCA_LINE_PT_S pt[VCA_LINE_PT_NUM]; /* the polyline from its start */
} VCA_LINE_S;

VCA_CHECK_SIZE(VCA_LINE_S, 104);
VCA_CHECK_OFFSET(VCA_LINE_S, pt, 4);

/* The settings the library works with; all zero before the first configuration message, except
 * InstallHeight, which is 3000. */
typedef struct VCA_DEV_CFG_S {
    int32_t DevType;                    /* 2 */
    int32_t devWorkMode;                /* VCA_WORK_MODE_E */
    int32_t srcImgWidth;                /* pixels: 960 */
    int32_t srcImgHeight;               /* pixels: 544 */
    int32_t cscdMapSize[4];             /* x, y, width, height of the device's area, pixels */
    uint8_t HighInstall;                /* flag, copied from dev_set_high_install_enable */
    int32_t InstallHeight;              /* camera over the floor, mm */
    uint8_t AcceleroEn;                 /* flag, no effect */
    int32_t StandAloneTrkMd;            /* VCA_POSITION_E; the message gives BOX or FOOT */
    int32_t TargetHeightMin;            /* mm */
    int32_t TargetHeightMax;            /* mm */
    uint8_t UturnFilter;                /* 1 once configured */
    uint8_t UturnEn[VCA_LINE_NUM];      /* flags: U-turns are filtered on the line */
    uint8_t UturnRgnEn[VCA_LINE_NUM];   /* 1 when the line's U-turn polygon has 3 points or more */
    POLYGON_S uturnRgn[VCA_LINE_NUM];   /* U-turn areas */
    VCA_MASK_S uturnMask[VCA_LINE_NUM]; /* the same, rasterised */
    uint8_t LineEn[VCA_LINE_NUM];       /* 1 when the line has two valid points or more */
    VCA_LINE_S line[VCA_LINE_NUM];      /* counting lines */
    LINE_SEG_S lineSeg[VCA_LINE_NUM][VCA_SEG_NUM]; /* their segments from the start */
    uint8_t GroupEn;                               /* flag: group counting */
    int32_t GroupDistMax;                          /* pixels between members of a group, 55..260 */
    int32_t GroupObjNumMin;                        /* fewest people for a group to be reported */
    int32_t GroupObjNumMax;                        /* number of people at which a group closes */
    float GroupSpdTimesMax;                        /* largest ratio of speeds in a group: 1.75 */
    uint8_t RgnEn;                                 /* flag: region counting */
    uint8_t RgnEnable[VCA_RGN_NUM];                /* flags: the region is on */
    POLYGON_S rgn[VCA_RGN_NUM];                    /* counting regions */
    VCA_MASK_S rgnMask[VCA_RGN_NUM];               /* the same, rasterised */
    uint8_t HtmpEn;                                /* flag: heat maps */
    uint8_t CartEn;                                /* 0 */
    int32_t PersonDetMode;                         /* 1 once configured */
    uint8_t GenderRecognize;                       /* flag */
    uint8_t StaffDetection;                        /* flag */
    int32_t StaffDetectSens;                       /* as received, no effect */
    uint8_t ChildDistinction;                      /* flag, for the host's own use */
    int32_t ChildHeightThresh;                     /* mm, for the host's own use */
    uint8_t ShowDetectBox;                         /* flag: message 6086 is sent */
    uint8_t ShowHistoryBox;                        /* flag: messages 6087 and 6088 are sent */
    uint8_t ExclTotalEn;                           /* flag: exclusion regions */
    uint8_t ExclEn[VCA_EXCL_NUM];      /* 1 when the region's polygon has 3 points or more */
    int32_t ExclType[VCA_EXCL_NUM];    /* VCA_EXCL_TYPE_E */
    POLYGON_S exclRgn[VCA_EXCL_NUM];   /* exclusion regions */
    VCA_MASK_S exclMask[VCA_EXCL_NUM]; /* the same, rasterised */
    int32_t DetectModel;               /* VCA_DETECT_MODEL_E */
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

/* VCA_WORK_MODE_E. */
VCA_API int32_t vca_dev_get_work_mode(void);

/* Configured installation height in millimetres. */
VCA_API int32_t vca_dev_get_install_height(void);

/* Whether crossings are counted; initially true. */
VCA_API bool dev_get_counting_enable(void);
VCA_API void dev_set_counting_enable(bool enable);

/* The high-installation flag copied into the next configuration; initially false. */
VCA_API bool dev_device_is_high_install(void);
VCA_API void dev_set_high_install_enable(bool enable);

/* The feed frame counter: completed frame passes since the process started. Addition wraps. */
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
