// Queueing of counted crossings and the search for a group to join.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "tests/event/group_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Group = GroupFixture;

TEST_F(Group, ResultHoldsTheCrossing) {
    trk->trackId = 17;
    trk->updSeq = 4321;
    trk->height = 1712.5f;
    trk->speed = 3.25f;
    trk->curObj = fix::patterned(1);
    fix::output_of([&] { EXPECT_EQ(vca_dev_add_counting_line_group(trk.get(), 3, 2), 0); });
    const DEV_COUNTING_RSLT_S want{4321, 17, fix::patterned(1), 1712.5f, 3.25f, 3, 2};
    ASSERT_THAT(*vca_dev_get_counting_results(), SizeIs(1));
    EXPECT_TRUE(fix::same(vca_dev_get_counting_results()->front(), want));
}

TEST_F(Group, BoxByWorkModeAndSetting) {
    trk->curObj = fix::patterned(1);
    trk->headBox = fix::patterned(2);
    trk->footBox = fix::patterned(3);
    const struct {
        int mode, setting;
        uint32_t which;
    } rows[] = {{0, 0, 1}, {0, 1, 2}, {0, 2, 3}, {0, 5, 1}, {1, 1, 1}, {1, 2, 1}, {2, 2, 1}};
    for (const auto& row : rows) {
        fix::cfg().devWorkMode = row.mode;
        fix::cfg().StandAloneTrkMd = row.setting;
        fix::output_of([&] { vca_dev_add_counting_line_group(trk.get(), 0, 1); });
        EXPECT_TRUE(
            fix::same(vca_dev_get_counting_results()->back().obj, fix::patterned(row.which)));
        EXPECT_TRUE(fix::same(groups().back().members.back(), fix::patterned(row.which)));
    }
}

TEST_F(Group, CrossingIsAlwaysPrinted) {
    trk->updSeq = 9999;
    trk->trackId = 17;
    trk->height = 1712.126f;
    EXPECT_THAT(cross(300, 10, 2, 2),
                ElementsAre("plain: $Frm[9999] $bCountingEn=1 Obj[17] Cls=1 CrossEvt=2 uTurnLine=2 "
                            "$H=1712.13"));
}

TEST_F(Group, NothingIsCountedWhileCountingIsDisabled) {
    dev_set_counting_enable(false);
    EXPECT_THAT(cross(300, 10),
                ElementsAre("plain: $Frm[0] $bCountingEn=0 Obj[1] Cls=1 CrossEvt=1 uTurnLine=0 "
                            "$H=0.00"));
    EXPECT_THAT(*vca_dev_get_counting_results(), IsEmpty());
    EXPECT_THAT(groups(), IsEmpty());
    dev_set_counting_enable(true);
    cross(300, 10);
    EXPECT_THAT(*vca_dev_get_counting_results(), SizeIs(1));
    EXPECT_THAT(groups(), SizeIs(1));
}

TEST_F(Group, OnlyPersonsAreGrouped) {
    for (const uint8_t class_id : {uint8_t{0}, uint8_t{2}, uint8_t{255}}) {
        trk->curObj = fix::centred(300, 200);
        trk->curObj.class_id = class_id;
        fix::output_of([&] { vca_dev_add_counting_line_group(trk.get(), 0, 1); });
    }
    EXPECT_THAT(*vca_dev_get_counting_results(), SizeIs(3));
    EXPECT_THAT(groups(), IsEmpty());
}

TEST_F(Group, NoGroupsWhenSwitchedOff) {
    fix::cfg().GroupEn = 0;
    cross(300, 10);
    EXPECT_THAT(*vca_dev_get_counting_results(), SizeIs(1));
    EXPECT_THAT(groups(), IsEmpty());
}

// ---- New groups ----

TEST_F(Group, NewGroupHoldsItsFounder) {
    cross(300, 10, 2, 1);
    ASSERT_THAT(groups(), SizeIs(1));
    const DEV_COUNTING_GROUP_S& group = groups()[0];
    EXPECT_EQ(group.id, 0);
    EXPECT_EQ(group.counted, 0);
    EXPECT_EQ(group.err, 0);
    EXPECT_EQ(group.errMax, 14);  // 100 / 10 * 1.45 = 14.5
    EXPECT_EQ(group.line, 2);
    EXPECT_EQ(group.event, 3);
    EXPECT_EQ(group.speed, 10.0f);
    ASSERT_THAT(group.members, SizeIs(1));
    EXPECT_TRUE(fix::same(group.members[0], trk->curObj));
    cross(300, 10, 2, 2);
    ASSERT_THAT(groups(), SizeIs(2));
    EXPECT_EQ(groups()[1].id, 1);
    EXPECT_EQ(groups()[1].event, 4);
}

