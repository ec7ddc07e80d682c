// People walking across counting lines, from the frame set to the message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenario/scene.h"
#include "tests/support/log_lines.h"
#include "tests/support/stdout_capture.h"

namespace {

using test::Count;
using test::counts;
using test::difference;
using test::host;
using test::line_config;
using test::play;
using test::Point;
using test::walk;
using testing::ElementsAre;
using testing::IsEmpty;

// A crossing counts once the centre is crossDist past the line: half the mean side 80, times 0.5,
// times two thirds = 26 pixels. A walker from y = 100 by 12 per frame is at 292 in frame 16 (20
// past) and at 304 in frame 17 (32 past).
constexpr int kCrossFrame = 17;

TEST(LineScenario, WalkingDownIsDirectionTwo) {
    play(line_config(), walk({{}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 2}));
    const auto messages = host().messages(VCA_MSG_LINE_COUNT);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].channel, 1);
    EXPECT_EQ(messages[0].bytes.size(), 104u);
    EXPECT_EQ(difference(messages[0], test::expected_count(kCrossFrame, 1, {480, 304}, 2)), "");
    EXPECT_TRUE(messages[0].on_task);
    EXPECT_THAT(host().messages(VCA_MSG_GROUP_COUNT), IsEmpty());
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(LineScenario, WalkingUpIsDirectionOne) {
    // From 444 upwards: 252 in frame 16 (20 past), 240 in frame 17 (32 past).
    play(line_config(), walk({{.from = {480, 444}, .step = {0, -12}}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 1}));
    EXPECT_EQ(difference(host().messages(VCA_MSG_LINE_COUNT)[0],
                         test::expected_count(kCrossFrame, 1, {480, 240}, 1)),
              "");
}

TEST(LineScenario, FlipSwapsTheDirections) {
    play(line_config(true), walk({{}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 1}));
}

TEST(LineScenario, FlipSwapsTheOtherDirectionToo) {
    play(line_config(true), walk({{.from = {480, 444}, .step = {0, -12}}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 2}));
}

TEST(LineScenario, ReversedLineSwapsTheDirections) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{760, 272}, {200, 272}});
    play(cfg, walk({{}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 1}));
}

TEST(LineScenario, VerticalLine) {
    // From (480, 100) to (480, 450); walking right from x = 308 by 12. orient(start, end, p) =
    // 350 * (p.x - 480) - 0, positive on the right: side 7, direction 1. 512 in frame 17 is 32
    // past.
    auto cfg = test::plain_config();
    test::set_line(cfg, 3, {{480, 100}, {480, 450}});
    play(cfg, walk({{.from = {308, 272}, .step = {12, 0}}}, 30));
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 3, 1}));
}

TEST(LineScenario, WalkingPastTheEndOfTheLineCountsNothing) {
    play(line_config(), walk({{.from = {150, 100}}}, 35));
    EXPECT_THAT(counts(), IsEmpty());
}

TEST(LineScenario, ThereAndBackCountsBothWays) {
    // Down to 340 in frame 20, back up by 12: 244 in frame 28 (28 past the line on the other side).
    std::vector<Point> centres;
    for (int k = 0; k <= 20; ++k)
        centres.push_back({480, 100 + 12 * k});
    for (int k = 21; k <= 40; ++k)
        centres.push_back({480, 340 - 12 * (k - 20)});
    play(line_config(), test::path(1, centres));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 0, 2}, Count{28, 1, 0, 1}));
}

TEST(LineScenario, TurningBackJustPastTheLineCountsNothing) {
    // 20 pixels past the line at most, then back to the start.
    std::vector<Point> centres;
    for (int k = 0; k <= 16; ++k)
        centres.push_back({480, 100 + 12 * k});
    for (int k = 1; k <= 14; ++k)
        centres.push_back({480, 292 - 12 * k});
    auto frames = test::path(1, centres);
    play(line_config(), frames);
    EXPECT_THAT(counts(), IsEmpty());
}

TEST(LineScenario, PolylineCountsOnceForTwoSegments) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 1, {{200, 272}, {480, 272}, {760, 272}});
    play(cfg, walk({{.from = {470, 100}, .step = {1, 12}}}, 35));
    ASSERT_EQ(counts().size(), 1u);
    EXPECT_EQ(counts()[0].line, 1);
    EXPECT_EQ(counts()[0].cross, 2);
}

