// What the merge logs, and message 6086 byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/detect/merge_fixture.h"
#include "tests/support/scripted_host.h"

namespace {

using fix::box;
using fix::message_of;
using fix::take_messages;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kDetections = 6086;

struct Display : MergeFixture {
    void SetUp() override {
        MergeFixture::SetUp();
        fix::cfg().ShowDetectBox = 1;
        test::host().model_cfg[test::kColourModel].det_show_thresh = 0.5f;
        vca_get_pCtrl_param()->frame_flag = 0x11223344;
        vca_get_pCtrl_param()->reserved1 = 0x55667788;
    }

    static DET_SHOW_MSG_S empty_message() {
        DET_SHOW_MSG_S msg{};
        msg.frame_flag[0] = 0x11223344;
        msg.frame_flag[1] = 0x55667788;
        return msg;
    }

    std::vector<std::string> print() {
        return fix::printed_by([this] { merge(); });
    }
};

TEST_F(Display, SendsTheThreeListsWhole) {
    add(real, fix::patterned(1));
    real->objs[0].score = 0.75f;
    add(depth, fix::patterned(2));
    depth->objs[0].score = 0.625f;
    depth->objs[0].x = 500;
    DET_SHOW_MSG_S want = empty_message();
    want.real_num = 1;
    want.real_objs[0] = real->objs[0];
    want.depth_num = 1;
    want.depth_objs[0] = depth->objs[0];
    want.merge_num = 2;
    want.merge_objs[0] = real->objs[0];
    want.merge_objs[1] = depth->objs[0];
    EXPECT_EQ(merge(), 0);
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, NothingIsSentWhenNotConfigured) {
    fix::cfg().ShowDetectBox = 0;
    add(real, box(100, 100, 40, 40));
    merge();
    fix::set_switch(fix::kSwDetect, true);
    fix::output_of([this] { merge(); });
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(Display, NothingIsLoggedWithoutTheSwitch) {
    add(real, box(100, 100, 40, 40));
    EXPECT_THAT(print(), IsEmpty());
}

TEST_F(Display, ColourBoxAtTheThresholdIsShownMergedBoxIsNot) {
    add(real, box(100, 100, 40, 40, 0.5f));
    DET_SHOW_MSG_S want = empty_message();
    want.real_num = 1;
    want.real_objs[0] = real->objs[0];
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));

    real->num = 0;
    add(depth, box(300, 100, 40, 40, 0.5f));
    want = empty_message();
    want.depth_num = 1;
    want.depth_objs[0] = depth->objs[0];
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, BoxesJustBesideTheThreshold) {
    add(real, box(100, 100, 40, 40, std::nextafter(0.5f, 0.0f)));
    add(real, box(300, 100, 40, 40, std::nextafter(0.5f, 1.0f)));
    DET_SHOW_MSG_S want = empty_message();
    want.real_num = 1;
    want.real_objs[0] = real->objs[1];
    want.merge_num = 1;
    want.merge_objs[0] = real->objs[1];
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, NanScoreIsNotBelowAndNotAboveTheThreshold) {
    add(real, box(100, 100, 40, 40, std::numeric_limits<float>::quiet_NaN()));
    DET_SHOW_MSG_S want = empty_message();
    want.real_num = 1;
    want.real_objs[0] = real->objs[0];
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, MissingModelConfigurationCountsAsThresholdZero) {
    test::host().model_cfg.clear();
    add(real, box(100, 100, 40, 40, 0.0f));
    add(real, box(300, 100, 40, 40, 0.01f));
    DET_SHOW_MSG_S want = empty_message();
    want.real_num = 2;
    want.real_objs[0] = real->objs[0];
    want.real_objs[1] = real->objs[1];
    want.merge_num = 1;
    want.merge_objs[0] = real->objs[1];
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, SmallBoxesAreShownOnlyAboveFourThousandEightHundred) {
    add(real, box(100, 100, 24, 40));
    add(depth, box(300, 100, 40, 24));
    merge();
    EXPECT_THAT(take_messages(), IsEmpty());
    fix::cfg().InstallHeight = 4801;
    DET_SHOW_MSG_S want = empty_message();
    want.real_num = 1;
    want.real_objs[0] = real->objs[0];
    want.depth_num = 1;
    want.depth_objs[0] = depth->objs[0];
    want.merge_num = 2;
    want.merge_objs[0] = real->objs[0];
    want.merge_objs[1] = depth->objs[0];
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, InputListsAreShownBeforeCoverBorderAndExclusion) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    cfg.ExclTotalEn = 1;
    cfg.ExclEn[0] = 1;
    cfg.ExclType[0] = 1;
    std::memset(cfg.exclMask[0].mask, 1, sizeof(cfg.exclMask[0].mask));
    add(real, box(100, 100, 40, 40));   // excluded
    add(depth, box(100, 100, 40, 40));  // covered
    add(depth, box(0, 0, 40, 40));      // in the border band
    DET_SHOW_MSG_S want = empty_message();
    want.real_num = 1;
    want.real_objs[0] = real->objs[0];
    want.depth_num = 2;
    want.depth_objs[0] = depth->objs[0];
    want.depth_objs[1] = depth->objs[1];
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, ThirtyBoxesOfEachListAtMost) {
    DET_SHOW_MSG_S want = empty_message();
    for (int i = 0; i < 31; ++i) {
        add(real, box(1 + i, 400, 40, 40));
        add(depth, box(100 + i, 100, 40, 40));
        if (i == 30) break;
        want.real_objs[i] = real->objs[i];
        want.depth_objs[i] = depth->objs[i];
        want.merge_objs[i] = real->objs[i];
    }
    want.real_num = want.depth_num = want.merge_num = 30;
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, want)));
}

