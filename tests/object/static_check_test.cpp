// Static false detections: targets that stay put while the detector is unsure of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace {

using fix::box;
using fix::rect;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const kSet = "log: Trk[5] Static False Det = VCA_TRUE";
const char* const kCleared = "log: Trk[5] Static False Det = VCA_FALSE";

// 100 x 100 boxes at y = 200: a shift of d pixels leaves (100 - d) / (100 + d).
DET_OBJ_S shifted(int d, float score = 0.5f) {
    return box(300 + d, 200, 100, 100, score);
}

struct Static : testing::Test {
    std::unique_ptr<TRACKER_RSLT_S> trk = fix::new_track(5);

    void SetUp() override {
        fix::set_up_device();
        trk->curObj = shifted(0);
        trk->staticRefBox = shifted(0);
        trk->age = 2;
    }

    // One check of a box; the position before it is the box of the last check.
    std::vector<std::string> check(const DET_OBJ_S& obj) {
        const DET_OBJ_S before = trk->curObj;
        trk->curObj = obj;
        return fix::printed_by([&] { vca_dev_obj_chk_static_false_det(trk.get(), &before); });
    }

    void flag() {
        for (int i = 0; i < 61; ++i)
            check(shifted(0));
    }
};

TEST_F(Static, FirstTwoUpdatesSetTheReference) {
    for (const int age : {0, 1}) {
        trk->age = age;
        trk->moveIoU = 0;
        trk->rawHeight = 5;
        EXPECT_THAT(check(shifted(50 + age)), IsEmpty());
        EXPECT_EQ(trk->moveIoU, 0.9f);
        EXPECT_EQ(trk->rawHeight, 1720.0f);
        EXPECT_TRUE(fix::same(trk->firstBox, trk->curObj));
        EXPECT_TRUE(fix::same(trk->staticRefBox, trk->curObj));
        EXPECT_EQ(trk->staticMoveCnt + trk->staticStillCnt, 0);
    }
    trk->age = 2;
    check(shifted(0));
    EXPECT_EQ(rect(trk->firstBox), rect(shifted(51)));
    EXPECT_EQ(rect(trk->staticRefBox), rect(shifted(51)));
}

TEST_F(Static, LowScoreIsFlaggedOnTheSixtyFirstStillUpdate) {
    for (int i = 1; i <= 60; ++i) {
        EXPECT_THAT(check(shifted(1)), IsEmpty());
        EXPECT_EQ(trk->staticStillCnt, i);
    }
    EXPECT_EQ(trk->staticFalseDet, 0);
    EXPECT_THAT(check(shifted(1)), ElementsAre(kSet));
    EXPECT_EQ(trk->staticFalseDet, 1);
    EXPECT_EQ(trk->staticStillCnt, 0);
    EXPECT_EQ(rect(trk->staticRefBox), rect(shifted(1)));
}

TEST_F(Static, FlaggedTargetIsNotAnnouncedAgainButItsReferenceMoves) {
    flag();
    for (int i = 0; i < 60; ++i)
        EXPECT_THAT(check(shifted(2)), IsEmpty());
    EXPECT_EQ(rect(trk->staticRefBox), rect(shifted(0)));
    EXPECT_THAT(check(shifted(2)), IsEmpty());
    EXPECT_EQ(rect(trk->staticRefBox), rect(shifted(2)));
    EXPECT_EQ(trk->staticStillCnt, 0);
    EXPECT_EQ(trk->staticFalseDet, 1);
}

TEST_F(Static, ConfidentTargetsAreNeverFlagged) {
    for (int i = 0; i < 200; ++i)
        check(shifted(0, 0.95f));
    for (int i = 0; i < 200; ++i)
        check(shifted(0, 0.9f));
    EXPECT_EQ(trk->staticStillCnt, 0);
    EXPECT_EQ(trk->staticFalseDet, 0);
    check(shifted(0, std::nextafter(0.9f, 0.0f)));
    EXPECT_EQ(trk->staticStillCnt, 1);
}

TEST_F(Static, ConfidentFramesAndMovesDoNotResetTheStillCounter) {
    for (int i = 0; i < 30; ++i)
        check(shifted(0));
    check(shifted(0, 0.95f));
    check(shifted(60));
    EXPECT_EQ(trk->staticStillCnt, 30);
}

TEST_F(Static, FourMovesClearTheFlag) {
    flag();
    for (int i = 1; i <= 3; ++i) {
        EXPECT_THAT(check(shifted(60)), IsEmpty());
        EXPECT_EQ(trk->staticMoveCnt, i);
    }
    EXPECT_THAT(check(shifted(70)), ElementsAre(kCleared));
    EXPECT_EQ(trk->staticFalseDet, 0);
    EXPECT_EQ(trk->staticMoveCnt, 0);
    EXPECT_EQ(rect(trk->staticRefBox), rect(shifted(70)));
}

