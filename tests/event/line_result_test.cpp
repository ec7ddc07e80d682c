// Messages 6045 and 6080 byte for byte, and the closing of groups.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/event/group_fixture.h"

namespace {

using fix::message_of;
using fix::take_messages;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kLineCount = 6045;
constexpr int kGroupCount = 6080;

struct Result : GroupFixture {
    static GROUP_COUNT_MSG_S group_message(int members, int line, int direction) {
        return {{0x11223344, 0x55667788}, members, line, direction, 0};
    }

    // Refreshes until the open groups are gone, leaving out what crossings print; the number of
    // calls it took.
    static int refreshes_until_closed() {
        int calls = 0;
        while (!groups().empty() && calls < 200) {
            refresh();
            ++calls;
        }
        return calls;
    }
};

TEST_F(Result, NothingQueuedSendsNothing) {
    EXPECT_THAT(refresh(), IsEmpty());
    EXPECT_THAT(take_messages(), IsEmpty());
    EXPECT_EQ(vca_event_counting_refresh_line_result(), 0);
}

TEST_F(Result, CrossingsAreSentWholeInQueueOrder) {
    fix::cfg().GroupEn = 0;
    std::vector<fix::Message> want;
    for (int i = 0; i < 3; ++i) {
        trk->trackId = 20 + i;
        trk->curObj = fix::patterned(static_cast<uint32_t>(i));
        trk->height = 1700;
        trk->speed = 5;
        fix::output_of([&] { vca_dev_add_counting_line_group(trk.get(), i, 1 + i % 2); });
        LINE_COUNT_MSG_S msg{};
        msg.frame_flag[0] = 0x11223344;
        msg.frame_flag[1] = 0x55667788;
        msg.trackId = 20 + i;
        msg.obj = fix::patterned(static_cast<uint32_t>(i));
        msg.line = i;
        msg.cross = VCA_DIR_1 + i % 2;
        want.push_back(message_of(kLineCount, msg));
    }
    EXPECT_THAT(refresh(), ElementsAre("log: send_msg obj[20] line=0 counter",
                                       "log: send_msg obj[21] line=1 counter",
                                       "log: send_msg obj[22] line=2 counter"));
    EXPECT_EQ(take_messages(), want);
    EXPECT_THAT(*vca_dev_get_counting_results(), IsEmpty());
    EXPECT_EQ(vca_dev_get_counting_results()->capacity(), 0u);
    refresh();
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(Result, BoxIsTheOneOfTheCrossing) {
    cross(300, 10);
    trk->curObj = fix::centred(700, 400);
    refresh();
    const auto sent = take_messages();
    ASSERT_THAT(sent, SizeIs(1));
    LINE_COUNT_MSG_S msg;
    std::memcpy(&msg, sent[0].bytes.data(), sizeof(msg));
    EXPECT_EQ(fix::centre(msg.obj).x, 300);
}

TEST_F(Result, StampIsThatOfTheSendingFrame) {
    cross(300, 10);
    vca_get_pCtrl_param()->frame_flag = 77;
    vca_get_pCtrl_param()->reserved1 = 0;
    refresh();
    const auto sent = take_messages();
    ASSERT_THAT(sent, SizeIs(1));
    uint64_t stamp = 0;
    std::memcpy(&stamp, sent[0].bytes.data(), sizeof(stamp));
    EXPECT_EQ(stamp, 77u);
}

TEST_F(Result, GroupIsReportedOnceItHasBeenSilentLongEnough) {
    cross(300, 14);  // 100 / 14 * 1.45 = 10.4: 10 frames
    cross(320, 14);
    cross(340, 14);
    refresh();
    EXPECT_EQ(take_messages().size(), 3u);
    for (int call = 2; call <= 10; ++call) {
        EXPECT_THAT(refresh(), IsEmpty());
        EXPECT_THAT(take_messages(), IsEmpty());
        EXPECT_EQ(groups()[0].err, call);
    }
    EXPECT_THAT(refresh(), ElementsAre("log: Grp[0] obj_num=3(2 10) dir=1 counted!"));
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kGroupCount, group_message(3, 0, 1))));
    EXPECT_THAT(groups(), IsEmpty());
}

TEST_F(Result, LaterMembersPostponeTheReport) {
    cross(300, 14);
    for (int i = 0; i < 9; ++i)
        refresh();
    cross(310, 14);
    EXPECT_EQ(refreshes_until_closed(), 11);
}

TEST_F(Result, DirectionAndLineAreSent) {
    cross(300, 14, 3, 2);
    cross(310, 14, 3, 2);
    refresh();
    take_messages();
    refreshes_until_closed();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kGroupCount, group_message(2, 3, 2))));
}

