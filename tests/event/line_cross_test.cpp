// The crossing state of a track on a counting line.
//
// The line runs from left to right, so walking up the picture (falling y) is direction 1.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/event/crossing_model.h"
#include "tests/event/walker.h"

namespace {

using fix::Counted;
using fix::take_counted;
using fix::Walker;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kLineY = 272;

struct Cross : testing::Test {
    void SetUp() override {
        fix::set_up_device();
        fix::set_line(0, {{100, kLineY}, {860, kLineY}});
    }
};

TEST_F(Cross, CountsOnTheFirstFrameFarEnoughPastTheLine) {
    Walker walker({480, 300});
    for (int y = 299; y >= 263; --y) {
        fix::output_of([&] { walker.step({480, y}); });
        ASSERT_THAT(take_counted(), IsEmpty()) << y;
        ASSERT_EQ(walker.trk().LastState[0], 0);
        // 273 is the last position before the line; from there on the pre point is frozen
        ASSERT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, std::max(y, 273)) << y;
        // the band just past the line: 5 to 9 pixels
        ASSERT_EQ(walker.trk().nearSide[0], y <= 267 ? 7 : 0) << y;
    }
    fix::output_of([&] { walker.step({480, 262}); });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 1}));
    EXPECT_EQ(walker.trk().LastState[0], 1);
    EXPECT_EQ(walker.trk().nearSide[0], 0);
    EXPECT_EQ(walker.trk().segSide[0][0], 0);
    EXPECT_TRUE(fix::same(walker.trk().segPrev[0][0], walker.trk().curObj));
    EXPECT_EQ(walker.trk().IsCrossed[0], 0);
    EXPECT_EQ(walker.trk().CrossCnt[0], 0);
}

TEST_F(Cross, WritesItsLines) {
    Walker walker({480, 280});
    walker.trk().updSeq = 33;
    walker.trk().curObj.class_id = VCA_CLASS_PERSON;
    walker.trk().height = 1700;
    const auto lines = fix::lines_of(fix::output_of([&] {
        walker.step_segment({481, 250}, 0, 0);
    }));
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0].text, "line[0][0]=(100 272)<-->(860 272)");
    EXPECT_EQ(lines[0].function, "vca_line_point_cross_check");
    EXPECT_EQ(lines[1].text, "line[0][0] obj: pre=480 280 cur=481 250 dir=1");
    EXPECT_EQ(lines[1].function, "vca_line_point_cross_check");
    EXPECT_EQ(lines[2].text, "line=0 seg=0 cross=1");
    EXPECT_EQ(lines[2].function, "vca_line_check_crossing_state");
    EXPECT_EQ(lines[3].text, "add_event...");
    EXPECT_EQ(lines[3].function, "vca_line_check_crossing_state");
    EXPECT_EQ(lines[4].text,
              "$Frm[33] $bCountingEn=1 Obj[1] Cls=1 CrossEvt=1 uTurnLine=0 $H=1700.00");
    EXPECT_EQ(lines[4].function, "");
    EXPECT_THAT(fix::printed_by([&] {
                    walker.step_segment({481, 300}, 0, 0);
                }),
                testing::Contains("log: line[0][0] obj: pre=481 250 cur=481 300 dir=-1"));
}

TEST_F(Cross, UsesLineAndSegmentIndices) {
    fix::set_line(2, {{0, 0}, {0, 0}, {200, 200}, {400, 100}});
    Walker walker({300, 250});
    EXPECT_THAT(fix::printed_by([&] {
                    walker.step_segment({300, 50}, 2, 2);
                }),
                testing::IsSupersetOf({"log: line[2][2]=(200 200)<-->(400 100)",
                                       "log: line[2][2] obj: pre=300 250 cur=300 50 dir=1",
                                       "log: line=2 seg=2 cross=1"}));
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 2, 1}));
    EXPECT_EQ(walker.trk().LastState[2], 1);
    EXPECT_EQ(walker.trk().LastState[0], 0);
}

TEST_F(Cross, NothingIsWrittenWithoutACrossing) {
    Walker walker({480, 300});
    EXPECT_THAT(fix::printed_by([&] {
                    walker.step({480, 280});
                    walker.step({480, 272});
                    walker.step({480, 264});
                }),
                IsEmpty());
}