TEST(LineScenario, FourLinesCountInTurn) {
    auto cfg = test::plain_config();
    for (int i = 0; i < 4; ++i)
        test::set_line(cfg, i, {{200, 200 + 48 * i}, {760, 200 + 48 * i}});
    // Line i at 200 + 48 i: 26 past it is first reached at 100 + 12 k >= 226 + 48 i, k = 11 + 4 i.
    play(cfg, walk({{}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{11, 1, 0, 2}, Count{15, 1, 1, 2}, Count{19, 1, 2, 2},
                                      Count{23, 1, 3, 2}));
}

TEST(LineScenario, CountingDisabledSendsNothing) {
    dev_set_counting_enable(false);
    test::StdoutCapture out;
    play(line_config(), walk({{}}, 35));
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_NE(out.text().find("$bCountingEn=0 Obj[1] Cls=1 CrossEvt=2 uTurnLine=0 $H=1700.00\n"),
              std::string::npos);
}

TEST(LineScenario, LogOfACrossing) {
    test::StdoutCapture out;
    play(line_config(), walk({{}}, 35));
    std::vector<std::string> crossing;
    for (const auto& line : test::parse_log(out.text())) {
        if (line.body.starts_with("line") || line.body.starts_with("add_event") ||
            line.body.starts_with("send_msg"))
            crossing.push_back(line.function + ": " + line.body);
    }
    // The point before the crossing is the last one that was not past the line, 268 in frame 14.
    EXPECT_THAT(crossing,
                ElementsAre("vca_line_point_cross_check: line[0][0]=(200 272)<-->(760 272)",
                            "vca_line_point_cross_check: line[0][0] obj: pre=480 268 cur=480 304 "
                            "dir=-1",
                            "vca_line_check_crossing_state: line=0 seg=0 cross=2",
                            "vca_line_check_crossing_state: add_event...",
                            "vca_event_counting_refresh_line_result: send_msg obj[1] line=0 "
                            "counter"));
    // One update per pass: the 18th is the track's sequence number 18.
    EXPECT_NE(
        out.text().find("$Frm[18] $bCountingEn=1 Obj[1] Cls=1 CrossEvt=2 uTurnLine=0 $H=1700.00\n"),
        std::string::npos);
}

TEST(LineScenario, VanishingJustPastTheLineCountsWhenTheTrackEnds) {
    // Last seen in frame 16, 20 pixels past: more than 4, less than 26. The track ends on the fifth
    // pass without it.
    test::StdoutCapture out;
    play(line_config(), walk({{.last = 16}}, 30));
    EXPECT_THAT(counts(), ElementsAre(Count{21, 1, 0, 2}));
    EXPECT_EQ(difference(host().messages(VCA_MSG_LINE_COUNT)[0],
                         test::expected_count(21, 1, {480, 292}, 2)),
              "");
    EXPECT_EQ(test::count_log(out.text(), "attempt to disappear line[0]=2"), 1);
}

TEST(LineScenario, VanishingJustPastAFlippedLine) {
    test::StdoutCapture out;
    play(line_config(true), walk({{.last = 16}}, 30));
    EXPECT_THAT(counts(), ElementsAre(Count{21, 1, 0, 1}));
    EXPECT_EQ(test::count_log(out.text(), "attempt to disappear line[0]=1"), 1);
}

TEST(LineScenario, VanishingBeforeTheLineOrAfterItsCountAddsNothing) {
    play(line_config(), walk({{.last = 14},                                // 4 pixels short
                              {.id = 2, .from = {300, 100}, .last = 18},   // counted in frame 17
                              {.id = 3, .from = {650, 104}, .last = 14}},  // exactly on the line
                             30));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 2, 0, 2}));
}

TEST(LineScenario, VanishingFourPixelsPastTheLineCountsNothing) {
    play(line_config(), walk({{.from = {480, 108}, .last = 14}}, 30));  // 276
    EXPECT_THAT(counts(), IsEmpty());
}

TEST(LineScenario, VanishingFivePixelsPastTheLineCounts) {
    play(line_config(), walk({{.from = {480, 109}, .last = 14}}, 30));  // 277
    EXPECT_THAT(counts(), ElementsAre(Count{19, 1, 0, 2}));
}

TEST(LineScenario, ShortLossKeepsTheTrack) {
    // Missing in frames 12 to 15, seen again in 16; four passes without a report end no track.
    auto frames = walk({{}}, 35);
    for (size_t k = 12; k <= 15; ++k)
        frames[k].colour.clear();
    play(line_config(), frames);
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 2}));
}

TEST(LineScenario, FivePassLossMakesANewTrack) {
    // Missing in 13 to 17: the first record ends in 17, a new one is born past the line in 18.
    auto frames = walk({{}}, 35);
    for (size_t k = 13; k <= 17; ++k)
        frames[k].colour.clear();
    play(line_config(), frames);
    EXPECT_THAT(counts(), IsEmpty());
}

