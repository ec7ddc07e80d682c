// The event box, the in-mask test and the history message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

using fix::box;
using fix::rect;
using fix::Rect;
using testing::ElementsAre;

// Foot event size at 3 m.
constexpr int kSide = 78;

DET_OBJ_S square_around(const DET_OBJ_S& of) {
    DET_OBJ_S want = of;
    const POINT_POS_S c = fix::centre(of);
    want.x = c.x - kSide / 2;
    want.y = c.y - kSide / 2;
    want.w = want.h = kSide;
    want.area = kSide * kSide;
    return want;
}

struct EventBox : testing::Test {
    std::unique_ptr<TRACKER_RSLT_S> trk = fix::new_track();

    void SetUp() override {
        fix::set_up_device();
        trk->age = 10;
        trk->curObj = fix::patterned(1);
        trk->headBox = fix::patterned(2);
        trk->footBox = fix::patterned(3);
        trk->rawObj = fix::patterned(4);
    }

    void mode(int work_mode, int trk_mode) {
        fix::cfg().devWorkMode = work_mode;
        fix::cfg().StandAloneTrkMd = trk_mode;
    }

    void expect_box(const DET_OBJ_S& want, bool keep = false) {
        const DET_OBJ_S* got = vca_trk_obj_get_event_box(trk.get(), keep);
        EXPECT_EQ(got, &trk->evtObj);
        EXPECT_TRUE(fix::same(*got, want)) << testing::PrintToString(rect(*got)) << " instead of "
                                           << testing::PrintToString(rect(want));
    }
};

TEST_F(EventBox, PlainModesUseTheSelectedBoxAsItIs) {
    mode(0, 0);
    expect_box(trk->curObj);
    mode(0, 1);
    expect_box(trk->headBox);
    mode(0, 3);
    expect_box(trk->curObj);
    mode(2, 2);
    expect_box(trk->curObj);
    mode(2, 1);
    expect_box(trk->curObj);
}

TEST_F(EventBox, PlainModesDoNotLookAtLossOrBirth) {
    mode(0, 0);
    trk->lostCnt = 3;
    trk->age = 1;
    expect_box(trk->curObj);
    expect_box(trk->curObj, true);
}

TEST_F(EventBox, MasterUsesASquareAroundTheDetection) {
    for (const int trk_mode : {0, 1, 2}) {
        mode(1, trk_mode);
        expect_box(square_around(trk->curObj));
    }
}

TEST_F(EventBox, FootModeUsesASquareAroundTheFootBox) {
    mode(0, 2);
    expect_box(square_around(trk->footBox));
}

TEST_F(EventBox, SideFollowsTheInstallationHeight) {
    mode(0, 2);
    fix::cfg().InstallHeight = 6000;
    EXPECT_EQ(vca_trk_obj_get_event_box(trk.get(), false)->w, 40);
    EXPECT_EQ(trk->evtObj.area, 1600);
}

struct FallbackRow {
    int lost;
    int age;
    int born_inside;
    bool falls_back;  // unless kept
};

const FallbackRow kFallbackRows[] = {
    {0, 4, 0, false}, {0, 3, 0, true},  {0, 1, 0, true}, {0, 3, 1, false},  {0, 1, 1, false},
    {1, 10, 0, true}, {1, 10, 1, true}, {4, 3, 1, true}, {0, 10, 0, false},
};

TEST_F(EventBox, YoungOrLostTracksFallBack) {
    for (const FallbackRow& row : kFallbackRows) {
        SCOPED_TRACE(testing::Message()
                     << "lost " << row.lost << " age " << row.age << " inside " << row.born_inside);
        trk->lostCnt = row.lost;
        trk->age = row.age;
        for (const bool keep : {false, true}) {
            const bool falls_back = row.falls_back && !keep;
            for (const int work_mode : {0, 1}) {
                mode(work_mode, 2);
                trk->bornInside = static_cast<uint8_t>(row.born_inside);
                trk->evtObj = {};
                const DET_OBJ_S& usual = work_mode == 0 ? trk->footBox : trk->curObj;
                const DET_OBJ_S& fallback = work_mode == 0 ? trk->curObj : trk->rawObj;
                expect_box(square_around(falls_back ? fallback : usual), keep);
            }
        }
    }
}

TEST_F(EventBox, BornInsideComesFromThePreviousEventBox) {
    // 160 < x < 800 and 90.67 < y < 453.33, by the top-left corner
    const struct {
        int x, y;
        int inside;
    } rows[] = {{160, 200, 0}, {161, 200, 1}, {799, 200, 1}, {800, 200, 0}, {300, 90, 0},
                {300, 91, 1},  {300, 453, 1}, {300, 454, 0}, {0, 0, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.x << ' ' << row.y);
        for (const int work_mode : {0, 1, 2}) {
            mode(work_mode, 0);
            trk->age = 1;
            trk->bornInside = 0;
            trk->evtObj = box(row.x, row.y, 10, 10);
            vca_trk_obj_get_event_box(trk.get(), false);
            EXPECT_EQ(trk->bornInside, row.inside);
        }
    }
}

TEST_F(EventBox, BornInsideIsOnlySetBelowAgeTwoAndNeverCleared) {
    trk->age = 2;
    trk->evtObj = box(300, 200, 10, 10);
    vca_trk_obj_get_event_box(trk.get(), false);
    EXPECT_EQ(trk->bornInside, 0);
    trk->age = 0;
    trk->evtObj = box(300, 200, 10, 10);
    vca_trk_obj_get_event_box(trk.get(), false);
    EXPECT_EQ(trk->bornInside, 1);
    trk->evtObj = box(0, 0, 10, 10);
    vca_trk_obj_get_event_box(trk.get(), false);
    EXPECT_EQ(trk->bornInside, 1);
}