// ---- Trajectories, each walked both ways, with and without Flip ----

struct Trajectory {
    const char* what;
    std::vector<POINT_POS_S> path;
    std::vector<int> forward;
    std::vector<int> backward;
};

const Trajectory kTrajectories[] = {
    {"straight across", {{480, 350}, {480, 200}}, {1}, {2}},
    {"across in small steps",
     {{480, 290}, {480, 280}, {480, 270}, {480, 262}, {480, 255}},
     {1},
     {2}},
    {"up to the line and back", {{480, 350}, {480, 274}, {480, 350}}, {}, {}},
    {"onto the line and stops", {{480, 350}, {480, 272}, {480, 272}, {480, 272}}, {}, {}},
    {"onto the line and back", {{480, 350}, {480, 272}, {480, 350}}, {}, {}},
    {"over the line, not far enough, and back", {{480, 300}, {480, 263}, {480, 300}}, {}, {}},
    {"just far enough and back", {{480, 300}, {480, 262}, {480, 300}}, {1, 2}, {1, 2}},
    {"there and back again", {{480, 350}, {480, 200}, {480, 350}}, {1, 2}, {1, 2}},
    {"three times", {{480, 350}, {480, 200}, {480, 350}, {480, 200}}, {1, 2, 1}, {2, 1, 2}},
    {"lingers past the line, then goes on",
     {{480, 300}, {480, 268}, {480, 266}, {480, 268}, {480, 250}},
     {1},
     {2}},
    {"beside the line", {{950, 350}, {950, 200}}, {}, {}},
    {"past the left end", {{99, 350}, {99, 200}}, {}, {}},
    {"over the left end", {{100, 350}, {100, 200}}, {1}, {2}},
    {"along the line", {{150, 260}, {800, 260}}, {}, {}},
    {"slanting across", {{200, 400}, {600, 150}}, {1}, {2}},
    {"second crossing the same way after walking round",
     {{480, 350}, {480, 200}, {50, 200}, {50, 350}, {480, 350}, {480, 200}},
     {1},
     {2}},
    {"round the end only", {{480, 350}, {50, 350}, {50, 200}, {480, 200}}, {}, {}},
};

std::vector<int> walk(const std::vector<POINT_POS_S>& path) {
    Walker walker(path[0]);
    fix::output_of([&] {
        for (size_t i = 1; i < path.size(); ++i)
            walker.step(path[i]);
    });
    std::vector<int> directions;
    for (const Counted& counted : take_counted())
        directions.push_back(counted.cross);
    return directions;
}

TEST_F(Cross, TrajectoriesForwardBackwardAndFlipped) {
    for (const Trajectory& row : kTrajectories) {
        SCOPED_TRACE(row.what);
        std::vector<POINT_POS_S> reversed(row.path.rbegin(), row.path.rend());
        const auto swapped = [](std::vector<int> directions) {
            for (int& d : directions)
                d = 3 - d;
            return directions;
        };
        fix::cfg().line[0].Flip = 0;
        EXPECT_EQ(walk(row.path), row.forward);
        EXPECT_EQ(walk(reversed), row.backward) << "reversed";
        fix::cfg().line[0].Flip = 1;
        EXPECT_EQ(walk(row.path), swapped(row.forward)) << "flipped";
        EXPECT_EQ(walk(reversed), swapped(row.backward)) << "flipped and reversed";
        // a line drawn from right to left counts the other way round
        fix::cfg().line[0].Flip = 0;
        fix::set_line(0, {{860, kLineY}, {100, kLineY}});
        EXPECT_EQ(walk(row.path), swapped(row.forward)) << "line reversed";
        fix::set_line(0, {{100, kLineY}, {860, kLineY}});
    }
}

TEST_F(Cross, BackBeforeTheDistanceMovesThePrePoint) {
    Walker walker({480, 300});
    fix::output_of([&] {
        walker.step({480, 273});
        walker.step({480, 265});
        walker.step({480, 280});
    });
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 280);
    // only a registered crossing clears the band
    EXPECT_EQ(walker.trk().nearSide[0], 7);
}