TEST(LineScenario, TwoPeopleTogetherAreAGroup) {
    auto cfg = line_config();
    cfg.GroupEn = 1;
    play(cfg, walk({{.id = 1, .from = {430, 100}}, {.id = 2, .from = {530, 100}}}, 60));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 0, 2}, Count{17, 2, 0, 2}));
    // Speed 12 pixels per frame: displacements of 12 in frame 1 and of 24 in every second frame to
    // frame 17 sum to 204 over 17 frames. errMax = trunc(211 / 12 * 1.45) = 25 with GroupDistMax
    // 65 + 195 * 0.75 + 0.5 = 211. The 17th frame ages the group to 1, so it passes 25 in 17 + 25.
    const auto groups = host().messages(VCA_MSG_GROUP_COUNT);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].frame, 42);
    EXPECT_EQ(groups[0].bytes.size(), 24u);
    GROUP_COUNT_MSG_S expected{};
    expected.frame_flag[0] = test::kFirstStamp + 42;
    expected.members = 2;
    expected.line = 0;
    expected.cross = VCA_DIR_2;
    EXPECT_EQ(difference(groups[0], expected), "");
}

TEST(LineScenario, OpenGroupCanBeReadBetweenPasses) {
    auto cfg = line_config();
    cfg.GroupEn = 1;
    test::start_library(cfg);
    ASSERT_TRUE(
        host().run(walk({{.id = 1, .from = {430, 100}}, {.id = 2, .from = {530, 100}}}, 20)));
    EXPECT_TRUE(vca_dev_get_counting_results()->empty()) << "sent in the frame of the crossing";
    const auto* groups = vca_dev_get_counting_groups();
    ASSERT_EQ(groups->size(), 1u);
    const DEV_COUNTING_GROUP_S& group = groups->front();
    EXPECT_EQ(group.id, 0);
    EXPECT_EQ(group.counted, 0);
    EXPECT_EQ(group.err, 3);  // frames 17 to 19
    EXPECT_EQ(group.errMax, 25);
    EXPECT_EQ(group.line, 0);
    EXPECT_EQ(group.event, 4);
    EXPECT_EQ(group.speed, 12.0f);
    ASSERT_EQ(group.members.size(), 2u);
    EXPECT_EQ(group.members[0].x, 430 - 40);
    EXPECT_EQ(group.members[1].x, 530 - 40);
    test::stop_library();
}

TEST(LineScenario, PeopleApartAreNoGroup) {
    // 260 pixels apart, GroupDistMax is 211: two groups of one, both below GroupObjNumMin.
    auto cfg = line_config();
    cfg.GroupEn = 1;
    test::StdoutCapture out;
    play(cfg, walk({{.id = 1, .from = {350, 100}}, {.id = 2, .from = {610, 100}}}, 60));
    EXPECT_EQ(counts().size(), 2u);
    EXPECT_THAT(host().messages(VCA_MSG_GROUP_COUNT), IsEmpty());
    EXPECT_EQ(test::count_log(out.text(), "Grp[0] obj_num=1 less than min_num=2, to be filtered!"),
              1);
    EXPECT_EQ(test::count_log(out.text(), "Grp[1] obj_num=1 less than min_num=2, to be filtered!"),
              1);
}

TEST(LineScenario, OppositeWaysAreNoGroup) {
    auto cfg = line_config();
    cfg.GroupEn = 1;
    play(cfg, walk({{.id = 1, .from = {430, 100}}, {.id = 2, .from = {530, 444}, .step = {0, -12}}},
                   60));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 0, 2}, Count{17, 2, 0, 1}));
    EXPECT_THAT(host().messages(VCA_MSG_GROUP_COUNT), IsEmpty());
}

TEST(LineScenario, FullGroupIsReportedInTheNextCall) {
    auto cfg = line_config();
    cfg.GroupEn = 1;
    cfg.GroupObjNumMax = 2;
    test::StdoutCapture out;
    play(cfg, walk({{.id = 1, .from = {430, 100}}, {.id = 2, .from = {530, 100}}}, 40));
    const auto groups = host().messages(VCA_MSG_GROUP_COUNT);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].frame, 17);
    EXPECT_EQ(test::count_log(out.text(), "Grp[0] obj_num=2 reached max_num=2, to be truncated!"),
              1);
    EXPECT_EQ(test::count_log(out.text(), "Grp[0] obj_num=2(2 2) dir=2 counted!"), 1);
}