TEST_F(EventBox, BornInsideAlreadyHelpsTheCallThatSetsIt) {
    mode(0, 2);
    trk->age = 1;
    trk->evtObj = box(300, 200, 10, 10);
    expect_box(square_around(trk->footBox));
}

TEST_F(EventBox, TrackBornInsideUsesItsFootBoxFromTheSecondEventBoxOn) {
    mode(0, 2);
    fix::Scene scene;
    scene.pass({{1, fix::centred(480, 272)}});
    // the first event box, at creation, is around the detection; the pass then finds it inside
    EXPECT_EQ(rect(scene.list[0].evtBirth), rect(square_around(scene.list[0].curObj)));
    EXPECT_EQ(scene.list[0].bornInside, 1);
    EXPECT_TRUE(fix::same(scene.list[0].evtObj, square_around(scene.list[0].footBox)));
    EXPECT_EQ(scene.list[0].crossDist, 26);  // 78 * 0.5 * 0.6666667
}

TEST_F(EventBox, TrackBornOutsideUsesItsDetectionUntilAgeFour) {
    mode(0, 2);
    fix::Scene scene;
    for (int age = 1; age <= 4; ++age) {
        scene.pass({{1, fix::centred(60, 60)}});
        const TRACKER_RSLT_S& trk1 = scene.list[0];
        EXPECT_TRUE(fix::same(trk1.evtObj, square_around(age < 4 ? trk1.curObj : trk1.footBox)))
            << age;
        EXPECT_EQ(trk1.bornInside, 0);
    }
}

// ---- In-mask test ----

struct InMask : EventBox {
    std::unique_ptr<VCA_MASK_S> mask = std::make_unique<VCA_MASK_S>();

    bool inside() { return vca_trk_obj_in_mask(trk.get(), mask->mask); }
};

TEST_F(InMask, CentreOfTheMappedBoxDecides) {
    // 460 * 320 / 960 = 153, 252 * 181 / 544 = 83, 40 * 320 / 960 = 13, 40 * 181 / 544 = 13:
    // column 153 + 6, row 83 + 6
    trk->curObj = fix::centred(480, 272);
    EXPECT_FALSE(inside());
    mask->mask[89][159] = 1;
    EXPECT_TRUE(inside());
    std::memset(mask->mask, 1, sizeof(mask->mask));
    mask->mask[89][159] = 0;
    EXPECT_FALSE(inside());
}

TEST_F(InMask, AnyNonzeroByteCounts) {
    trk->curObj = fix::centred(480, 272);
    mask->mask[89][159] = -1;
    EXPECT_TRUE(inside());
}

TEST_F(InMask, RecomputesTheEventBoxWithoutKeep) {
    mode(0, 2);
    trk->lostCnt = 1;
    inside();
    EXPECT_TRUE(fix::same(trk->evtObj, square_around(trk->curObj)));
}

TEST_F(InMask, BoxIsMovedAndClampedIntoTheCascadeMap) {
    int32_t* map = fix::cfg().cscdMapSize;
    map[0] = 100, map[1] = 50, map[2] = 320, map[3] = 181;
    // moved to (10, 20): the centre of 40 x 40 is cell (30, 40)
    trk->curObj = box(110, 70, 40, 40);
    mask->mask[40][30] = 1;
    EXPECT_TRUE(inside());
    // left of the map: x clamps to 0, the width stays
    mask->mask[40][20] = 1;
    trk->curObj = box(0, 70, 40, 40);
    EXPECT_TRUE(inside());
    // right of it: x clamps to 316 and the width to 3
    mask->mask[40][317] = 1;
    trk->curObj = box(900, 70, 40, 40);
    EXPECT_TRUE(inside());
    EXPECT_EQ(rect(trk->evtObj), Rect({900, 70, 40, 40}));
}

TEST_F(InMask, MapWithoutSizeIsTheFirstCell) {
    int32_t* map = fix::cfg().cscdMapSize;
    map[2] = map[3] = 0;
    trk->curObj = fix::centred(480, 272);
    EXPECT_FALSE(inside());
    mask->mask[0][0] = 1;
    EXPECT_TRUE(inside());
}

// ---- History message ----

TEST_F(EventBox, HistoryMessageHoldsCentreAndFootPoint) {
    trk->trackId = 17;
    trk->curObj = box(101, 51, 41, 31);
    trk->footX = -5;
    trk->footY = 700;
    const TRK_SHOW_MSG_S here{17, 121, 66, -5, 700};
    const TRK_SHOW_MSG_S on_master{17, 0, 0, -5, 700};
    EXPECT_EQ(vca_trk_obj_send_history(trk.get(), true), 0);
    fix::cfg().devWorkMode = VCA_WORK_SLAVE;
    EXPECT_EQ(vca_trk_obj_send_history(trk.get(), false), 0);
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    vca_trk_obj_send_history(trk.get(), true);
    vca_trk_obj_send_history(trk.get(), false);
    EXPECT_THAT(fix::take_messages(),
                ElementsAre(fix::message_of(6087, here), fix::message_of(6088, here),
                            fix::message_of(6087, on_master), fix::message_of(6088, on_master)));
}

}  // namespace
