/* What the library decides about each person and why, reported to the host as it happens.
 *
 * An observer set by the host is called for every decision, in the order they are made, within the
 * frame pass and on the analysis thread. The observer must not call the library; it copies the
 * record and returns. The library sends the same messages with or without an observer. Usable from
 * C11 and C++20. */
#ifndef VCA_DECISION_H
#define VCA_DECISION_H

#include "vca/base.h"

/* What was decided. The comment on each kind gives the fields `place`, `detail`, `value` and
 * `limit`; fields it does not mention are 0, or -1 for `place`. Distances are in pixels of the
 * list's image. */
typedef enum VCA_DECISION_E {
    /* -- The life of a track -- */
    VCA_DECISION_BORN = 1,      /* a track begins: score of its box, score needed */
    VCA_DECISION_COUNTABLE = 2, /* it takes part in counting for the first time: updates so far */
    VCA_DECISION_ENDED = 3,     /* detail VCA_ENDED_E: passes since last seen, most allowed */
    VCA_DECISION_FURNITURE = 4, /* stands still with a low score: such updates, number needed */
    VCA_DECISION_NO_FURNITURE = 5, /* moved after all: updates away, updates needed */
    VCA_DECISION_HEIGHT_OUT = 6,   /* does not count for now: height in mm, bound of the range */
    VCA_DECISION_HEIGHT_BACK = 7,  /* counts again: height in mm */
    VCA_DECISION_PROMOTED = 8,     /* a small target that is tall: height in mm, height needed */
    VCA_DECISION_GENDER = 9,       /* detail VCA_GENDER_E: sum of its probabilities, samples */
    VCA_DECISION_STAFF = 10,       /* staff from now on: hits, hits needed */
    /* -- Lines: place is the line -- */
    VCA_DECISION_NEAR_LINE = 20, /* detail 1 across it, 0 before it: distance, distance needed */
    VCA_DECISION_CROSSED = 21,   /* crossed segment `detail`: distance past it, distance needed */
    VCA_DECISION_SAME_SIDE =
        22, /* not counted, the last crossing ended on this side too: detail VCA_DIR_E */
    VCA_DECISION_WAITS = 23,        /* detail VCA_DIR_E, to be decided on leaving the U-turn area:
                                       changes of side so far */
    VCA_DECISION_TURNED_BACK = 24,  /* not counted: changes of side; an odd number would count */
    VCA_DECISION_AT_END = 25,       /* counted because the track ended just past the line, detail
                                       VCA_DIR_E: passes since then, distance then */
    VCA_DECISION_COUNTED = 26,      /* message 6045 follows, detail VCA_DIR_E: group or -1, members
                                       of the group with this one */
    VCA_DECISION_NOT_COUNTING = 27, /* would have counted, but counting is off: detail VCA_DIR_E */
    VCA_DECISION_GROUP_CLOSED = 28, /* no track; detail is the group: members, members needed for
                                       message 6080 */
    /* -- Regions: place is the region -- */
    VCA_DECISION_ENTERED = 40, /* the person's centre is inside */
    VCA_DECISION_LEFT = 41,    /* the whole person is outside: milliseconds inside */
    /* -- Boxes that do not become a track of their own; track is -1 -- */
    VCA_DECISION_EXCLUDED = 60,  /* its centre lies in exclusion region `place` */
    VCA_DECISION_COVERED = 61,   /* a depth box over colour box `detail`: IoU, IoU needed */
    VCA_DECISION_AT_BORDER = 62, /* a depth box at the border of the image */
    VCA_DECISION_TOO_SMALL = 63, /* shorter side, side needed */
    /* -- A master -- */
    VCA_DECISION_MERGED = 80 /* track `place` of device `detail` (0 the master, slaves from 1) is
                                part of a merged track: IoU with the first part, IoU needed */
} VCA_DECISION_E;

/* Why a track ended. */
typedef enum VCA_ENDED_E {
    VCA_ENDED_LOST = 1,   /* it was no longer seen */
    VCA_ENDED_STOPPED = 2 /* the library stopped or was taken down */
} VCA_ENDED_E;

/* Which list the track of a decision belongs to; each list has ids of its own. */
typedef enum VCA_LIST_E {
    VCA_LIST_LOCAL = 0, /* of this device */
    VCA_LIST_MERGED = 1 /* of all devices, on a master */
} VCA_LIST_E;

/* One decision; the library writes it. */
typedef struct VCA_DECISION_S {
    int32_t kind;   /* VCA_DECISION_E */
    int32_t frame;  /* feed frame counter of the pass */
    int32_t list;   /* VCA_LIST_E */
    int32_t track;  /* track id; -1 for none */
    int32_t place;  /* line, region or as given for the kind; -1 for none */
    int32_t detail; /* as given for the kind */
    int32_t x;      /* centre of the deciding box, column in pixels */
    int32_t y;      /* centre of the deciding box, row in pixels */
    float value;    /* the value found */
    float limit;    /* the threshold at which the decision changes */
} VCA_DECISION_S;

VCA_CHECK_SIZE(VCA_DECISION_S, 40);
VCA_CHECK_OFFSET(VCA_DECISION_S, value, 32);

typedef void (*VCA_DECISION_FN)(void* ctx, const VCA_DECISION_S* decision);

VCA_EXTERN_C_BEGIN

/* Sets the observer; null, the default, for none. `ctx` is passed to every call. Call this while
 * the base stage is down. */
VCA_API void vca_set_decision_observer(VCA_DECISION_FN fn, void* ctx);

VCA_EXTERN_C_END

#endif