TEST_F(Group, WaitingTimeFollowsTheSpeed) {
    const struct {
        float speed;
        int err_max;
    } rows[] = {
        {10, 14},    {5, 29},  {100, 10},           {13.1f, 11},
        {13.2f, 10}, {1, 80},  {1.81f, 80},         {1.85f, 78},
        {0, 80},     {-5, 10}, {std::nanf(""), 10}, {std::numeric_limits<float>::infinity(), 10}};
    int line = 0;
    for (const auto& row : rows) {
        cross(300, row.speed, line++);  // each alone on its line
        EXPECT_EQ(groups().back().errMax, row.err_max) << row.speed;
    }
}

TEST_F(Group, NoDistanceAndNoSpeedGiveTheShortestWait) {
    fix::cfg().GroupDistMax = 0;
    cross(300, 0);  // 0 / 0
    EXPECT_EQ(groups()[0].errMax, 10);
}

TEST_F(Group, UnknownDirectionFoundsAGroupOfTheSecond) {
    cross(300, 10, 0, 3);
    cross(300, 10, 0, 3);  // and finds none
    EXPECT_THAT(sizes(), ElementsAre(1, 1));
    EXPECT_EQ(groups()[0].event, 4);
    cross(300, 10, 0, 2);
    EXPECT_THAT(sizes(), ElementsAre(2, 1));
}

// ---- Joining ----

TEST_F(Group, NearbyPersonOfLikeSpeedJoins) {
    cross(300, 10);
    cross(350, 12);
    ASSERT_THAT(groups(), SizeIs(1));
    EXPECT_THAT(groups()[0].members, SizeIs(2));
    EXPECT_EQ(fix::centre(groups()[0].members[1]).x, 350);
    EXPECT_EQ(groups()[0].speed, 11.0f);
    EXPECT_EQ(groups()[0].err, 0);
    cross(340, 14);
    EXPECT_EQ(groups()[0].speed, 12.0f);  // (14 + 2 * 11) / 3
}

TEST_F(Group, TwiceTheSpeedFoundsANewGroup) {
    cross(300, 10);
    cross(350, 20);
    EXPECT_THAT(sizes(), ElementsAre(1, 1));
}

TEST_F(Group, SpeedRatioIsStrictlyBelowTheLimitBothWays) {
    const struct {
        float first, second;
        bool joins;
    } rows[] = {{7, 4, false},
                // 4 / 7 rounds up, so that its reciprocal is 1.7499999
                {4, 7, true},
                {4, 7.01f, false},
                {7.01f, 4, false},
                {6.99f, 4, true},
                {0, 0, false},
                {0, 5, false},
                {5, 0, false},
                {-4, 4, true},  // -1 is below the limit as well
                {-4, -4, true}};
    int line = 0;
    for (const auto& row : rows) {
        cross(300, row.first, line);
        const size_t before = groups().size();
        cross(300, row.second, line);
        EXPECT_EQ(groups().size(), row.joins ? before : before + 1)
            << row.first << ' ' << row.second;
        ++line;
    }
}

TEST_F(Group, DistanceIsStrictlyBelowTheLimit) {
    cross(300, 10);
    cross(400, 10);
    EXPECT_THAT(sizes(), ElementsAre(1, 1));
    cross(399, 10);  // 99 from the first, 1 from the second
    EXPECT_THAT(sizes(), ElementsAre(1, 2));
    cross(201, 10);
    EXPECT_THAT(sizes(), ElementsAre(2, 2));
}

TEST_F(Group, MembersBeyondNineHundredSixtyAreNotSeen) {
    fix::cfg().GroupDistMax = 5000;
    cross(0, 100);
    cross(960, 100);
    EXPECT_THAT(sizes(), ElementsAre(1, 1));
    fix::set_switch(fix::kSwGroup, true);
    EXPECT_THAT(cross(-959, 100)[0], "log: LineGrp: Trk[1] Evt=1 Line=0 Grp=0 Dis=(959 5000)");
    EXPECT_THAT(sizes(), ElementsAre(2, 1));
}

TEST_F(Group, DirectionAndLineMustMatch) {
    cross(300, 10, 0, 1);
    cross(300, 10, 0, 2);
    cross(300, 10, 1, 1);
    EXPECT_THAT(sizes(), ElementsAre(1, 1, 1));
    cross(300, 10, 1, 1);
    cross(300, 10, 0, 2);
    EXPECT_THAT(sizes(), ElementsAre(1, 2, 2));
}

