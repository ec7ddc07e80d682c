/* The track record, the tracker wrapper and the per-frame tracking process. C++ only. */
#ifndef VCA_TRACK_H
#define VCA_TRACK_H

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "vca/config.h"
#include "vca/frame.h"
#include "vca/messages.h"
#include "vca/platform.h"

/* The side of a counting line that a track is on (nearSide, segSide), as seen by someone walking
 * from the start of the segment to its end in the image. */
typedef enum VCA_SIDE_E {
    VCA_SIDE_NONE = 0,  /* on the line, or not known */
    VCA_SIDE_RIGHT = 5, /* a crossing that ends here is VCA_DIR_2, or VCA_DIR_1 with Flip */
    VCA_SIDE_LEFT = 7   /* a crossing that ends here is VCA_DIR_1, or VCA_DIR_2 with Flip */
} VCA_SIDE_E;

/* Where a track is with respect to a line's U-turn area (uturnState). */
typedef enum VCA_UTURN_E {
    VCA_UTURN_OUTSIDE = 0,
    VCA_UTURN_INSIDE = 2,
    VCA_UTURN_JUST_LEFT = 5 /* inside until the previous pass */
} VCA_UTURN_E;

/* A trajectory point; the library writes it. */
struct TRK_POINT_S {
    int32_t x;       /* column, pixels */
    int32_t y;       /* row, pixels */
    int32_t zero[3]; /* 0 */
};
VCA_CHECK_SIZE(TRK_POINT_S, 20);
VCA_CHECK_OFFSET(TRK_POINT_S, x, 0);
VCA_CHECK_OFFSET(TRK_POINT_S, y, 4);
VCA_CHECK_OFFSET(TRK_POINT_S, zero, 8);

/* One attribute sample of a track; the library writes it from the results of the host's models. */
struct HUMAN_ATTR_S {
    uint8_t gender_valid; /* 1 when the classifier ran on this update, else 0 */
    int32_t gender;       /* best class: VCA_GENDER_E, other values count as unknown */
    float prob_male;      /* probability of male, 0..1 */
    float prob_female;    /* probability of female, 0..1 */
    uint32_t model_word;  /* filled by the model, not read */
    uint8_t staff_valid;  /* 1 when the staff detector ran on this update, else 0 */
    int32_t staff;        /* 1 when the staff mark was found */
    float staff_score;    /* confidence of the mark, 0..1 */
};
VCA_CHECK_SIZE(HUMAN_ATTR_S, 32);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, gender, 4);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, prob_male, 8);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, prob_female, 12);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, model_word, 16);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, staff_valid, 20);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, staff, 24);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, staff_score, 28);

/* Rows and columns of a heat grid as cells[row][column]. The cells have their own block of memory,
 * which a move transfers; until the first cell is written there is no block and all cells are
 * zero. */
struct HEAT_CELLS_S {
    using Row = int32_t[VCA_HEAT_COLS];

    Row& operator[](int32_t row) {
        if (!rows_) rows_ = std::make_unique<Row[]>(VCA_HEAT_ROWS);
        return rows_[static_cast<size_t>(row)];
    }
    const Row& operator[](int32_t row) const {
        static constexpr Row kZero = {};
        return rows_ ? rows_[static_cast<size_t>(row)] : kZero;
    }
    bool has_memory() const noexcept { return rows_ != nullptr; }

  private:
    std::unique_ptr<Row[]> rows_;
};

/* A heat grid, 240 columns x 135 rows. Only the cells inside the half-open rectangle [x0, x1) x
 * [y0, y1) may be nonzero; copying takes time in proportion to its area. A moved-from grid is
 * empty. */
struct HEAT_GRID_S {
    HEAT_CELLS_S cell; /* cell[row][column]: milliseconds, or passages */
    int32_t x0 = 0;    /* first column that may be nonzero, 0..240 */
    int32_t y0 = 0;    /* first row that may be nonzero, 0..135 */
    int32_t x1 = 0;    /* column after the last, 0..240 */
    int32_t y1 = 0;    /* row after the last, 0..135 */

    HEAT_GRID_S() = default;
    HEAT_GRID_S(const HEAT_GRID_S& other) { copy_cells(other); }
    HEAT_GRID_S& operator=(const HEAT_GRID_S& other) {
        if (this == &other) return *this;
        clear();
        copy_cells(other);
        return *this;
    }
    HEAT_GRID_S(HEAT_GRID_S&& other) noexcept { take(other); }
    HEAT_GRID_S& operator=(HEAT_GRID_S&& other) noexcept {
        if (this != &other) take(other);
        return *this;
    }

