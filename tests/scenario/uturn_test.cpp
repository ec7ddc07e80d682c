// U-turn filtering, from the frame set to the message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenario/scene.h"
#include "tests/support/stdout_capture.h"

namespace {

using test::Count;
using test::counts;
using test::play;
using test::Point;
using test::walk;
using testing::ElementsAre;
using testing::IsEmpty;

// Rows 150 * 181 / 544 = 49 to 400 * 181 / 544 = 133 (exclusive) of the mask. A walker's box of 80
// starts at row (y - 40) * 181 / 544 and is 26 high, so the centre's row is 13 more: inside up to
// y = 400, outside from y = 401 on.
const std::vector<Point> kArea = {{200, 150}, {760, 150}, {760, 400}, {200, 400}};

VCA_ALGO_CFG_S uturn_config(const std::vector<Point>& area) {
    auto cfg = test::line_config();
    test::set_uturn(cfg, 0, area);
    return cfg;
}

// Centres that visit the given rows of column 480 in steps of 12 pixels.
std::vector<Point> visit(const std::vector<int>& rows) {
    std::vector<Point> centres = {{480, rows[0]}};
    for (size_t i = 1; i < rows.size(); ++i) {
        const int step = rows[i] > rows[i - 1] ? 12 : -12;
        for (int y = rows[i - 1]; y != rows[i];)
            centres.push_back({480, y += step});
    }
    return centres;
}

TEST(UturnScenario, WalkingThroughTheAreaCountsWhenItIsLeft) {
    // y = 400 in frame 25 is the last inside, 412 in frame 26 the first outside.
    play(uturn_config(kArea), walk({{}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{26, 1, 0, 2}));
    EXPECT_EQ(test::difference(test::host().messages(VCA_MSG_LINE_COUNT)[0],
                               test::expected_count(26, 1, {480, 412}, 2)),
              "");
}

TEST(UturnScenario, TurningBackInTheAreaCountsNothing) {
    play(uturn_config(kArea), test::path(1, visit({100, 340, 100})));
    EXPECT_THAT(counts(), IsEmpty());
}

TEST(UturnScenario, ThreeCrossingsCountOnceInTheLastDirection) {
    const auto centres = visit({100, 340, 208, 448});
    play(uturn_config(kArea), test::path(1, centres));
    // 100 to 340 takes 20 steps, down to 208 another 11; 412 is reached 17 steps later.
    EXPECT_THAT(counts(), ElementsAre(Count{20 + 11 + 17, 1, 0, 2}));
}

TEST(UturnScenario, ComingBackIntoTheAreaIsJudgedAfresh) {
    const auto centres = visit({100, 448, 100});
    play(uturn_config(kArea), test::path(1, centres));
    ASSERT_EQ(counts().size(), 2u);
    EXPECT_EQ(counts()[0], (Count{26, 1, 0, 2}));
    EXPECT_EQ(counts()[1].cross, 1);
    // Upwards the area's first row is 49: the centre's row (y - 40) * 181 / 544 + 13 falls below it
    // from y = 148.
    EXPECT_EQ(centres[static_cast<size_t>(counts()[1].frame)].y, 148);
}

TEST(UturnScenario, WithoutAnAreaTheEndOfTheTrackDecides) {
    // Last seen in frame 20; the record ends on the fifth pass without it.
    play(uturn_config({}), walk({{.last = 20}}, 40));
    EXPECT_THAT(counts(), ElementsAre(Count{25, 1, 0, 2}));
    EXPECT_EQ(test::difference(test::host().messages(VCA_MSG_LINE_COUNT)[0],
                               test::expected_count(25, 1, {480, 340}, 2)),
              "");
}

TEST(UturnScenario, WithoutAnAreaTurningBackCountsNothing) {
    auto frames = test::path(1, visit({100, 340, 100}));
    auto rest = test::empty_frames(8, static_cast<int>(frames.size()));
    frames.insert(frames.end(), rest.begin(), rest.end());
    play(uturn_config({}), frames);
    EXPECT_THAT(counts(), IsEmpty());
}

TEST(UturnScenario, AreaOfTwoPointsIsNoArea) {
    play(uturn_config({{200, 150}, {760, 400}}), walk({{.last = 20}}, 40));
    EXPECT_THAT(counts(), ElementsAre(Count{25, 1, 0, 2}));
}

TEST(UturnScenario, TrackThatEndsInsideTheAreaIsDecidedThen) {
    play(uturn_config(kArea), walk({{.last = 20}}, 40));
    EXPECT_THAT(counts(), ElementsAre(Count{25, 1, 0, 2}));
}

TEST(UturnScenario, OutsideTheAreaCrossingsAreIgnored) {
    // The area lies right of the walker.
    play(uturn_config({{600, 150}, {760, 150}, {760, 400}, {600, 400}}),
         walk({{.from = {300, 100}, .last = 30}}, 45));
    EXPECT_THAT(counts(), IsEmpty());
}

TEST(UturnScenario, FlipSwapsTheDirection) {
    auto cfg = uturn_config(kArea);
    cfg.line[0].Flip = 1;
    play(cfg, walk({{}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{26, 1, 0, 1}));
}

TEST(UturnScenario, ThresholdIsFivePixels) {
    // 8 pixels past the line in frame 15 already tallies; turning back from there, across the line
    // again and out at the top, makes two changes of direction.
    test::StdoutCapture out;
    play(uturn_config(kArea), test::path(1, visit({100, 280, 100})));
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_NE(out.text().find("\tuTurn obj[1] line[0] seg[0] CrossEvt=2 LastState=0\n"),
              std::string::npos);
    EXPECT_NE(out.text().find("\tuTurn obj[1] line[0] seg[0] CrossEvt=1 LastState=2\n"),
              std::string::npos);
    EXPECT_NE(
        out.text().find("\tuturn_exit obj[1] Polyline[0] IsCrossed=1 CrossCnt=2 LastState=1 \n"),
        std::string::npos);
}

TEST(UturnScenario, OtherLinesCountAtOnce) {
    auto cfg = uturn_config(kArea);
    test::set_line(cfg, 1, test::kLine);
    play(cfg, walk({{}}, 35));
    EXPECT_THAT(counts(), ElementsAre(Count{17, 1, 1, 2}, Count{26, 1, 0, 2}));
}

}  // namespace