TEST_F(Group, NearestMemberOfAllGroupsDecides) {
    cross(300, 10);
    cross(420, 10);
    cross(380, 10);  // 40 from the second group
    EXPECT_THAT(sizes(), ElementsAre(1, 2));
    cross(345, 10);  // 45 from the first, 35 from a later member of the second
    EXPECT_THAT(sizes(), ElementsAre(1, 3));
}

TEST_F(Group, TiesGoToTheEarlierGroup) {
    cross(300, 10);
    cross(400, 10);
    cross(350, 10);
    EXPECT_THAT(sizes(), ElementsAre(2, 1));
}

TEST_F(Group, FullGroupTakesNobodyAndHidesTheNextNearest) {
    fix::cfg().GroupObjNumMax = 2;
    cross(300, 10);
    cross(310, 10);
    EXPECT_THAT(sizes(), ElementsAre(2));
    cross(320, 10);
    EXPECT_THAT(sizes(), ElementsAre(2, 1));
    // nearest is the full group: a third one is founded although the second has room
    cross(305, 10);
    EXPECT_THAT(sizes(), ElementsAre(2, 1, 1));
}

TEST_F(Group, SilentGroupsAreNoCandidates) {
    cross(300, 10);  // closes after 14 frames
    for (int i = 0; i < 13; ++i)
        refresh();
    EXPECT_EQ(groups()[0].err, 13);
    cross(310, 10);
    EXPECT_THAT(sizes(), ElementsAre(2));
    EXPECT_EQ(groups()[0].err, 0);
    for (int i = 0; i < 14; ++i)
        refresh();
    EXPECT_EQ(groups()[0].err, 14);
    cross(310, 10);
    EXPECT_THAT(sizes(), ElementsAre(2, 1));
}

TEST_F(Group, EverySearchRefreshesTheWaitingTimeOfAllGroups) {
    cross(300, 10, 0, 1);
    cross(300, 20, 1, 2);
    EXPECT_EQ(groups()[1].errMax, 10);
    fix::cfg().GroupDistMax = 400;
    cross(900, 1, 3, 1);
    EXPECT_EQ(groups()[0].errMax, 58);  // 400 / 10 * 1.45
    EXPECT_EQ(groups()[1].errMax, 29);  // 400 / 20 * 1.45, another line and direction
}

TEST_F(Group, WaitingTimeFollowsTheGroupsNewSpeedAtTheNextSearch) {
    cross(300, 10);
    cross(310, 15);
    EXPECT_EQ(groups()[0].speed, 12.5f);
    EXPECT_EQ(groups()[0].errMax, 14);
    cross(900, 1, 3, 1);
    EXPECT_EQ(groups()[0].errMax, 11);  // 100 / 12.5 * 1.45 = 11.6
}

TEST_F(Group, NumbersAreNeverReused) {
    fix::cfg().GroupObjNumMax = 1;
    cross(300, 10);
    refresh();
    EXPECT_THAT(groups(), IsEmpty());
    cross(300, 10);
    EXPECT_EQ(groups()[0].id, 1);
}

// ---- Lines ----

TEST_F(Group, LinesOfTheSearch) {
    fix::set_switch(fix::kSwGroup, true);
    const auto frm = testing::StartsWith("plain: $Frm[");
    EXPECT_THAT(cross(300, 10),
                ElementsAre("log: LineGrp: Trk[1] Evt=1 Line=0 Grp=-1 Dis=(960 100)",
                            "log: \tNewGrp[0]: Event=3 GrpSpd=10.00 ErrMax=14", frm));
    refresh();
    trk->trackId = 2;
    EXPECT_THAT(cross(350, 12),
                ElementsAre("log: LineGrp: Trk[2] Evt=1 Line=0 Grp=0 Dis=(50 100)",
                            "log: \tFindGrp[0]: Err=(1 14) GrpSpd=10.00",
                            "log: \tFindGrp[0]: Obj=2, GrpSpd=11.00 TrkSpd=12.00", frm));
    // too far: the nearest group is named all the same
    EXPECT_THAT(cross(500, 12),
                ElementsAre("log: LineGrp: Trk[2] Evt=1 Line=0 Grp=0 Dis=(150 100)",
                            "log: \tNewGrp[1]: Event=3 GrpSpd=12.00 ErrMax=12", frm));
    EXPECT_THAT(cross(500, 12, 1, 2),
                ElementsAre("log: LineGrp: Trk[2] Evt=2 Line=1 Grp=-1 Dis=(960 100)",
                            "log: \tNewGrp[2]: Event=4 GrpSpd=12.00 ErrMax=12", frm));
    fix::set_switch(fix::kSwGroup, false);
    EXPECT_THAT(cross(500, 12), ElementsAre(frm));
}

