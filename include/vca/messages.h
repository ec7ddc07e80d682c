/* Messages of the bus between library and host: their numbers and the records they carry.
 *
 * Every message has a fixed size and is little-endian. "In" messages are delivered to the handlers
 * that the library registers, "out" messages leave through tq_sock_send_msg on channel VCA_CHANNEL.
 * The library writes the records of its "out" messages, padding and unused entries as zero; the
 * host writes those of its "in" messages. Usable from C11 and C++20. */
#ifndef VCA_MESSAGES_H
#define VCA_MESSAGES_H

#include "vca/config.h"

/* Message numbers. */
enum {
    VCA_CHANNEL = 1,                /* not a message: the channel of tq_sock_send_msg */
    VCA_MSG_LINE_COUNT = 6045,      /* out, 104 bytes: LINE_COUNT_MSG_S */
    VCA_MSG_TRACKS = 6069,          /* out, 27016 bytes: SHOW_MSG_S with smoothed trails */
    VCA_MSG_REGIONS = 6070,         /* out, 8672 bytes: RGN_MSG_S */
    VCA_MSG_INSTALL_HEIGHT = 6077,  /* in, no payload; out, 4 bytes: i32 millimetres */
    VCA_MSG_CONFIG = 6078,          /* in, 1916 bytes: VCA_ALGO_CFG_S; out, 8048 bytes without
                                       meaning: the library asks for its configuration */
    VCA_MSG_GROUP_COUNT = 6080,     /* out, 24 bytes: GROUP_COUNT_MSG_S */
    VCA_MSG_HEAT_MAP = 6081,        /* in, 24 bytes that are echoed; out, 259224 bytes:
                                       HEAT_MAP_MSG_S */
    VCA_MSG_HEAT_RESET = 6082,      /* in, no payload */
    VCA_MSG_FRAME_COUNT = 6083,     /* in and out, 4 bytes: i32, the master's feed frame counter */
    VCA_MSG_ASK_FRAME_COUNT = 6084, /* in, no payload */
    VCA_MSG_SLAVE_TRACKS = 6085,    /* out, 6136 bytes: SLAVE_MSG_S; in, 6144 bytes: MASTER_MSG_S */
    VCA_MSG_DETECTIONS = 6086,      /* out, 5784 bytes: DET_SHOW_MSG_S */
    VCA_MSG_TRACK_BORN = 6087,      /* out, 20 bytes: TRK_SHOW_MSG_S */
    VCA_MSG_TRACK_REMOVED = 6088,   /* out, 20 bytes: TRK_SHOW_MSG_S */
    VCA_MSG_SHOW_DETECTION = 6089,  /* in, 4 bytes: i32, 1 on, other values off */
    VCA_MSG_DETECTED_TRACKS = 6090  /* out, 27016 bytes: SHOW_MSG_S with trails of box centres */
};

#define VCA_CONFIG_REQUEST_BYTES 8048

/* Direction of a crossing (`cross`). For someone walking along a segment from start to end in the
 * image, direction 1 ends on the left-hand side, direction 2 on the right-hand side; Flip swaps
 * them:
 *
 *        direction 1
 *      start ---^----> end
 *               |
 */
typedef enum VCA_DIR_E {
    VCA_DIR_NONE = 0, /* no crossing */
    VCA_DIR_1 = 1,
    VCA_DIR_2 = 2
} VCA_DIR_E;

/* ---- Counting lines ---- */

/* Message 6045: one person counted. */
typedef struct LINE_COUNT_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp: frame_flag of the control block and the word after it */
    int32_t trackId;        /* track id of the person */
    DET_OBJ_S obj;          /* the track's position box when it was counted */
    uint8_t reserved0[16];  /* 0 */
    int32_t line;           /* counting line, 0..3 */
    int32_t cross;          /* VCA_DIR_1 or VCA_DIR_2 */
    uint32_t reserved1;     /* 0 */
} LINE_COUNT_MSG_S;

VCA_CHECK_SIZE(LINE_COUNT_MSG_S, 104);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, trackId, 8);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, obj, 12);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, reserved0, 76);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, line, 92);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, cross, 96);
VCA_CHECK_OFFSET(LINE_COUNT_MSG_S, reserved1, 100);

/* Message 6080: one group counted. */
typedef struct GROUP_COUNT_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp */
    int32_t members;        /* people of the group */
    int32_t line;           /* counting line, 0..3 */
    int32_t cross;          /* VCA_DIR_1 or VCA_DIR_2 */
    int32_t zero;           /* 0 */
} GROUP_COUNT_MSG_S;

VCA_CHECK_SIZE(GROUP_COUNT_MSG_S, 24);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, members, 8);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, line, 12);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, cross, 16);
VCA_CHECK_OFFSET(GROUP_COUNT_MSG_S, zero, 20);

/* ---- Counting regions ---- */

/* State of a track in one counting region. */
typedef struct RGN_STAY_S {
    uint8_t inRgn;    /* 1 while inside, else 0 */
    int32_t stayTime; /* milliseconds inside without interruption */
} RGN_STAY_S;

