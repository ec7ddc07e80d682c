// The line stage and U-turn filtering: who takes part, the area's states, the decision.
//
// The line runs from left to right at y = 272, so walking up the picture is direction 1; the
// U-turn area, where there is one, reaches about 70 pixels to both sides.
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

struct Stage : testing::Test {
    void SetUp() override {
        fix::set_up_device();
        fix::set_line(0, {{100, 272}, {860, 272}});
    }
};

// ---- Who takes part ----

TEST_F(Stage, TakesPartByLossAndWorkMode) {
    const struct {
        int lost, mode, setting;
        bool in;
    } rows[] = {{0, 0, 0, true},  {0, 1, 0, true},   {0, 2, 0, true},  {1, 0, 0, false},
                {1, 0, 1, false}, {1, 0, 2, true},   {4, 0, 2, true},  {5, 0, 2, false},
                {1, 1, 0, true},  {4, 1, 0, true},   {5, 1, 0, false}, {1, 2, 2, false},
                {4, 2, 0, false}, {-1, 1, 2, false}, {-1, 0, 2, false}};
    const auto trk = fix::new_track();
    trk->curObj = fix::centred(480, 270);
    for (const auto& row : rows) {
        fix::cfg().devWorkMode = row.mode;
        fix::cfg().StandAloneTrkMd = row.setting;
        trk->lostCnt = row.lost;
        EXPECT_EQ(vca_check_obj_event_line_update(trk.get()), row.in)
            << "lost " << row.lost << " mode " << row.mode << " setting " << row.setting;
    }
}

TEST_F(Stage, SmallBoxesDoNotTakePart) {
    const struct {
        int w, h;
        bool in;
    } rows[] = {{11, 11, true}, {10, 11, false}, {11, 10, false}, {0, 50, false}};
    const auto trk = fix::new_track();
    for (const auto& row : rows) {
        trk->curObj = fix::centred(480, 270, row.w, row.h);
        trk->footBox = fix::centred(480, 270, 78, 78);
        EXPECT_EQ(vca_check_obj_event_line_update(trk.get()), row.in) << row.w << 'x' << row.h;
    }
    // the size is that of a track seen this frame only
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    trk->lostCnt = 1;
    EXPECT_TRUE(vca_check_obj_event_line_update(trk.get()));
}

TEST_F(Stage, OnlyEnabledLinesAndMeasurablePeopleAreLookedAt) {
    const auto directions = [&](auto&& prepare) {
        Walker walker({480, 300});
        prepare(walker.trk());
        fix::output_of([&] { walker.stage({480, 200}); });
        return take_counted();
    };
    EXPECT_THAT(directions([](auto&) {}), ElementsAre(Counted{1, 0, 1}));
    EXPECT_THAT(directions([](auto& trk) { trk.heightExceed = 1; }), IsEmpty());
    EXPECT_THAT(directions([](auto& trk) { trk.lostCnt = 1; }), IsEmpty());
    fix::cfg().LineEn[0] = 0;
    EXPECT_THAT(directions([](auto&) {}), IsEmpty());
}

TEST_F(Stage, SkippedTracksKeepTheirPrePoint) {
    Walker walker({480, 300});
    walker.trk().heightExceed = 1;
    walker.stage({480, 290});
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 300);
}

TEST_F(Stage, TracksThenLinesInOrder) {
    fix::set_line(1, {{100, 250}, {860, 250}});
    fix::set_line(3, {{100, 230}, {860, 230}});
    std::vector<TRACKER_RSLT_S> tracks;
    for (int id = 1; id <= 2; ++id) {
        Walker walker({400 + 100 * id, 300}, 10, id);
        walker.move_to({400 + 100 * id, 200});
        tracks.push_back(walker.trk());
    }
    fix::output_of([&] { EXPECT_EQ(vca_event_counting_line_uturn_proc(tracks), 0); });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 0, 1}, Counted{1, 1, 1}, Counted{1, 3, 1},
                                            Counted{2, 0, 1}, Counted{2, 1, 1}, Counted{2, 3, 1}));
}

TEST_F(Stage, AllFourSegmentsAreChecked) {
    fix::cfg().LineEn[0] = 0;
    fix::set_line(2, {{100, 300}, {110, 300}, {120, 300}, {130, 300}, {860, 300}});
    Walker walker({480, 350});
    fix::output_of([&] { walker.stage({480, 200}); });
    EXPECT_THAT(take_counted(), ElementsAre(Counted{1, 2, 1}));
}