    /* Sets every cell to zero. */
    void clear() noexcept {
        for (int32_t y = y0; y < y1; ++y)
            std::fill(cell[y] + x0, cell[y] + x1, 0);
        x0 = y0 = x1 = y1 = 0;
    }

    /* Widens the rectangle to hold [left, right) x [top, bottom), which lies inside the grid and is
     * not empty. */
    void cover(int32_t left, int32_t top, int32_t right, int32_t bottom) noexcept {
        const bool empty = x1 <= x0 || y1 <= y0;
        x0 = empty ? left : std::min(x0, left);
        y0 = empty ? top : std::min(y0, top);
        x1 = empty ? right : std::max(x1, right);
        y1 = empty ? bottom : std::max(y1, bottom);
    }

  private:
    void copy_cells(const HEAT_GRID_S& other) {
        x0 = other.x0;
        y0 = other.y0;
        x1 = other.x1;
        y1 = other.y1;
        for (int32_t y = y0; y < y1; ++y)
            std::copy(other.cell[y] + x0, other.cell[y] + x1, cell[y] + x0);
    }

    void take(HEAT_GRID_S& other) noexcept {
        cell = std::move(other.cell);
        x0 = std::exchange(other.x0, 0);
        y0 = std::exchange(other.y0, 0);
        x1 = std::exchange(other.x1, 0);
        y1 = std::exchange(other.y1, 0);
    }
};

/* One tracked person; the library writes it. A new record is zero throughout (value-initialise it).
 * The vectors own their storage and copies are deep, but `attrImg` is a host image that copies
 * share: it is destroyed once, with vca_trk_obj_destroy_img, when the track is removed from its
 * list. Boxes and points are in colour-image pixels; those of a master's merged tracks are in
 * pixels of the cascade map. Updates are passes in which the tracker reported the target. */
struct TRACKER_RSLT_S {
    int32_t trackId;                /* id given by the IoU tracker */
    int32_t age;                    /* updates received; 0 during the first */
    int32_t lostCnt;                /* passes since the last update, 0..5 */
    int32_t contCnt;                /* consecutive passes with an update */
    uint32_t lastFrm;               /* feed frame counter at the last pass */
    uint32_t updSeq;                /* count of all tracks' passes modulo 10000 at the last pass */
    int32_t trkFrames;              /* passes since creation */
    int32_t trkRsv;                 /* 0 */
    float speed;                    /* pixels per frame over the last 24 frames */
    std::vector<int32_t> moveFrm;   /* frame numbers of the displacement samples */
    std::vector<int32_t> moveDist;  /* displacements in whole pixels, one for each of moveFrm */
    std::vector<TRK_POINT_S> trail; /* centres of the position box, oldest first, at most 20 */
    std::vector<TRK_POINT_S> trailSmooth; /* de-jittered, newest first, at most 7 */
    std::vector<TRK_POINT_S> objTrail;    /* centres of curObj, oldest first, at most 7 */
    DET_OBJ_S curObj;                     /* the matched detection, with height, gender and staff */
    DET_OBJ_S rawObj;                     /* the detector's unrefined box of the same index */
    DET_OBJ_S headBox;                    /* at most 40 x 35 pixels inside curObj */
    DET_OBJ_S footBox;                    /* square around the foot point */
    DET_OBJ_S prevObj;                    /* position box at the previous displacement sample */
    DET_OBJ_S evtObj;                     /* the box the line, region and heat-map stages use */
    int32_t evtRsv;                       /* 0 */
    int32_t footX;                        /* box centre projected to the floor, column in pixels */
    int32_t footY;                        /* box centre projected to the floor, row in pixels */
    uint8_t footRsv[8];                   /* 0 */
    int32_t moveRsv;                      /* 0 */
    float moveIoU;                    /* IoU of the position box with its previous value, 0..1 */
    std::vector<float> heightSamples; /* accepted samples in mm, oldest first, at most 12 */
    std::vector<float> heightMeans;   /* the newest trimmed mean, mm */
    float height;                     /* smoothed height, mm: 500..1980, for VCA_CLASS_SMALL
                                         10..1500; 0 until first measured */
    uint8_t heightExceed;             /* 1 while the height is outside the target range */
    int32_t heightExceedCnt;          /* weighted count of readings outside the range; the
                                         flag is set above 4 and cleared below 1 */
    float rawHeight;                  /* last uncompensated height, mm */
    uint8_t htmpMoved;                /* 1 once moved far enough for the motion heat map */
    DET_OBJ_S firstBox;               /* position box of the second update, then the one
                                         from which the motion heat map last measured */
    HEAT_GRID_S heatDwell;            /* milliseconds per cell since the last fold */
    HEAT_GRID_S heatMotion;           /* passages per cell since the last fold */
    uint8_t staticFalseDet;           /* 1 when judged a static false detection */
    DET_OBJ_S staticRefBox;           /* position box against which standing still is judged */
    int32_t staticMoveCnt;            /* updates in a row away from it, 0..3 */
    int32_t staticStillCnt;           /* low-score updates at it, 0..60 */
    uint8_t bornInside;               /* 1 when first seen in the central two thirds */
    VCA_IMAGE_S attrImg;              /* attribute crop; the host fills it */
    std::vector<HUMAN_ATTR_S> attrSamples; /* at most 20, oldest first */
    uint32_t staffChkCnt;                  /* hits of the staff detector that count, 0..2 */
    int32_t genderKeep;                    /* decided gender, VCA_GENDER_E */
    float genderMean;                      /* mean probability of male over the samples, 0..1 */
    float genderMaxProb;                   /* largest sum of probabilities so far, for genderKeep */
    int32_t staffKeep;                     /* 1 once decided staff */
    float staffConf;                       /* best score of the hits that decided it, 0..1 */
    uint32_t attrRsv[2];                   /* 0 */
    int32_t crossDist;                /* pixels past a counting line before a crossing counts */
    DET_OBJ_S evtBirth;               /* evtObj at creation */
    int32_t uturnState[VCA_LINE_NUM]; /* VCA_UTURN_E by line */
    RGN_STAY_S rgnStay[VCA_RGN_NUM];  /* stay in each counting region */
    uint8_t rgnRsv[48];               /* 0 */
    uint8_t IsCrossed[VCA_LINE_NUM];  /* 1 when a crossing was tallied for U-turn filtering */
    int32_t CrossCnt[VCA_LINE_NUM];   /* tallied changes of direction */
    int32_t crossLine[VCA_LINE_NUM];  /* line of the last tallied crossing, -1 after an exit */
    int32_t LastState[VCA_LINE_NUM];  /* last crossing direction, VCA_DIR_E */
    int32_t nearSide[VCA_LINE_NUM];   /* VCA_SIDE_E while just past the line */
    int32_t segSide[VCA_LINE_NUM][VCA_SEG_NUM];   /* VCA_SIDE_E of a registered crossing */
    DET_OBJ_S segPrev[VCA_LINE_NUM][VCA_SEG_NUM]; /* event box at the last settled check */
};