TEST(LineScenario, DetectionsInAnExclusionRegionDoNotExist) {
    auto cfg = line_config();
    cfg.ShowHistoryBox = 1;
    test::set_exclusion(cfg, 0, 0, {{300, 0}, {700, 0}, {700, 539}, {300, 539}});
    play(cfg, walk({{.id = 1, .from = {480, 100}}, {.id = 2, .from = {250, 100}}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 2, 0, 2}));
    EXPECT_EQ(host().messages(VCA_MSG_TRACK_BORN).size(), 1u);
}

TEST(LineScenario, DepthExclusionLeavesTheDetectionButNotItsHeight) {
    auto cfg = line_config();
    test::set_exclusion(cfg, 0, 1, {{300, 0}, {700, 0}, {700, 539}, {300, 539}});
    play(cfg, walk({{}}, 35));
    const auto messages = host().messages(VCA_MSG_LINE_COUNT);
    ASSERT_EQ(messages.size(), 1u);
    // Without samples the distance is the installation height, the height 0 and never stored; the
    // class's lower bound 500 remains.
    auto expected = test::expected_count(kCrossFrame, 1, {480, 304}, 2);
    expected.obj.height = 500.0f;
    EXPECT_EQ(difference(messages[0], expected), "");
}

TEST(LineScenario, HeightOutsideTheTargetRangeIsNotCounted) {
    auto cfg = line_config();
    cfg.TargetHeightMax = 1600;
    test::StdoutCapture out;
    play(cfg, walk({{}}, 35));
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_NE(out.text().find("===Obj[1] H=1700.00 exceed=(500 1600) ! \n"), std::string::npos);
}

TEST(LineScenario, DetectModelChoosesTheList) {
    // The colour model sees nobody, the depth model does.
    auto frames = walk({{}}, 35);
    for (auto& frame : frames)
        std::swap(frame.colour, frame.depth);
    auto cfg = line_config();
    cfg.DetectModel = VCA_DETECT_DEPTH;
    play(cfg, frames);
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 2}));
    EXPECT_EQ(host().count_calls("vca_nn_detection(101"), 0);
}

TEST(LineScenario, ColourOnlyDoesNotSeeDepthPeople) {
    auto frames = walk({{}}, 35);
    for (auto& frame : frames)
        std::swap(frame.colour, frame.depth);
    auto cfg = line_config();
    cfg.DetectModel = VCA_DETECT_COLOUR;
    play(cfg, frames);
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_EQ(host().count_calls("vca_nn_detection(102"), 0);
}

TEST(LineScenario, DepthPersonOnlyIsCountedWithBothModels) {
    auto frames = walk({{}}, 35);
    for (auto& frame : frames)
        std::swap(frame.colour, frame.depth);
    play(line_config(), frames);
    EXPECT_THAT(counts(), ElementsAre(Count{kCrossFrame, 1, 0, 2}));
}

TEST(LineScenario, SlaveIsSilent) {
    auto cfg = line_config();
    cfg.devWorkMode = VCA_WORK_SLAVE;
    cfg.ShowHistoryBox = 1;
    cfg.GroupEn = 1;
    play(cfg, walk({{.last = 20}}, 40));
    for (const int id : {6045, 6080, 6087, 6088})
        EXPECT_THAT(host().messages(id), IsEmpty()) << id;
    EXPECT_EQ(host().images_created(), 1) << "it tracks nevertheless";
    EXPECT_EQ(host().images_destroyed(), 1);
}

TEST(LineScenario, EveryRunGivesTheSameBytes) {
    auto cfg = line_config();
    cfg.GroupEn = 1;
    cfg.ShowDetectBox = 1;
    cfg.ShowHistoryBox = 1;
    const std::vector<test::Walker> walkers = {{.id = 1, .from = {430, 100}, .last = 30},
                                               {.id = 2, .from = {530, 100}, .last = 28}};
    // Two starts in one process: the frame counter, the pass counter and the group number go on,
    // none of which the messages carry.
    const auto run = [&] {
        host().clear_messages();
        play(cfg, walk(walkers, 60));
        // The request for the configuration leaves the host's thread at any time of the first pass.
        auto messages = host().messages();
        std::erase_if(messages, [](const auto& m) { return !m.on_task; });
        return messages;
    };
    const auto first = run();
    const auto second = run();
    EXPECT_GT(first.size(), 60u / 2);
    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].id, second[i].id);
        EXPECT_EQ(first[i].bytes, second[i].bytes);
    }
}

}  // namespace