// ---- Against a plain rewriting ----

struct PlainGroup {
    int id, line, event, err, err_max;
    float speed;
    std::vector<POINT_POS_S> at;
};

struct PlainGroups {
    std::vector<PlainGroup> open;
    std::vector<std::array<int, 3>> reported;  // members, line, direction
    int next_id = 0;

    static int wait(float speed) {
        const float frames = static_cast<float>(fix::cfg().GroupDistMax) / speed * 1.45f;
        if (std::isnan(frames)) return 10;
        return static_cast<int>(std::clamp(frames, 10.0f, 80.0f));
    }

    void cross(POINT_POS_S p, float speed, int line, int direction) {
        const VCA_DEV_CFG_S& cfg = fix::cfg();
        PlainGroup* best = nullptr;
        double nearest = 960;
        for (PlainGroup& g : open) {
            g.err_max = wait(g.speed);
            const float quotient = g.speed / speed;
            const float ratio = quotient < 1 ? 1 / quotient : quotient;
            if (g.err >= g.err_max || g.line != line || g.event != direction + 2) continue;
            if (!(ratio < cfg.GroupSpdTimesMax)) continue;
            for (const POINT_POS_S& m : g.at) {
                const double d = std::floor(
                    std::sqrt(double(p.x - m.x) * (p.x - m.x) + double(p.y - m.y) * (p.y - m.y)));
                if (d < nearest) nearest = d, best = &g;
            }
        }
        if (best && nearest < cfg.GroupDistMax &&
            static_cast<int>(best->at.size()) < cfg.GroupObjNumMax) {
            best->at.push_back(p);
            const auto n = static_cast<float>(best->at.size());
            best->err = 0;
            best->speed = (speed + (n - 1) * best->speed) / n;
        } else {
            open.push_back({next_id++, line, direction + 2, 0, wait(speed), speed, {p}});
        }
    }

    void refresh() {
        std::vector<PlainGroup> left;
        for (PlainGroup& g : open) {
            const int n = static_cast<int>(g.at.size());
            g.err += 1 + (n >= fix::cfg().GroupObjNumMax ? g.err_max : 0);
            if (g.err <= g.err_max)
                left.push_back(g);
            else if (n >= fix::cfg().GroupObjNumMin)
                reported.push_back({n, g.line, g.event - 2});
        }
        open = left;
    }
};

TEST_F(Group, RandomCrowdsAgreeWithThePlainRule) {
    std::mt19937 rng(11);
    const auto uniform = [&](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo, hi)(rng);
    };
    PlainGroups plain;
    fix::cfg().GroupObjNumMax = 5;
    size_t joined = 0;
    for (int frame = 0; frame < 4000; ++frame) {
        for (int i = uniform(0, 3); i > 0; --i) {
            const POINT_POS_S p{uniform(40, 900), uniform(40, 500)};
            const float speed = static_cast<float>(uniform(0, 60)) / 4.0f;
            const int line = uniform(0, 1);
            const int direction = uniform(1, 2);
            trk->curObj = fix::centred(p.x, p.y);
            trk->speed = speed;
            fix::output_of([&] { vca_dev_add_counting_line_group(trk.get(), line, direction); });
            plain.cross(p, speed, line, direction);
        }
        refresh();
        plain.refresh();
        std::vector<std::array<int, 3>> reported;
        for (const fix::Message& sent : fix::take_messages()) {
            if (sent.id != 6080) continue;
            GROUP_COUNT_MSG_S msg;
            std::memcpy(&msg, sent.bytes.data(), sizeof(msg));
            reported.push_back({msg.members, msg.line, msg.cross});
        }
        ASSERT_EQ(reported, plain.reported) << frame;
        joined += reported.size();
        plain.reported.clear();
        ASSERT_EQ(groups().size(), plain.open.size()) << frame;
        for (size_t k = 0; k < plain.open.size(); ++k) {
            const DEV_COUNTING_GROUP_S& got = groups()[k];
            const PlainGroup& want = plain.open[k];
            ASSERT_EQ(got.id, want.id);
            ASSERT_EQ(got.err, want.err);
            ASSERT_EQ(got.errMax, want.err_max);
            ASSERT_EQ(got.speed, want.speed);
            ASSERT_EQ(got.members.size(), want.at.size());
        }
    }
    EXPECT_GT(joined, 100u);
}

}  // namespace
