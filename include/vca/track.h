/* The track record, the tracker wrapper and the per-frame tracking process. C++ only. */
#ifndef VCA_TRACK_H
#define VCA_TRACK_H

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "vca/config.h"
#include "vca/frame.h"
#include "vca/platform.h"

#define VCA_HEAT_ROWS 135
#define VCA_HEAT_COLS 240

/* A trajectory point in pixels. */
struct TRK_POINT_S {
    int32_t x;
    int32_t y;
    int32_t zero[3];
};
VCA_CHECK_SIZE(TRK_POINT_S, 20);
VCA_CHECK_OFFSET(TRK_POINT_S, x, 0);
VCA_CHECK_OFFSET(TRK_POINT_S, y, 4);
VCA_CHECK_OFFSET(TRK_POINT_S, zero, 8);

/* One attribute sample of a track. */
struct HUMAN_ATTR_S {
    uint8_t gender_valid; /* 1 when the classifier ran on this update */
    int32_t gender;       /* best class: 1 male, 2 female, other unknown */
    float prob_male;
    float prob_female;
    uint32_t model_word; /* filled by the model, not read */
    uint8_t staff_valid; /* 1 when the staff detector ran on this update */
    int32_t staff;       /* 1 when the staff mark was found */
    float staff_score;
};
VCA_CHECK_SIZE(HUMAN_ATTR_S, 32);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, gender, 4);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, prob_male, 8);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, prob_female, 12);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, model_word, 16);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, staff_valid, 20);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, staff, 24);
VCA_CHECK_OFFSET(HUMAN_ATTR_S, staff_score, 28);

/* Rows and columns of a heat grid as cells[row][column]. The cells have a block of memory of their
 * own, which a move hands over; before the first one is written there is none and all are zero. */
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

/* A heat grid, 240 columns x 135 rows. Only the cells inside the half-open rectangle
 * [x0, x1) x [y0, y1) may be nonzero; copies cost time in proportion to it. One that was moved from
 * is empty. */