TEST_F(Stage, EmptyListIsFine) {
    std::vector<TRACKER_RSLT_S> none;
    EXPECT_EQ(vca_event_counting_line_uturn_proc(none), 0);
}

// ---- The decision ----

TEST_F(Stage, OddTalliesAreCounted) {
    const struct {
        int crossed, count, last;
        int direction;  // 0: not counted
    } rows[] = {{1, 1, 1, 1}, {1, 1, 2, 2}, {1, 3, 1, 1}, {1, 2, 1, 0},  {1, 0, 1, 0},
                {0, 1, 1, 0}, {1, 1, 0, 0}, {1, 1, 3, 0}, {1, -1, 1, 0}, {1, -3, 2, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.crossed << ' ' << row.count << ' ' << row.last);
        const auto trk = fix::new_track(6);
        trk->curObj = fix::centred(480, 270);
        trk->IsCrossed[2] = static_cast<uint8_t>(row.crossed);
        trk->CrossCnt[2] = row.count;
        trk->LastState[2] = row.last;
        trk->crossLine[2] = 2;
        int status = -1;
        const auto printed =
            fix::printed_by([&] { status = vca_rgn_uturn_check_obj_line_cross(trk.get(), 2); });
        EXPECT_EQ(status, 0);
        const auto counted = take_counted();
        if (row.direction == VCA_DIR_NONE)
            EXPECT_THAT(counted, IsEmpty());
        else
            EXPECT_THAT(counted, ElementsAre(Counted{6, 2, row.direction}));
        if (!row.crossed) {
            EXPECT_THAT(printed, IsEmpty());
            EXPECT_EQ(trk->CrossCnt[2], row.count);
            EXPECT_EQ(trk->LastState[2], row.last);
            EXPECT_EQ(trk->crossLine[2], 2);
            continue;
        }
        ASSERT_FALSE(printed.empty());
        EXPECT_EQ(printed[0], "plain: \tuturn_exit obj[6] Polyline[2] IsCrossed=1 CrossCnt=" +
                                  std::to_string(row.count) +
                                  " LastState=" + std::to_string(row.last) + " ");
        EXPECT_EQ(trk->IsCrossed[2], 0);
        EXPECT_EQ(trk->CrossCnt[2], 0);
        EXPECT_EQ(trk->LastState[2], 0);
        EXPECT_EQ(trk->crossLine[2], -1);
    }
}

// ---- With an area ----

struct Area : Stage {
    void SetUp() override {
        Stage::SetUp();
        VCA_DEV_CFG_S& cfg = fix::cfg();
        cfg.UturnEn[0] = 1;
        cfg.UturnRgnEn[0] = 1;
        // a box of 40 around y has its cell in row (y - 20) * 181 / 544 + 6: 67..111 is about
        // y = 204..339
        for (int row = 67; row <= 111; ++row)
            std::memset(cfg.uturnMask[0].mask[row], 1, sizeof(cfg.uturnMask[0].mask[row]));
    }

    // Walks up and down through the given rows; the rows (by index) at which something is counted.
    static std::vector<std::pair<size_t, int>> walk(const std::vector<int>& rows,
                                                    bool reversed = false) {
        std::vector<int> path = rows;
        if (reversed) std::reverse(path.begin(), path.end());
        Walker walker({480, path[0]});
        std::vector<std::pair<size_t, int>> counted;
        for (size_t i = 1; i < path.size(); ++i) {
            fix::output_of([&] { walker.stage({480, path[i]}); });
            for (const Counted& c : take_counted())
                counted.emplace_back(i, c.cross);
        }
        return counted;
    }
};

struct AreaRow {
    const char* what;
    std::vector<int> rows;
    std::vector<std::pair<size_t, int>> forward;   // step and direction
    std::vector<std::pair<size_t, int>> backward;  // the same for the path reversed
};

const AreaRow kAreaRows[] = {
    {"through: counted on leaving", {400, 330, 290, 250, 210, 150, 100}, {{5, 1}}, {{6, 2}}},
    {"turns back inside: not counted", {400, 330, 290, 250, 290, 330, 400}, {}, {}},
    {"in, out, in: counted once, in the last direction",
     {400, 330, 250, 290, 250, 210, 150},
     {{6, 1}},
     {{6, 2}}},
    {"enters and leaves without crossing", {400, 330, 300, 330, 400, 450}, {}, {}},
    {"crosses in the frame of leaving", {400, 330, 280, 150, 100}, {{3, 1}}, {{4, 2}}},
    {"jumps over the whole area", {400, 150, 100}, {}, {}},
    {"never leaves: undecided", {400, 330, 290, 250, 210}, {}, {{4, 2}}},
    {"leaves, comes back and goes through again",
     {400, 330, 250, 210, 150, 210, 250, 290, 330, 400},
     {{4, 1}, {9, 2}},
     {{5, 1}, {9, 2}}},
};