TEST_F(Result, SmallGroupClosesSilently) {
    cross(300, 14);
    refresh();
    take_messages();
    for (int i = 0; i < 9; ++i)
        refresh();
    EXPECT_THAT(refresh(),
                ElementsAre("log: Grp[0] obj_num=1 less than min_num=2, to be filtered!"));
    EXPECT_THAT(take_messages(), IsEmpty());
    EXPECT_THAT(groups(), IsEmpty());
}

TEST_F(Result, GroupOfTheMinimumIsReported) {
    fix::cfg().GroupObjNumMin = 1;
    cross(300, 14);
    refresh();
    take_messages();
    refreshes_until_closed();
    EXPECT_THAT(take_messages(), SizeIs(1));
}

TEST_F(Result, FullGroupIsReportedInTheNextCall) {
    fix::cfg().GroupObjNumMax = 3;
    for (int i = 0; i < 3; ++i)
        cross(300 + i, 14);
    EXPECT_THAT(refresh(), ElementsAre("log: send_msg obj[1] line=0 counter",
                                       "log: send_msg obj[1] line=0 counter",
                                       "log: send_msg obj[1] line=0 counter",
                                       "log: Grp[0] obj_num=3 reached max_num=3, to be truncated!",
                                       "log: Grp[0] obj_num=3(2 3) dir=1 counted!"));
    const auto sent = take_messages();
    ASSERT_THAT(sent, SizeIs(4));
    EXPECT_EQ(sent[3], message_of(kGroupCount, group_message(3, 0, 1)));
    EXPECT_THAT(groups(), IsEmpty());
}

TEST_F(Result, GroupAboveTheMaximumClosesToo) {
    for (int i = 0; i < 3; ++i)
        cross(300 + i, 14);
    fix::cfg().GroupObjNumMax = 2;
    EXPECT_THAT(refresh(),
                testing::Contains("log: Grp[0] obj_num=3 reached max_num=2, to be truncated!"));
    EXPECT_THAT(groups(), IsEmpty());
}

TEST_F(Result, FullGroupBelowTheMinimumIsFiltered) {
    fix::cfg().GroupObjNumMax = 1;
    cross(300, 14);
    EXPECT_THAT(refresh(),
                ElementsAre("log: send_msg obj[1] line=0 counter",
                            "log: Grp[0] obj_num=1 reached max_num=1, to be truncated!",
                            "log: Grp[0] obj_num=1 less than min_num=2, to be filtered!"));
}

TEST_F(Result, LinesOfTheSwitch) {
    fix::cfg().GroupObjNumMax = 3;
    for (int i = 0; i < 3; ++i)
        cross(300 + i, 14);
    cross(300, 14, 1, 1);
    fix::set_switch(fix::kSwGroup, true);
    auto printed = refresh();
    printed.erase(printed.begin(), printed.begin() + 4);  // the persons
    // err = 0 + errMax 10 + 1
    EXPECT_THAT(printed, ElementsAre("log: Grp[0] obj_num=3 reached max_num=3, to be truncated!",
                                     "log: Grp[0] Add: Obj=3 Err=11",
                                     "log: Grp[0] obj_num=3(2 3) dir=1 counted!",
                                     "log: Grp[0] Del: Obj=3 Err=11"));
    for (int i = 0; i < 9; ++i)
        refresh();
    EXPECT_THAT(refresh(), ElementsAre("log: Grp[1] obj_num=1 less than min_num=2, to be filtered!",
                                       "log: Grp[1] Del: Obj=1 Err=11"));
}

TEST_F(Result, NeighboursOfAClosedGroupAreNotSkipped) {
    fix::cfg().GroupObjNumMin = 1;
    cross(100, 14, 0, 1);
    cross(300, 14, 1, 2);
    cross(500, 5, 2, 1);  // 29 frames
    cross(700, 14, 3, 1);
    refresh();
    take_messages();
    for (int i = 0; i < 9; ++i)
        refresh();
    EXPECT_EQ(groups().size(), 4u);
    refresh();
    EXPECT_THAT(take_messages(), ElementsAre(message_of(kGroupCount, group_message(1, 0, 1)),
                                             message_of(kGroupCount, group_message(1, 1, 2)),
                                             message_of(kGroupCount, group_message(1, 3, 1))));
    ASSERT_THAT(groups(), SizeIs(1));
    EXPECT_EQ(groups()[0].line, 2);
    EXPECT_EQ(groups()[0].err, 11);
}

TEST_F(Result, OpenGroupsOutliveTheGroupSetting) {
    cross(300, 14);
    cross(310, 14);
    fix::cfg().GroupEn = 0;
    refresh();
    take_messages();
    refreshes_until_closed();
    EXPECT_THAT(take_messages(), SizeIs(1));
}

}  // namespace