struct HEAT_GRID_S {
    HEAT_CELLS_S cell;
    int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;

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

/* State of a track in one counting region. */
struct RGN_STAY_S {
    uint8_t inRgn;    /* 1 while inside */
    int32_t stayTime; /* milliseconds inside without interruption */
};
VCA_CHECK_SIZE(RGN_STAY_S, 8);
VCA_CHECK_OFFSET(RGN_STAY_S, inRgn, 0);
VCA_CHECK_OFFSET(RGN_STAY_S, stayTime, 4);

/* One tracked person. A new record is zero throughout (value-initialise it). The vectors own their
 * storage and copies are deep, but `attrImg` is a host image that copies share: it is destroyed
 * once, with vca_trk_obj_destroy_img, when the track is removed from its list. Boxes are in
 * colour-image pixels. */
struct TRACKER_RSLT_S {
    int32_t trackId;   /* id given by the IoU tracker */
    int32_t age;       /* tracker updates received */
    int32_t lostCnt;   /* passes since the last update */
    int32_t contCnt;   /* consecutive passes with an update */
    uint32_t lastFrm;  /* feed frame counter at the last pass */
    uint32_t updSeq;   /* library-wide pass counter modulo 10000 at the last pass */
    int32_t trkFrames; /* passes since creation */
    int32_t trkRsv;
    float speed;                    /* pixels per frame over the last 24 frames */
    std::vector<int32_t> moveFrm;   /* frame numbers of the displacement samples */
    std::vector<int32_t> moveDist;  /* displacements in whole pixels, index-aligned with moveFrm */
    std::vector<TRK_POINT_S> trail; /* centres of the position box, oldest first, at most 20 */
    std::vector<TRK_POINT_S> trailSmooth; /* de-jittered, newest first, at most 7 */
    std::vector<TRK_POINT_S> objTrail;    /* centres of curObj, oldest first, at most 7 */
    DET_OBJ_S curObj;                     /* the matched detection, with height, gender and staff */
    DET_OBJ_S rawObj;                     /* the detector's unrefined box of the same index */
    DET_OBJ_S headBox;                    /* at most 40 x 35 pixels inside curObj */
    DET_OBJ_S footBox;                    /* square around the foot point */
    DET_OBJ_S prevObj;                    /* position box at the previous displacement sample */
    DET_OBJ_S evtObj;                     /* the box the line, region and heat-map stages use */
    int32_t evtRsv;
    int32_t footX; /* the box centre projected to the floor */
    int32_t footY;
    uint8_t footRsv[8];
    int32_t moveRsv;
    float moveIoU;                    /* IoU of the position box with its previous value */
    std::vector<float> heightSamples; /* accepted samples in mm, oldest first, at most 12 */
    std::vector<float> heightMeans;   /* the newest trimmed mean */
    float height;                     /* smoothed height, mm */
    uint8_t heightExceed;             /* 1 while the height is outside the target range */
    int32_t heightExceedCnt;
    float rawHeight;        /* last uncompensated height, mm */
    uint8_t htmpMoved;      /* 1 once the track has moved far enough for the heat map */
    DET_OBJ_S firstBox;     /* position box of the first updates */
    HEAT_GRID_S heatDwell;  /* milliseconds per cell */
    HEAT_GRID_S heatMotion; /* passages per cell */
    uint8_t staticFalseDet; /* 1 when judged a static false detection */
    DET_OBJ_S staticRefBox;
    int32_t staticMoveCnt;
    int32_t staticStillCnt;
    uint8_t bornInside;  /* 1 when first seen in the central two thirds of the image */
    VCA_IMAGE_S attrImg; /* attribute crop */
    std::vector<HUMAN_ATTR_S> attrSamples; /* at most 20, oldest first */
    uint32_t staffChkCnt;
    int32_t genderKeep; /* decided gender */
    float genderMean;
    float genderMaxProb;
    int32_t staffKeep; /* 1 once decided staff */
    float staffConf;
    uint32_t attrRsv[2];
    int32_t crossDist;                /* pixels past a counting line before a crossing counts */
    DET_OBJ_S evtBirth;               /* evtObj at creation */
    int32_t uturnState[VCA_LINE_NUM]; /* 0 outside the U-turn area, 2 inside, 5 just left */
    RGN_STAY_S rgnStay[VCA_RGN_NUM];
    uint8_t rgnRsv[48];
    uint8_t IsCrossed[VCA_LINE_NUM]; /* 1 when a crossing was tallied for U-turn filtering */
    int32_t CrossCnt[VCA_LINE_NUM];  /* tallied changes of direction */
    int32_t crossLine[VCA_LINE_NUM]; /* line of the last tallied crossing, -1 after an exit */
    int32_t LastState[VCA_LINE_NUM]; /* last crossing direction: 0 none, 1, 2 */
    int32_t nearSide[VCA_LINE_NUM];  /* 5 or 7 while just past the line, else 0 */
    int32_t segSide[VCA_LINE_NUM][VCA_SEG_NUM];   /* 5 or 7 when a crossing was registered */
    DET_OBJ_S segPrev[VCA_LINE_NUM][VCA_SEG_NUM]; /* event box at the last settled check */
};

/* Messages 6087 (target appeared) and 6088 (target removed). */
struct TRK_SHOW_MSG_S {
    int32_t trackId;
    int32_t cx; /* centre of curObj; 0 on a cascade master */
    int32_t cy;
    int32_t footX;
    int32_t footY;
};
VCA_CHECK_SIZE(TRK_SHOW_MSG_S, 20);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, trackId, 0);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, cx, 4);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, cy, 8);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, footX, 12);
VCA_CHECK_OFFSET(TRK_SHOW_MSG_S, footY, 16);

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

/* Recomputes the event box of a track; `keep` holds on to the position box also while the track is
 * young or lost. Returns &trk->evtObj. */
VCA_API DET_OBJ_S* vca_trk_obj_get_event_box(TRACKER_RSLT_S* trk, bool keep);

/* Whether the centre of the track's event box, which it recomputes, lies on a set mask cell. */
VCA_API bool vca_trk_obj_in_mask(TRACKER_RSLT_S* trk,
                                 const char mask[VCA_MASK_ROWS][VCA_MASK_COLS]);

/* Sends message 6087 (`born`) or 6088. Returns 0. */
VCA_API int vca_trk_obj_send_history(TRACKER_RSLT_S* trk, bool born);

VCA_EXTERN_C_END

#endif