TEST_F(Area, TableForwardAndReversed) {
    for (const AreaRow& row : kAreaRows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(walk(row.rows), row.forward);
        EXPECT_EQ(walk(row.rows, true), row.backward) << "reversed";
    }
}

TEST_F(Area, StatesOfATrack) {
    Walker walker({480, 400});
    const auto state_at = [&](int y) {
        fix::output_of([&] { walker.stage({480, y}); });
        return walker.trk().uturnState[0];
    };
    EXPECT_EQ(state_at(380), 0);
    EXPECT_EQ(state_at(330), 2);
    EXPECT_EQ(state_at(300), 2);
    EXPECT_EQ(state_at(400), 5);
    EXPECT_EQ(state_at(400), 0);
    EXPECT_EQ(state_at(330), 2);
}

TEST_F(Area, EdgesOfTheAreaAreTheMasks) {
    Walker walker({480, 400});
    const auto inside = [&](int y) {
        fix::output_of([&] { walker.stage({480, y}); });
        return walker.trk().uturnState[0] == 2;
    };
    // (204 - 20) * 181 / 544 = 61.2: row 67; (203 - 20) ... = 60.9: row 66
    EXPECT_TRUE(inside(204));
    EXPECT_FALSE(inside(203));
    // (338 - 20) ... = 105.8: row 111; (339 - 20) ... = 106.1: row 112
    EXPECT_TRUE(inside(338));
    EXPECT_FALSE(inside(339));
}

TEST_F(Area, OutsideNothingIsTallied) {
    Walker walker({480, 180});
    fix::set_line(0, {{100, 160}, {860, 160}});  // a line outside the area
    fix::output_of([&] {
        walker.stage({480, 170});
        walker.stage({480, 100});
    });
    EXPECT_EQ(walker.trk().IsCrossed[0], 0);
    EXPECT_EQ(fix::centre(walker.trk().segPrev[0][0]).y, 180);
}

TEST_F(Area, BackInsideRightAfterLeavingDecidesNothing) {
    Walker walker({480, 400});
    walker.trk().uturnState[0] = 5;
    walker.trk().IsCrossed[0] = 1;
    walker.trk().CrossCnt[0] = 1;
    walker.trk().LastState[0] = 1;
    fix::output_of([&] { walker.stage({480, 330}); });
    EXPECT_EQ(walker.trk().uturnState[0], 2);
    EXPECT_EQ(walker.trk().IsCrossed[0], 1);
    EXPECT_THAT(take_counted(), IsEmpty());
}

TEST_F(Area, FilterOffCountsAtTheLine) {
    fix::cfg().UturnFilter = 0;
    EXPECT_THAT(walk({400, 330, 290, 250}), ElementsAre(std::pair<size_t, int>(3, 1)));
}

// ---- Without an area ----

TEST_F(Area, WithoutAnAreaTheTrackIsAlwaysInside) {
    fix::cfg().UturnRgnEn[0] = 0;
    std::memset(fix::cfg().uturnMask[0].mask, 0, sizeof(fix::cfg().uturnMask[0].mask));
    EXPECT_THAT(walk({500, 400, 290, 250, 100, 20}), IsEmpty());
    Walker walker({480, 500});
    fix::output_of([&] { walker.stage({480, 490}); });
    EXPECT_EQ(walker.trk().uturnState[0], 2);
}

struct EndRow {
    std::vector<int> rows;
    std::vector<Counted> counted;
};