TEST_F(Display, SkippedBoxesTakeNoPlaceAmongTheThirty) {
    for (int i = 0; i < 5; ++i)
        add(real, box(i, 400, 40, 40, 0.1f));
    for (int i = 0; i < 30; ++i)
        add(real, box(1 + i, 400, 40, 40));
    merge();
    const auto sent = take_messages();
    ASSERT_EQ(sent.size(), 1u);
    DET_SHOW_MSG_S msg;
    std::memcpy(&msg, sent[0].bytes.data(), sizeof(msg));
    EXPECT_EQ(msg.real_num, 30);
    EXPECT_TRUE(fix::same(msg.real_objs[29], real->objs[34]));
}

TEST_F(Display, OneEmptyMessageClearsTheDisplay) {
    merge();
    EXPECT_THAT(take_messages(), IsEmpty());  // nothing was ever shown
    add(real, box(100, 100, 40, 40));
    merge();
    merge();
    EXPECT_EQ(take_messages().size(), 2u);
    real->num = 0;
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, empty_message())));
    merge();
    merge();
    EXPECT_THAT(take_messages(), IsEmpty());
    add(real, box(100, 100, 40, 40, 0.1f));  // below the threshold: still nothing to show
    merge();
    EXPECT_THAT(take_messages(), IsEmpty());
    add(real, box(100, 100, 40, 40));
    merge();
    EXPECT_EQ(take_messages().size(), 1u);
    real->num = 1;  // only the box below the threshold is left
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, empty_message())));
}

TEST_F(Display, SwitchedOffDisplayOwesItsEmptyMessage) {
    add(real, box(100, 100, 40, 40));
    merge();
    take_messages();
    real->num = 0;
    fix::cfg().ShowDetectBox = 0;
    merge();
    EXPECT_THAT(take_messages(), IsEmpty());
    fix::cfg().ShowDetectBox = 1;
    merge();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kDetections, empty_message())));
}

TEST_F(Display, LogsTheListsInOrder) {
    fix::set_switch(fix::kSwDetect, true);
    add(real, box(100, 101, 40, 41, 0.75f, 1));
    add(real, box(0, 400, 40, 41, 0.25f, 2));     // below the threshold
    add(real, box(200, 102, 24, 41, 0.875f, 7));  // too small
    add(real, box(500, 103, 50, 60, 0.5f, 255));
    add(depth, box(300, 104, 42, 43, 0.625f, 2));
    add(depth, box(300, 400, 42, 43, 0.375f, 2));
    EXPECT_THAT(
        print(),
        ElementsAre("log: \nDetection: Real=4 Depth=2 Merge=5",
                    "log: Real[0]=(100 101 40 41) 1 0.75", "log: Real[3]=(500 103 50 60) 255 0.50",
                    "log: Depth[0]=(300 104 42 43) 2 0.62", "log: Merge[0]=(100 101 40 41) 1 0.75",
                    "log: Merge[1]=(0 400 40 41) 2 0.25", "log: Merge[2]=(500 103 50 60) 255 0.50",
                    "log: Merge[3]=(300 104 42 43) 2 0.62",
                    "log: Merge[4]=(300 400 42 43) 2 0.38"));
}

TEST_F(Display, LogsAreTheSameWithoutTheMessage) {
    fix::set_switch(fix::kSwDetect, true);
    fix::cfg().ShowDetectBox = 0;
    add(real, box(100, 101, 40, 41, 0.75f, 1));
    EXPECT_THAT(print(), ElementsAre("log: \nDetection: Real=1 Depth=0 Merge=1",
                                     "log: Real[0]=(100 101 40 41) 1 0.75",
                                     "log: Merge[0]=(100 101 40 41) 1 0.75"));
}

TEST_F(Display, NoDetectionLineForAnEmptyMerge) {
    fix::set_switch(fix::kSwDetect, true);
    add(depth, box(0, 101, 40, 41, 0.75f, 1));  // in the border band
    EXPECT_THAT(print(), ElementsAre("log: Depth[0]=(0 101 40 41) 1 0.75"));
}

TEST_F(Display, OtherSwitchesLogNothing) {
    add(real, box(100, 100, 40, 40));
    for (int n = 0; n < 25; ++n)
        if (n != fix::kSwDetect) vca_get_logs_dbg()[17 * n] = 1;
    EXPECT_THAT(print(), IsEmpty());
}

}  // namespace