TEST_F(Cross, BandRemembersTheLatestSide) {
    Walker walker({480, 300});
    fix::output_of([&] {
        walker.step({480, 268});  // 4 pixels past
        EXPECT_EQ(walker.trk().nearSide[0], 0);
        walker.step({480, 267});
        EXPECT_EQ(walker.trk().nearSide[0], 7);
        walker.step({480, 270});  // still past, 2 pixels: kept
        EXPECT_EQ(walker.trk().nearSide[0], 7);
        walker.step({480, 240});
        EXPECT_EQ(walker.trk().nearSide[0], 0);
        walker.step({480, 277});  // coming back: 5 pixels on the other side
        EXPECT_EQ(walker.trk().nearSide[0], 5);
    });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 1}));
}

TEST_F(Cross, SecondTimeTheSameWayIsOnlyLogged) {
    Walker walker({480, 350});
    walker.trk().LastState[0] = 1;
    EXPECT_THAT(fix::printed_by([&] {
                    walker.step({480, 200});
                }),
                ElementsAre("log: line[0][0]=(100 272)<-->(860 272)",
                            "log: line[0][0] obj: pre=480 350 cur=480 200 dir=1",
                            "log: line=0 seg=0 cross=1"));
    EXPECT_THAT(take_counted(), IsEmpty());
    EXPECT_TRUE(fix::same(walker.trk().segPrev[0][0], walker.trk().curObj));
}

TEST_F(Cross, PointOnTheLinesExtensionTouchesNothing) {
    Walker walker({50, 300});
    fix::output_of([&] { walker.step({50, 272}); });  // left of the segment, on its extension
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 300);
    fix::output_of([&] { walker.step({50, 240}); });
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 240);
}

TEST_F(Cross, TrackBornOnTheLineNeverGetsAway) {
    Walker walker({480, 272});
    fix::output_of([&] {
        for (const int y : {260, 200, 300, 200})
            walker.step({480, y});
    });
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 272);
    EXPECT_THAT(take_counted(), IsEmpty());
}

TEST_F(Cross, SegmentWithoutLengthIsSkippedWhole) {
    fix::set_line(1, {{300, 300}, {300, 300}});
    Walker walker({310, 310});
    walker.trk().segSide[1][0] = 7;
    walker.trk().segSide[0][3] = 7;
    fix::output_of([&] {
        walker.step_segment({290, 290}, 1, 0);
        walker.step_segment({290, 290}, 0, 3);  // unset
    });
    EXPECT_EQ(walker.trk().segSide[1][0], 7);
    EXPECT_EQ(walker.trk().segSide[0][3], 7);
    EXPECT_EQ(fix::centre(walker.trk().segPrev[1][0]).x, 310);
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][3]).x, 310);
    EXPECT_THAT(take_counted(), IsEmpty());
}

TEST_F(Cross, PendingSideIsSettledEvenOnTheExtension) {
    Walker walker({480, 350});
    walker.trk().segSide[0][0] = 5;
    fix::output_of([&] { walker.step_segment({480, 272}, 0, 0); });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 2}));
    EXPECT_EQ(walker.trk().segSide[0][0], 0);
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 272);
    walker.trk().segSide[0][0] = 6;  // neither side
    fix::output_of([&] { walker.step_segment({480, 272}, 0, 0); });
    EXPECT_THAT(take_counted(), IsEmpty());
    EXPECT_EQ(walker.trk().segSide[0][0], 6);
}

TEST_F(Cross, DistanceZeroCountsAtOnce) {
    Walker walker({480, 273}, 0);
    fix::output_of([&] { walker.step({480, 271}); });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 1}));
}

TEST_F(Cross, PrePointIsTheWholeEventBox) {
    Walker walker({480, 350});
    walker.move_to({480, 340});
    walker.trk().curObj.gender = VCA_GENDER_FEMALE;
    walker.trk().curObj.aux0 = 99;
    vca_line_check_crossing_state(&walker.trk(), 0, 0);
    EXPECT_TRUE(fix::same(walker.trk().segPrev[0][0], walker.trk().curObj));
}

