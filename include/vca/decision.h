/* Why: what the library decides about each person, told to the host as it happens.
 *
 * A host that sets an observer is called in the frame pass, on the analysis thread, for every
 * decision, in the order in which they fall. The observer must not call the library; it copies the
 * record and returns. With or without one the library sends the same messages. Usable from C11 and
 * C++20. */
#ifndef VCA_DECISION_H
#define VCA_DECISION_H

#include "vca/base.h"

/* What was decided. Behind each: the fields `place`, `detail`, `value` and `limit`; those that are
 * not named are 0, a place -1. Distances are in pixels of the list's picture. */
typedef enum VCA_DECISION_E {
    /* -- The life of a track -- */
    VCA_DECISION_BORN = 1,      /* a track begins: score of its box, score that is sure */
    VCA_DECISION_COUNTABLE = 2, /* it takes part in counting for the first time: updates so far */
    VCA_DECISION_ENDED = 3,     /* detail VCA_ENDED_E: passes since it was seen, most of them */
    VCA_DECISION_FURNITURE = 4, /* stands still with a low score: such updates, updates needed */
    VCA_DECISION_NO_FURNITURE = 5, /* moved after all: updates away, updates needed */
    VCA_DECISION_HEIGHT_OUT = 6,   /* does not count for now: height in mm, bound of the range */
    VCA_DECISION_HEIGHT_BACK = 7,  /* counts again: height in mm */
    VCA_DECISION_PROMOTED = 8,     /* a small target that is tall: height in mm, height needed */
    VCA_DECISION_GENDER = 9,       /* detail VCA_GENDER_E: sum of its probabilities, samples */
    VCA_DECISION_STAFF = 10,       /* staff from now on: hits, hits needed */
    /* -- Lines: place is the line -- */
    VCA_DECISION_NEAR_LINE = 20, /* detail 1 across it, 0 before it: distance, distance needed */
    VCA_DECISION_CROSSED = 21,   /* went over a segment, detail: distance behind it, needed */
    VCA_DECISION_SAME_SIDE =
        22,                  /* not counted, the last crossing ended here too: detail VCA_DIR_E */
    VCA_DECISION_WAITS = 23, /* detail VCA_DIR_E: decided on leaving the U-turn area:
                                changes of side so far */
    VCA_DECISION_TURNED_BACK = 24,  /* not counted: changes of side; an odd number would count */
    VCA_DECISION_AT_END = 25,       /* counted because the track ended just past the line, detail
                                       VCA_DIR_E: passes since then, distance then */
    VCA_DECISION_COUNTED = 26,      /* message 6045 follows, detail VCA_DIR_E: group or -1, members
                                       of the group with this one */
    VCA_DECISION_NOT_COUNTING = 27, /* would have counted, but counting is off: detail VCA_DIR_E */
    VCA_DECISION_GROUP_CLOSED = 28, /* no track; detail the group: members, members needed for
                                       message 6080 */
    /* -- Regions: place is the region -- */
    VCA_DECISION_ENTERED = 40, /* the person's middle is inside */
    VCA_DECISION_LEFT = 41,    /* the whole person is outside: milliseconds inside */
    /* -- Boxes that become no track of their own; no track -- */
    VCA_DECISION_EXCLUDED = 60,  /* its middle lies in an exclusion region, place */
    VCA_DECISION_COVERED = 61,   /* a depth box over colour box `detail`: IoU, IoU that is enough */
    VCA_DECISION_AT_BORDER = 62, /* a depth box at the border of the picture */
    VCA_DECISION_TOO_SMALL = 63, /* shorter side, side needed */
    /* -- A master -- */
    VCA_DECISION_MERGED =
        80 /* part of a merged track is track `place` of device `detail`, 0 the
              master, slaves from 1: IoU with the first part, IoU that is enough */
} VCA_DECISION_E;

/* Why a track ended. */
typedef enum VCA_ENDED_E {
    VCA_ENDED_LOST = 1,   /* it was not seen any more */
    VCA_ENDED_STOPPED = 2 /* the library stopped or was taken down */
} VCA_ENDED_E;

/* Which tracks a decision is about: ids of the two lists are not those of each other. */
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
    int32_t place;  /* line, region or as the kind says; -1 for none */
    int32_t detail; /* as the kind says */
    int32_t x;      /* where: centre of the box that decides, column in pixels */
    int32_t y;      /* row in pixels */
    float value;    /* how it was */
    float limit;    /* where the decision changes */
} VCA_DECISION_S;

VCA_CHECK_SIZE(VCA_DECISION_S, 40);
VCA_CHECK_OFFSET(VCA_DECISION_S, value, 32);

typedef void (*VCA_DECISION_FN)(void* ctx, const VCA_DECISION_S* decision);

VCA_EXTERN_C_BEGIN

/* Sets who is told, null for nobody, which is the default. `ctx` comes back with every call. Call
 * it while the base stage is down. */
VCA_API void vca_set_decision_observer(VCA_DECISION_FN fn, void* ctx);

VCA_EXTERN_C_END

#endif