TEST_F(Static, StillFrameBetweenMovesStartsTheCountAgain) {
    flag();
    for (int i = 0; i < 3; ++i)
        check(shifted(60));
    check(shifted(0));
    for (int i = 0; i < 3; ++i)
        EXPECT_THAT(check(shifted(60)), IsEmpty());
    EXPECT_EQ(trk->staticFalseDet, 1);
    EXPECT_THAT(check(shifted(60)), ElementsAre(kCleared));
}

TEST_F(Static, UnflaggedTargetMovesItsReferenceSilently) {
    for (int i = 0; i < 4; ++i)
        EXPECT_THAT(check(shifted(60)), IsEmpty());
    EXPECT_EQ(rect(trk->staticRefBox), rect(shifted(60)));
    EXPECT_EQ(trk->staticMoveCnt, 0);
}

TEST_F(Static, BetweenStillAndMovedNothingChanges) {
    trk->staticMoveCnt = 2;
    trk->staticStillCnt = 7;
    // 0.8 exactly: 80 of 100 columns; 0.6 exactly: 60 of 100
    trk->staticRefBox = box(300, 200, 100, 100);
    for (const int w : {80, 70, 60}) {
        check(box(300, 200, w, 100, 0.5f));
        EXPECT_EQ(trk->staticMoveCnt, 2) << w;
        EXPECT_EQ(trk->staticStillCnt, 7) << w;
    }
    check(box(300, 200, 59, 100, 0.5f));
    EXPECT_EQ(trk->staticMoveCnt, 3);
    check(box(300, 200, 81, 100, 0.5f));
    EXPECT_EQ(trk->staticMoveCnt, 0);
    EXPECT_EQ(trk->staticStillCnt, 8);
}

TEST_F(Static, EmptyBoxesGiveNanWhichIsNeitherStillNorMoved) {
    trk->staticRefBox = box(300, 200, 0, 0);
    check(box(100, 100, 0, 0));
    EXPECT_EQ(trk->staticMoveCnt, 0);
    EXPECT_EQ(trk->staticStillCnt, 0);
}

TEST_F(Static, MotionIsTheOverlapWithThePreviousPosition) {
    check(shifted(0));
    EXPECT_EQ(trk->moveIoU, 1.0f);
    check(shifted(50));
    EXPECT_EQ(trk->moveIoU, 50.0f / 150.0f);
    check(shifted(150));
    EXPECT_EQ(trk->moveIoU, 0.0f);
}

TEST_F(Static, LooksAtThePositionBox) {
    fix::cfg().StandAloneTrkMd = VCA_POSITION_FOOT;
    trk->footBox = shifted(60);
    const DET_OBJ_S before = shifted(10);
    vca_dev_obj_chk_static_false_det(trk.get(), &before);
    EXPECT_EQ(trk->staticMoveCnt, 1);
    EXPECT_EQ(trk->moveIoU, 50.0f / 150.0f);
    trk->age = 1;
    vca_dev_obj_chk_static_false_det(trk.get(), &before);
    EXPECT_EQ(rect(trk->staticRefBox), rect(shifted(60)));
}

// ---- Through the whole update ----

TEST_F(Static, UpdateHandsOverThePositionBeforeIt) {
    fix::Scene scene;
    scene.pass({{5, shifted(0)}});
    scene.pass({{5, shifted(0)}});
    EXPECT_EQ(scene.list[0].moveIoU, 0.9f);
    scene.pass({{5, shifted(50)}});
    EXPECT_EQ(scene.list[0].moveIoU, 50.0f / 150.0f);
    EXPECT_EQ(rect(scene.list[0].firstBox), rect(shifted(0)));
}

TEST_F(Static, UnsureTargetIsFlaggedOnItsSixtyThirdUpdate) {
    fix::Scene scene;
    // two updates set the reference, then 61 still ones
    std::vector<std::string> printed;
    for (int i = 0; i < 62; ++i) {
        printed = fix::printed_by([&] { scene.pass({{5, shifted(0)}}); });
        ASSERT_THAT(printed, IsEmpty()) << i;
    }
    EXPECT_THAT(fix::printed_by([&] { scene.pass({{5, shifted(0)}}); }), ElementsAre(kSet));
    EXPECT_EQ(scene.list[0].staticFalseDet, 1);
}

TEST_F(Static, RawHeightIsOverwrittenOnTheFirstTwoUpdates) {
    fix::Scene scene;
    auto& depth = fix::depth_image();
    depth.assign(depth.size(), 1400);
    scene.pass({{5, shifted(0)}});
    EXPECT_EQ(scene.list[0].rawHeight, 1720.0f);
    EXPECT_EQ(scene.list[0].height, 1600.0f);
    scene.pass({{5, shifted(0)}});
    EXPECT_EQ(scene.list[0].rawHeight, 1720.0f);
    scene.pass({{5, shifted(0)}});
    EXPECT_EQ(scene.list[0].rawHeight, 1600.0f);
}

}  // namespace