VCA_CHECK_SIZE(RGN_STAY_S, 8);
VCA_CHECK_OFFSET(RGN_STAY_S, inRgn, 0);
VCA_CHECK_OFFSET(RGN_STAY_S, stayTime, 4);

/* One person of the region report. */
typedef struct RGN_PERSON_S {
    DET_OBJ_S obj;               /* the track's curObj; reserved0 holds its track id */
    RGN_STAY_S rgn[VCA_RGN_NUM]; /* the person's state in regions 0..3 */
} RGN_PERSON_S;

VCA_CHECK_SIZE(RGN_PERSON_S, 96);
VCA_CHECK_OFFSET(RGN_PERSON_S, rgn, 64);

/* Message 6070: the people of one frame and the number of them in each region. */
#define VCA_RGN_PERSON_MAX 90
typedef struct RGN_MSG_S {
    uint32_t frame_flag[2];                   /* frame stamp */
    uint32_t num;                             /* entries of persons, 0..90 */
    RGN_PERSON_S persons[VCA_RGN_PERSON_MAX]; /* everyone taking part, inside a region or not */
    int32_t peopleCnt[VCA_RGN_NUM];           /* listed people inside regions 0..3 */
    uint32_t zero;                            /* 0 */
} RGN_MSG_S;

VCA_CHECK_SIZE(RGN_MSG_S, 8672);
VCA_CHECK_OFFSET(RGN_MSG_S, num, 8);
VCA_CHECK_OFFSET(RGN_MSG_S, persons, 12);
VCA_CHECK_OFFSET(RGN_MSG_S, peopleCnt, 8652);
VCA_CHECK_OFFSET(RGN_MSG_S, zero, 8668);

/* ---- Heat maps ---- */

#define VCA_HEAT_ROWS 135         /* cells of a heat map from top to bottom */
#define VCA_HEAT_COLS 240         /* cells of a heat map from left to right */
#define VCA_HEAT_REQUEST_BYTES 24 /* payload of the request */

/* Message 6081 to the host. */
typedef struct HEAT_MAP_MSG_S {
    uint8_t request[VCA_HEAT_REQUEST_BYTES];      /* the request's bytes */
    int32_t motion[VCA_HEAT_ROWS][VCA_HEAT_COLS]; /* passages through every cell */
    int32_t dwell[VCA_HEAT_ROWS][VCA_HEAT_COLS];  /* milliseconds that people stood in every cell */
} HEAT_MAP_MSG_S;

VCA_CHECK_SIZE(HEAT_MAP_MSG_S, 259224);
VCA_CHECK_OFFSET(HEAT_MAP_MSG_S, motion, 24);
VCA_CHECK_OFFSET(HEAT_MAP_MSG_S, dwell, 129624);

/* ---- Display ---- */

/* Message 6086: the detection boxes of one frame for the host's display. */
#define VCA_DET_SHOW_MAX 30
typedef struct DET_SHOW_MSG_S {
    uint32_t frame_flag[2];                 /* frame stamp */
    int32_t real_num;                       /* entries of real_objs, 0..30 */
    DET_OBJ_S real_objs[VCA_DET_SHOW_MAX];  /* boxes found on the colour image */
    int32_t depth_num;                      /* entries of depth_objs, 0..30 */
    DET_OBJ_S depth_objs[VCA_DET_SHOW_MAX]; /* boxes found on the depth image */
    int32_t merge_num;                      /* entries of merge_objs, 0..30 */
    DET_OBJ_S merge_objs[VCA_DET_SHOW_MAX]; /* boxes passed to the tracker */
    uint32_t pad;                           /* 0 */
} DET_SHOW_MSG_S;

VCA_CHECK_SIZE(DET_SHOW_MSG_S, 5784);
VCA_CHECK_OFFSET(DET_SHOW_MSG_S, real_num, 8);
VCA_CHECK_OFFSET(DET_SHOW_MSG_S, real_objs, 12);
VCA_CHECK_OFFSET(DET_SHOW_MSG_S, depth_num, 1932);
VCA_CHECK_OFFSET(DET_SHOW_MSG_S, depth_objs, 1936);
VCA_CHECK_OFFSET(DET_SHOW_MSG_S, merge_num, 3856);
VCA_CHECK_OFFSET(DET_SHOW_MSG_S, merge_objs, 3860);
VCA_CHECK_OFFSET(DET_SHOW_MSG_S, pad, 5780);

/* One track of a snapshot. */
#define VCA_SHOW_TRAIL_MAX 30
typedef struct SHOW_OBJ_S {
    uint32_t trackId;                      /* track id */
    int32_t x;                             /* left column of the track's curObj, pixels */
    int32_t y;                             /* top row, pixels */
    int32_t w;                             /* width, pixels */
    int32_t h;                             /* height, pixels */
    uint8_t class_id;                      /* VCA_CLASS_E */
    uint8_t zero0;                         /* 0 */
    uint16_t trailNum;                     /* points of trail, 0..30 */
    POINT_POS_S trail[VCA_SHOW_TRAIL_MAX]; /* where it came from, newest first, pixels */
    uint32_t height;                       /* height of the person, mm */
    int32_t gender;                        /* VCA_GENDER_E */
    int32_t staff;                         /* 1 for a member of staff */
    uint16_t crossDist; /* twice the pixels past a counting line before a crossing counts */
    uint8_t zero1[22];  /* 0 */
} SHOW_OBJ_S;