TEST_F(Cross, UsesTheEventBoxWithoutKeep) {
    fix::cfg().StandAloneTrkMd = VCA_POSITION_FOOT;
    Walker walker({480, 350});
    walker.trk().footBox = fix::centred(480, 300, 78, 78);
    walker.trk().lostCnt = 1;
    walker.step({480, 345});
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 345);  // lost: around the detection
    walker.trk().lostCnt = 0;
    walker.step({480, 345});
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 300);
}

// ---- Polylines ----

struct Polyline : Cross {
    void SetUp() override {
        fix::set_up_device();
        // a roof: up to (480, 200) and down again
        fix::set_line(0, {{200, 300}, {480, 200}, {760, 300}});
    }
};

TEST_F(Polyline, TwoSegmentsCrossedInOneFrameCountOnce) {
    Walker walker({480, 350});
    // through the ridge, an end point of both
    fix::output_of([&] { walker.step({480, 150}); });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 1}));
    EXPECT_EQ(walker.trk().LastState[0], 1);
}

TEST_F(Polyline, FirstSegmentInOrderRegistersTheEvent) {
    Walker walker({480, 350});
    const auto printed = fix::printed_by([&] { walker.step({480, 150}); });
    const std::vector<std::string> events = {"log: line=0 seg=0 cross=1", "log: add_event...",
                                             "log: line=0 seg=1 cross=1"};
    std::vector<std::string> seen;
    for (const std::string& text : printed)
        if (text.starts_with("log: line=") || text == "log: add_event...") seen.push_back(text);
    EXPECT_EQ(seen, events);
}

TEST_F(Polyline, OppositeSegmentsCountBothWays) {
    // in under the left slope and out over the right one
    Walker walker({200, 200});
    fix::output_of([&] {
        walker.step({480, 280});
        walker.step({760, 200});
    });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 2}, Counted{1, 0, 1}));
}

TEST_F(Polyline, EachSegmentKeepsItsOwnPrePoint) {
    Walker walker({300, 350});
    fix::output_of([&] { walker.step({300, 259}, 0); });  // 5 past the left slope
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 350);
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][1]).y, 259);
}

// ---- U-turn lines: the tally ----

struct Tally : Cross {
    void SetUp() override {
        Cross::SetUp();
        fix::cfg().UturnEn[0] = 1;
    }
};

TEST_F(Tally, FivePixelsAreEnough) {
    Walker walker({480, 300}, 40);
    fix::output_of([&] { walker.step({480, 268}); });
    EXPECT_EQ(walker.trk().IsCrossed[0], 0);
    EXPECT_THAT(fix::printed_by([&] {
                    walker.step({480, 267});
                }),
                ElementsAre("log: line[0][0]=(100 272)<-->(860 272)",
                            "log: line[0][0] obj: pre=480 300 cur=480 267 dir=1",
                            "plain: \tuTurn obj[1] line[0] seg[0] CrossEvt=1 LastState=0"));
    EXPECT_EQ(walker.trk().IsCrossed[0], 1);
    EXPECT_EQ(walker.trk().CrossCnt[0], 1);
    EXPECT_EQ(walker.trk().crossLine[0], 0);
    EXPECT_EQ(walker.trk().LastState[0], 1);
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 267);
    EXPECT_THAT(take_counted(), IsEmpty());
}

TEST_F(Tally, OnlyChangesOfDirectionAreCounted) {
    Walker walker({480, 300});
    walker.trk().LastState[0] = 1;
    walker.trk().crossLine[0] = -1;
    fix::output_of([&] { walker.step({480, 240}); });
    EXPECT_EQ(walker.trk().IsCrossed[0], 1);
    EXPECT_EQ(walker.trk().CrossCnt[0], 0);
    EXPECT_EQ(walker.trk().crossLine[0], -1);
    fix::output_of([&] { walker.step({480, 300}); });
    EXPECT_EQ(walker.trk().CrossCnt[0], 1);
    EXPECT_EQ(walker.trk().LastState[0], 2);
}

TEST_F(Tally, CrossedLineIsRemembered) {
    fix::set_line(3, {{100, kLineY}, {860, kLineY}});
    fix::cfg().UturnEn[3] = 1;
    Walker walker({480, 300});
    fix::output_of([&] { walker.step({480, 240}, 3); });
    EXPECT_EQ(walker.trk().crossLine[3], 3);
    EXPECT_EQ(walker.trk().crossLine[0], 0);
}