TEST_F(Area, WithoutAnAreaTheEndOfTheTrackDecides) {
    fix::cfg().UturnRgnEn[0] = 0;
    const EndRow rows[] = {{{330, 290, 250}, {{4, 0, 1}}},
                           {{250, 290, 330}, {{4, 0, 2}}},
                           {{330, 250, 330}, {}},
                           {{330, 250, 330, 250}, {{4, 0, 1}}},
                           {{330, 300, 330}, {}}};
    for (const EndRow& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.rows));
        fix::Scene scene;
        fix::output_of([&] {
            for (const int y : row.rows) {
                scene.pass({{4, fix::centred(480, y)}});
                vca_event_counting_line_uturn_proc(scene.list);
            }
            for (int i = 0; i < 5; ++i) {
                EXPECT_TRUE(vca_dev_get_counting_results()->empty());
                scene.pass({});
                vca_event_counting_line_uturn_proc(scene.list);
            }
        });
        EXPECT_TRUE(scene.list.empty());
        EXPECT_EQ(take_counted(), row.counted);
    }
}

// ---- Against the plain rewriting ----

TEST_F(Area, RandomWalksAgreeWithThePlainRule) {
    std::mt19937 rng(12);
    const auto uniform = [&](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo, hi)(rng);
    };
    VCA_DEV_CFG_S& cfg = fix::cfg();
    size_t events = 0;
    for (int walk_no = 0; walk_no < 400; ++walk_no) {
        for (int l = 0; l < 4; ++l) {
            std::vector<POINT_POS_S> points;
            for (int i = 0; i < 5; ++i)
                points.push_back({uniform(100, 400), uniform(100, 400)});
            fix::set_line(l, points, uniform(0, 1) != 0);
            cfg.UturnEn[l] = uniform(0, 3) != 0;
            cfg.UturnRgnEn[l] = uniform(0, 3) != 0;
            std::memset(cfg.uturnMask[l].mask, 0, sizeof(cfg.uturnMask[l].mask));
            const int top = uniform(30, 80);
            const int bottom = top + uniform(5, 50);
            for (int r = top; r < bottom; ++r)
                std::memset(&cfg.uturnMask[l].mask[r][uniform(30, 60)], 1, 70);
        }
        const POINT_POS_S birth{uniform(100, 400), uniform(100, 400)};
        const int cross_dist = uniform(0, 30);
        Walker walker(birth, cross_dist);
        fix::CrossingModel model(birth, cross_dist);
        POINT_POS_S at = birth;
        fix::output_of([&] {
            for (int i = 0; i < 60; ++i) {
                const int reach = uniform(0, 9) == 0 ? 150 : 20;
                at.x = std::clamp(at.x + uniform(-reach, reach), 60, 440);
                at.y = std::clamp(at.y + uniform(-reach, reach), 60, 440);
                walker.stage(at);
                // the cell of a 40 x 40 box around the position, in a map of 960 x 544
                const int column = (at.x - 20) * 320 / 960 + 40 * 320 / 960 / 2;
                const int row = (at.y - 20) * 181 / 544 + 40 * 181 / 544 / 2;
                for (int l = 0; l < 4; ++l) {
                    model.frame(l, at, cfg.uturnMask[l].mask[row][column] != 0);
                    ASSERT_EQ(walker.trk().LastState[l], model.lines[l].last);
                    ASSERT_EQ(walker.trk().CrossCnt[l], model.lines[l].changes);
                    ASSERT_EQ(walker.trk().IsCrossed[l] != 0, model.lines[l].tallied);
                    if (cfg.UturnEn[l]) {
                        ASSERT_EQ(walker.trk().uturnState[l], model.lines[l].place);
                    }
                }
            }
            for (int l = 0; l < 4; ++l) {
                vca_rgn_uturn_check_obj_line_cross(&walker.trk(), l);
                model.leave(l);
            }
        });
        ASSERT_FALSE(HasFatalFailure());
        const auto counted = take_counted();
        ASSERT_EQ(counted, model.counted);
        events += counted.size();
    }
    EXPECT_GT(events, 1000u);
}

// The stage of one track with its box and its cell found anew each time they are needed.
void plain_stage(TRACKER_RSLT_S& trk) {
    const VCA_DEV_CFG_S& cfg = fix::cfg();
    for (int line = 0; line < VCA_LINE_NUM; ++line) {
        if (cfg.LineEn[line] == 0) continue;
        int32_t& area = trk.uturnState[line];
        const bool filtered = cfg.UturnFilter != 0 && cfg.UturnEn[line] != 0;
        if (filtered) {
            const bool inside =
                cfg.UturnRgnEn[line] == 0 || vca_trk_obj_in_mask(&trk, cfg.uturnMask[line].mask);
            area = inside                     ? VCA_UTURN_INSIDE
                   : area == VCA_UTURN_INSIDE ? VCA_UTURN_JUST_LEFT
                                              : VCA_UTURN_OUTSIDE;
            if (area == VCA_UTURN_OUTSIDE) continue;
        }
        for (int seg = 0; seg < VCA_SEG_NUM; ++seg)
            vca_line_check_crossing_state(&trk, line, seg);
        if (filtered && area == VCA_UTURN_JUST_LEFT) vca_rgn_uturn_check_obj_line_cross(&trk, line);
    }
}