VCA_EXTERN_C_BEGIN

/* Destroys a track's crop image through the host. Returns 0. */
VCA_API int vca_trk_obj_destroy_img(VCA_IMAGE_S* img);

/* Destroys the crop image of every record, front to back, and leaves the list empty. Returns 0. */
VCA_API int vca_trk_obj_list_release(std::vector<TRACKER_RSLT_S>& list);

/* Starts both tracker instances with the thresholds of the colour model. Returns 0. */
VCA_API int vca_trker_init(VCA_CTRL_S* ctrl);

/* Releases both tracker instances. Returns 0. */
VCA_API int vca_trker_uninit(VCA_CTRL_S* ctrl);

/* Hands a frame's detections, enlarged about their centres by 28 % (ratio 0) to 33 % (ratio 1)
 * unless `no_scale`, to tracker `inst` and returns its live targets as the host reports them. */
VCA_API IOU_TRK_RSLT_S vca_trker_run(int inst, const DET_OBJECTS_S* dets, float ratio,
                                     bool no_scale);

/* One tracking pass: runs tracker `inst` on the detections of `res`, creates, updates and removes
 * the records of `list`. `merged` marks a master's second pass over merged objects. Returns 0. */
VCA_API int vca_obj_proc_tracking(VCA_NN_RESULT_S* res, std::vector<TRACKER_RSLT_S>& list, int inst,
                                  bool merged);

/* Recomputes the event box of a track; `keep` uses the position box even while the track is young
 * or lost. Returns &trk->evtObj. */
VCA_API DET_OBJ_S* vca_trk_obj_get_event_box(TRACKER_RSLT_S* trk, bool keep);

/* Whether the centre of the track's event box, which this call recomputes, lies on a set mask
 * cell. */
VCA_API bool vca_trk_obj_in_mask(TRACKER_RSLT_S* trk,
                                 const char mask[VCA_MASK_ROWS][VCA_MASK_COLS]);

/* Sends message 6087 (`born`) or 6088. Returns 0. */
VCA_API int vca_trk_obj_send_history(TRACKER_RSLT_S* trk, bool born);

VCA_EXTERN_C_END

#endif