TEST_F(Tally, SwitchesOfTheFilter) {
    fix::cfg().UturnFilter = 0;
    Walker walker({480, 300});
    fix::output_of([&] { walker.step({480, 264}); });
    EXPECT_EQ(walker.trk().IsCrossed[0], 0);
    fix::output_of([&] { walker.step({480, 250}); });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 1}));
}

// ---- Against the plain rewriting ----

TEST_F(Cross, RandomWalksAgreeWithThePlainRule) {
    std::mt19937 rng(10);
    const auto uniform = [&](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo, hi)(rng);
    };
    size_t events = 0;
    for (int walk_no = 0; walk_no < 400; ++walk_no) {
        for (int l = 0; l < 4; ++l) {
            std::vector<POINT_POS_S> points;
            for (int i = 0; i < 5; ++i)
                points.push_back({uniform(100, 400), uniform(100, 400)});
            fix::set_line(l, points, uniform(0, 1) != 0);
            fix::cfg().UturnEn[l] = l == 3;
        }
        const POINT_POS_S birth{uniform(100, 400), uniform(100, 400)};
        const int cross_dist = uniform(0, 30);
        Walker walker(birth, cross_dist);
        fix::CrossingModel model(birth, cross_dist);
        POINT_POS_S at = birth;
        fix::output_of([&] {
            for (int i = 0; i < 60; ++i) {
                const int reach = uniform(0, 9) == 0 ? 150 : 12;
                at.x = std::clamp(at.x + uniform(-reach, reach), 60, 440);
                at.y = std::clamp(at.y + uniform(-reach, reach), 60, 440);
                walker.move_to(at);
                for (int l = 0; l < 4; ++l) {
                    walker.step(at, l);
                    model.frame(l, at, true);
                }
                for (int l = 0; l < 4; ++l) {
                    const TRACKER_RSLT_S& trk = walker.trk();
                    ASSERT_EQ(trk.LastState[l], model.lines[l].last);
                    ASSERT_EQ(trk.nearSide[l], model.lines[l].near);
                    ASSERT_EQ(trk.CrossCnt[l], model.lines[l].changes);
                    ASSERT_EQ(trk.IsCrossed[l] != 0, model.lines[l].tallied);
                    for (int k = 0; k < 4; ++k) {
                        ASSERT_EQ(fix::centre(trk.segPrev[l][k]).x, model.lines[l].prev[k].x);
                        ASSERT_EQ(fix::centre(trk.segPrev[l][k]).y, model.lines[l].prev[k].y);
                    }
                }
            }
        });
        ASSERT_FALSE(HasFatalFailure());
        const auto counted = take_counted();
        ASSERT_EQ(counted, model.counted);
        events += counted.size();
    }
    EXPECT_GT(events, 1000u);
}

// The record's bytes where such a segment would lie are given one that the walker crosses.
TEST_F(Cross, LinesAndSegmentsThatDoNotExistAreLeftAlone) {
    const LINE_SEG_S crossed{{100, 200}, {860, 200}};
    auto* record = reinterpret_cast<uint8_t*>(&fix::cfg());
    for (const auto& [line, seg] : {std::pair{-1, 0},
                                    {VCA_LINE_NUM, 0},
                                    {0, -1},
                                    {0, VCA_SEG_NUM},
                                    {VCA_LINE_NUM, VCA_SEG_NUM}}) {
        const auto place = static_cast<std::ptrdiff_t>(offsetof(VCA_DEV_CFG_S, lineSeg)) +
                           (line * VCA_SEG_NUM + seg) * std::ptrdiff_t{sizeof(LINE_SEG_S)};
        std::memcpy(record + place, &crossed, sizeof(crossed));
        Walker walker({480, 260});
        for (int y = 260; y >= 140; y -= 5) {
            walker.move_to({480, y});
            EXPECT_EQ(fix::output_of([&] {
                          EXPECT_EQ(vca_line_check_crossing_state(&walker.trk(), line, seg), 0);
                      }),
                      "")
                << line << ' ' << seg;
        }
        EXPECT_THAT(take_counted(), IsEmpty());
    }
}

}  // namespace