// Of all ages and places, at which the event box is settled or not.
TEST_F(Area, BoxOfATrackIsFoundOnceWhereItCannotChange) {
    std::mt19937 rng(13);
    const auto uniform = [&](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo, hi)(rng);
    };
    const auto draw_box = [&] {
        return fix::box(uniform(-50, 900), uniform(-50, 500), uniform(11, 150), uniform(11, 150));
    };
    VCA_DEV_CFG_S& cfg = fix::cfg();
    size_t events = 0;
    for (int round = 0; round < 2000; ++round) {
        cfg.devWorkMode = uniform(0, 2);
        cfg.StandAloneTrkMd = uniform(0, 2);
        for (int l = 0; l < VCA_LINE_NUM; ++l) {
            fix::set_line(l,
                          {{uniform(0, 900), uniform(0, 500)}, {uniform(0, 900), uniform(0, 500)}});
            cfg.LineEn[l] = uniform(0, 3) != 0;
            cfg.UturnEn[l] = uniform(0, 1) != 0;
            cfg.UturnRgnEn[l] = uniform(0, 3) != 0;
            std::memset(cfg.uturnMask[l].mask, 0, sizeof(cfg.uturnMask[l].mask));
            std::memset(cfg.uturnMask[l].mask, 1, static_cast<size_t>(uniform(0, 181)) * 320);
        }
        Walker walker({uniform(0, 900), uniform(0, 500)}, uniform(0, 30));
        TRACKER_RSLT_S& trk = walker.trk();
        trk.age = uniform(0, 5);
        trk.lostCnt = uniform(0, 1);
        trk.bornInside = static_cast<decltype(trk.bornInside)>(uniform(0, 1));
        trk.evtObj = draw_box();
        trk.curObj = draw_box();
        trk.footBox = draw_box();
        trk.headBox = draw_box();
        for (int l = 0; l < VCA_LINE_NUM; ++l)
            trk.uturnState[l] = uniform(0, 2);
        TRACKER_RSLT_S want = trk;
        const bool takes_part = vca_check_obj_event_line_update(&want);
        std::vector<TRACKER_RSLT_S> list{trk};
        const std::string said = fix::output_of([&] { vca_event_counting_line_uturn_proc(list); });
        const auto counted = take_counted();
        const std::string plainly = fix::output_of([&] {
            if (takes_part) plain_stage(want);
        });
        ASSERT_EQ(counted, take_counted()) << round;
        events += counted.size();
        ASSERT_EQ(said.size(), plainly.size()) << round;
        const TRACKER_RSLT_S& have = list[0];
        ASSERT_TRUE(fix::same(have.evtObj, want.evtObj)) << round;
        ASSERT_EQ(have.bornInside, want.bornInside) << round;
        for (int l = 0; l < VCA_LINE_NUM; ++l) {
            ASSERT_EQ(have.uturnState[l], want.uturnState[l]) << round;
            ASSERT_EQ(have.LastState[l], want.LastState[l]) << round;
            ASSERT_EQ(have.CrossCnt[l], want.CrossCnt[l]) << round;
            for (int seg = 0; seg < VCA_SEG_NUM; ++seg) {
                ASSERT_EQ(have.segSide[l][seg], want.segSide[l][seg]) << round;
                ASSERT_TRUE(fix::same(have.segPrev[l][seg], want.segPrev[l][seg])) << round;
            }
        }
    }
    EXPECT_GT(events, 200u);
}

TEST_F(Stage, LinesThatDoNotExistAreNotSettled) {
    Walker walker({480, 300});
    std::fill(std::begin(walker.trk().IsCrossed), std::end(walker.trk().IsCrossed), 1);
    for (const int line : {-1, VCA_LINE_NUM})
        EXPECT_EQ(fix::output_of([&] {
                      EXPECT_EQ(vca_rgn_uturn_check_obj_line_cross(&walker.trk(), line), 0);
                  }),
                  "");
    EXPECT_THAT(take_counted(), IsEmpty());
}

}  // namespace