VCA_CHECK_SIZE(SHOW_OBJ_S, 300);
VCA_CHECK_OFFSET(SHOW_OBJ_S, x, 4);
VCA_CHECK_OFFSET(SHOW_OBJ_S, class_id, 20);
VCA_CHECK_OFFSET(SHOW_OBJ_S, trailNum, 22);
VCA_CHECK_OFFSET(SHOW_OBJ_S, trail, 24);
VCA_CHECK_OFFSET(SHOW_OBJ_S, height, 264);
VCA_CHECK_OFFSET(SHOW_OBJ_S, gender, 268);
VCA_CHECK_OFFSET(SHOW_OBJ_S, staff, 272);
VCA_CHECK_OFFSET(SHOW_OBJ_S, crossDist, 276);
VCA_CHECK_OFFSET(SHOW_OBJ_S, zero1, 278);

/* Messages 6069 and 6090: the tracks of one frame. */
#define VCA_SHOW_MAX 90
typedef struct SHOW_MSG_S {
    uint32_t frame_flag[2];        /* frame stamp */
    uint32_t zero;                 /* 0 */
    int32_t num;                   /* entries of objs, 0..90 */
    SHOW_OBJ_S objs[VCA_SHOW_MAX]; /* the tracks, oldest first */
} SHOW_MSG_S;

VCA_CHECK_SIZE(SHOW_MSG_S, 27016);
VCA_CHECK_OFFSET(SHOW_MSG_S, zero, 8);
VCA_CHECK_OFFSET(SHOW_MSG_S, num, 12);
VCA_CHECK_OFFSET(SHOW_MSG_S, objs, 16);

/* Messages 6087 (track appeared) and 6088 (track removed). */
typedef struct TRK_SHOW_MSG_S {
    int32_t trackId; /* track id */
    int32_t cx;      /* centre of curObj, column in pixels; 0 on a cascade master */
    int32_t cy;      /* centre of curObj, row in pixels; 0 on a cascade master */
    int32_t footX;   /* foot point, column in pixels */
    int32_t footY;   /* foot point, row in pixels */
} TRK_SHOW_MSG_S;

VCA_CHECK_SIZE(TRK_SHOW_MSG_S, 20);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, trackId, 0);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, cx, 4);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, cy, 8);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, footX, 12);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, footY, 16);

/* ---- Cascade ---- */

#define VCA_SLAVE_MAX 15       /* slaves of a master */
#define VCA_SLAVE_TRACK_MAX 90 /* most people a slave sends at a time */

/* One person as a slave sends it; coordinates are the slave's image pixels, which the host maps on
 * the way to the master. */
typedef struct SLAVE_TRACK_S {
    uint32_t reserved0;    /* 0 */
    uint32_t track_id;     /* track id on the slave */
    uint32_t reserved1;    /* 0 */
    uint8_t class_id;      /* VCA_CLASS_E */
    uint8_t pad[3];        /* 0 */
    float score;           /* confidence of the detection, 0..1 */
    int32_t gender;        /* VCA_GENDER_E */
    float height;          /* height of the person, mm */
    int32_t staff;         /* 1 for a member of staff */
    int32_t cx;            /* centre of the box, column in pixels */
    int32_t cy;            /* centre of the box, row in pixels */
    int32_t foot_x;        /* where the person stands, column in pixels */
    int32_t foot_y;        /* where the person stands, row in pixels */
    uint32_t reserved2[5]; /* 0 */
} SLAVE_TRACK_S;

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
typedef struct SLAVE_MSG_S {
    uint32_t frame_flag[2]; /* frame stamp; not read by the master */
    uint32_t frame;         /* frame number of the last person, on the master's clock */
    int32_t count;          /* entries of tracks, 0..90; clamped before use */
    SLAVE_TRACK_S tracks[VCA_SLAVE_TRACK_MAX]; /* the slave's people, oldest track first */
} SLAVE_MSG_S;

VCA_CHECK_SIZE(SLAVE_MSG_S, 6136);
VCA_CHECK_OFFSET(SLAVE_MSG_S, frame, 8);
VCA_CHECK_OFFSET(SLAVE_MSG_S, count, 12);
VCA_CHECK_OFFSET(SLAVE_MSG_S, tracks, 16);

/* Message 6085 as it is delivered to the master: the host adds the sender. */
typedef struct MASTER_MSG_S {
    uint32_t slave_idx; /* the slave, 0..14; messages with other values are dropped */
    uint32_t reserved;  /* not read */
    SLAVE_MSG_S msg;    /* what the slave sent, in the master's coordinates */
} MASTER_MSG_S;

VCA_CHECK_SIZE(MASTER_MSG_S, 6144);
VCA_CHECK_OFFSET(MASTER_MSG_S, msg, 8);

#endif
