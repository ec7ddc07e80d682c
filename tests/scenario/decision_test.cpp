// What the observer is told of people, from the frame set to the last record of a track.
#include "vca/decision.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "tests/scenario/scene.h"
#include "vca/messages.h"
#include "vca/object.h"

namespace {

using test::Frame;
using test::host;
using test::line_config;
using test::path;
using test::Point;
using test::walk;
using testing::ElementsAre;
using testing::IsEmpty;

// Frame, place, detail, value and limit of a decision about track 1 or about no track.
struct Row {
    int frame;
    int place;
    int detail;
    float value;
    float limit;
    bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << "{" << row.frame << ", " << row.place << ", " << row.detail << ", " << row.value << ", "
         << row.limit << "}";
}

class Decisions : public testing::Test {
  protected:
    Decisions() {
        vca_set_decision_observer(
            [](void* ctx, const VCA_DECISION_S* decision) {
                static_cast<Decisions*>(ctx)->told_.push_back(*decision);
            },
            this);
    }
    ~Decisions() override { vca_set_decision_observer(nullptr, nullptr); }

    std::vector<Row> rows(VCA_DECISION_E kind) const {
        std::vector<Row> list;
        for (const VCA_DECISION_S& d : told_) {
            if (d.kind == kind) list.push_back({d.frame, d.place, d.detail, d.value, d.limit});
        }
        return list;
    }

    // The kinds told of a track, each run of equal ones once.
    std::vector<int> story(int track) const {
        std::vector<int> kinds;
        for (const VCA_DECISION_S& d : told_) {
            if (d.track == track && (kinds.empty() || kinds.back() != d.kind))
                kinds.push_back(d.kind);
        }
        return kinds;
    }

    std::vector<VCA_DECISION_S> told_;
};

// Centres that visit the given places in turn, 12 pixels a frame along the longer axis.
std::vector<Point> visit(const std::vector<Point>& places) {
    std::vector<Point> centres{places.front()};
    for (const Point to : places) {
        const Point from = centres.back();
        const int steps = std::max(std::abs(to.x - from.x), std::abs(to.y - from.y)) / 12;
        for (int k = 1; k <= steps; ++k) {
            centres.push_back(
                {from.x + (to.x - from.x) * k / steps, from.y + (to.y - from.y) * k / steps});
        }
    }
    return centres;
}

std::vector<Frame> then_nobody(std::vector<Frame> frames) {
    const auto count = static_cast<int>(frames.size());
    for (Frame& frame : test::empty_frames(8, count))
        frames.push_back(std::move(frame));
    return frames;
}

// ---- Lines ----

// 26 pixels past the line are needed; 304 is 32 past.
TEST_F(Decisions, OfAWalkerOverALine) {
    test::play(line_config(), then_nobody(walk({{}}, 30)));
    EXPECT_THAT(story(1),
                ElementsAre(VCA_DECISION_BORN, VCA_DECISION_COUNTABLE, VCA_DECISION_NEAR_LINE,
                            VCA_DECISION_CROSSED, VCA_DECISION_COUNTED, VCA_DECISION_ENDED));
    EXPECT_THAT(rows(VCA_DECISION_BORN), ElementsAre(Row{0, -1, 0, 0.9f, 0.5f}));
    EXPECT_THAT(rows(VCA_DECISION_COUNTABLE), ElementsAre(Row{0, -1, 0, 1, 0}));
    EXPECT_THAT(rows(VCA_DECISION_NEAR_LINE),
                ElementsAre(Row{13, 0, 0, 16, 26}, Row{14, 0, 0, 4, 26}, Row{15, 0, 1, 8, 26},
                            Row{16, 0, 1, 20, 26}));
    EXPECT_THAT(rows(VCA_DECISION_CROSSED), ElementsAre(Row{17, 0, 0, 32, 26}));
    EXPECT_THAT(rows(VCA_DECISION_COUNTED), ElementsAre(Row{17, 0, VCA_DIR_2, -1, 0}));
    EXPECT_THAT(rows(VCA_DECISION_ENDED), ElementsAre(Row{34, -1, VCA_ENDED_LOST, 5, 4}));
    const auto counted = std::find_if(told_.begin(), told_.end(), [](const VCA_DECISION_S& d) {
        return d.kind == VCA_DECISION_COUNTED;
    });
    EXPECT_EQ(counted->x, 480);
    EXPECT_EQ(counted->y, 304);
    EXPECT_EQ(counted->list, VCA_LIST_LOCAL);
}

TEST_F(Decisions, OfSomebodyWhoDoesNotGoFarEnough) {
    test::play(line_config(), path(1, visit({{480, 100}, {480, 292}, {480, 100}})));
    EXPECT_THAT(test::counts(), IsEmpty());
    EXPECT_THAT(story(1), ElementsAre(VCA_DECISION_BORN, VCA_DECISION_COUNTABLE,
                                      VCA_DECISION_NEAR_LINE, VCA_DECISION_ENDED));
    const std::vector<Row> near = rows(VCA_DECISION_NEAR_LINE);
    EXPECT_EQ(std::count_if(near.begin(), near.end(), [](const Row& r) { return r.detail == 1; }),
              3);  // 8, 20 and 8 past it
    EXPECT_THAT(rows(VCA_DECISION_ENDED), ElementsAre(Row{33, -1, VCA_ENDED_STOPPED, 0, 4}));
}

TEST_F(Decisions, OfACrossingThatEndsWhereTheLastOneDid) {
    test::play(
        line_config(),
        path(1, visit({{480, 100}, {480, 340}, {868, 340}, {868, 100}, {480, 100}, {480, 340}})));
    EXPECT_THAT(test::counts(), testing::SizeIs(1));
    EXPECT_THAT(rows(VCA_DECISION_CROSSED), testing::SizeIs(2));
    EXPECT_THAT(rows(VCA_DECISION_COUNTED), testing::SizeIs(1));
    const std::vector<Row> same = rows(VCA_DECISION_SAME_SIDE);
    ASSERT_THAT(same, testing::SizeIs(1));
    EXPECT_EQ(same[0].place, 0);
    EXPECT_EQ(same[0].detail, VCA_DIR_2);
}

// 12 past the line, then gone: the fifth pass without him ends the track.
TEST_F(Decisions, OfSomebodyWhoVanishesJustPastTheLine) {
    test::play(line_config(), then_nobody(path(1, visit({{480, 104}, {480, 284}}))));
    EXPECT_THAT(test::counts(), testing::SizeIs(1));
    EXPECT_THAT(rows(VCA_DECISION_CROSSED), IsEmpty());
    EXPECT_THAT(rows(VCA_DECISION_AT_END), ElementsAre(Row{20, 0, VCA_DIR_2, 5, 12}));
    EXPECT_THAT(rows(VCA_DECISION_COUNTED), ElementsAre(Row{20, 0, VCA_DIR_2, -1, 0}));
}

const std::vector<Point> kArea = {{200, 150}, {760, 150}, {760, 400}, {200, 400}};

TEST_F(Decisions, OfSomebodyWhoTurnsBack) {
    auto cfg = line_config();
    test::set_uturn(cfg, 0, kArea);
    test::play(cfg, path(1, visit({{480, 100}, {480, 340}, {480, 100}})));
    EXPECT_THAT(test::counts(), IsEmpty());
    EXPECT_THAT(rows(VCA_DECISION_WAITS),
                ElementsAre(Row{15, 0, VCA_DIR_2, 1, 0}, Row{27, 0, VCA_DIR_1, 2, 0}));
    EXPECT_THAT(rows(VCA_DECISION_TURNED_BACK), ElementsAre(Row{36, 0, 0, 2, 0}));
}

// Around the end of the line and over it once more.
TEST_F(Decisions, OfASecondCrossingToTheSameSideInTheArea) {
    auto cfg = line_config();
    test::set_uturn(cfg, 0, {{150, 50}, {920, 50}, {920, 420}, {150, 420}});
    test::play(
        cfg,
        path(1, visit({{480, 100}, {480, 340}, {868, 340}, {868, 100}, {480, 100}, {480, 340}})));
    EXPECT_THAT(rows(VCA_DECISION_WAITS), testing::SizeIs(1));
    const std::vector<Row> same = rows(VCA_DECISION_SAME_SIDE);
    ASSERT_THAT(same, testing::SizeIs(1));
    EXPECT_EQ(same[0].detail, VCA_DIR_2);
}

TEST_F(Decisions, OfSomebodyWhoWalksThroughTheArea) {
    auto cfg = line_config();
    test::set_uturn(cfg, 0, kArea);
    test::play(cfg, walk({{}}, 35));
    EXPECT_THAT(rows(VCA_DECISION_WAITS), ElementsAre(Row{15, 0, VCA_DIR_2, 1, 0}));
    EXPECT_THAT(rows(VCA_DECISION_TURNED_BACK), IsEmpty());
    EXPECT_THAT(rows(VCA_DECISION_COUNTED), ElementsAre(Row{26, 0, VCA_DIR_2, -1, 0}));
}

TEST_F(Decisions, OfAGroup) {
    auto cfg = line_config();
    cfg.GroupEn = 1;
    test::play(cfg, walk({{.id = 1, .from = {420, 100}}, {.id = 2, .from = {540, 100}}}, 60));
    EXPECT_THAT(rows(VCA_DECISION_COUNTED),
                ElementsAre(Row{17, 0, VCA_DIR_2, 0, 1}, Row{17, 0, VCA_DIR_2, 0, 2}));
    const std::vector<Row> closed = rows(VCA_DECISION_GROUP_CLOSED);
    ASSERT_THAT(closed, testing::SizeIs(1));
    EXPECT_EQ(closed[0].place, 0);
    EXPECT_EQ(closed[0].detail, 0);
    EXPECT_EQ(closed[0].value, 2.0f);
    const auto sent = host().messages(VCA_MSG_GROUP_COUNT);
    ASSERT_THAT(sent, testing::SizeIs(1));
    EXPECT_EQ(sent[0].as<GROUP_COUNT_MSG_S>().members, 2);
}

TEST_F(Decisions, WhileCountingIsOff) {
    dev_set_counting_enable(false);
    test::play(line_config(), walk({{}}, 35));
    dev_set_counting_enable(true);
    EXPECT_THAT(test::counts(), IsEmpty());
    EXPECT_THAT(rows(VCA_DECISION_COUNTED), IsEmpty());
    EXPECT_THAT(rows(VCA_DECISION_NOT_COUNTING), ElementsAre(Row{17, 0, VCA_DIR_2, 0, 0}));
}

// ---- Regions ----

TEST_F(Decisions, OfAStayInARegion) {
    auto cfg = test::plain_config();
    test::set_region(cfg, 1, {{380, 172}, {580, 172}, {580, 372}, {380, 372}});
    test::play(cfg, walk({{.from = {480, 60}}}, 40));
    ASSERT_THAT(rows(VCA_DECISION_ENTERED), testing::SizeIs(1));
    ASSERT_THAT(rows(VCA_DECISION_LEFT), testing::SizeIs(1));
    EXPECT_EQ(rows(VCA_DECISION_ENTERED)[0].place, 1);
    EXPECT_EQ(rows(VCA_DECISION_LEFT)[0].place, 1);
    EXPECT_GT(rows(VCA_DECISION_LEFT)[0].value, 0.0f);
}

// ---- A track ----

TEST_F(Decisions, OfAHeightOutOfRange) {
    auto cfg = line_config();
    cfg.TargetHeightMax = 1600;
    test::play(cfg, walk({{}}, 35));
    EXPECT_THAT(test::counts(), IsEmpty());
    const std::vector<Row> out = rows(VCA_DECISION_HEIGHT_OUT);
    ASSERT_THAT(out, testing::SizeIs(1));
    EXPECT_EQ(out[0].value, 1700.0f);
    EXPECT_EQ(out[0].limit, 1600.0f);
}

// As tall as 1900 mm for a while; the target range ends at 1800.
TEST_F(Decisions, OfAHeightThatComesBack) {
    auto cfg = line_config();
    cfg.TargetHeightMax = 1800;
    std::vector<Frame> frames;
    for (int k = 0; k < 120; ++k) {
        frames.push_back(test::frame_of({test::person_at(1, {480, 150})}));
        if (k >= 60) continue;
        for (uint16_t& depth_mm : frames.back().raw)
            if (depth_mm == test::kHeadMm) depth_mm = 1100;
    }
    test::play(cfg, frames);
    ASSERT_THAT(rows(VCA_DECISION_HEIGHT_OUT), testing::SizeIs(1));
    EXPECT_EQ(rows(VCA_DECISION_HEIGHT_OUT)[0].limit, 1800.0f);
    ASSERT_THAT(rows(VCA_DECISION_HEIGHT_BACK), testing::SizeIs(1));
    EXPECT_LE(rows(VCA_DECISION_HEIGHT_BACK)[0].value, 1800.0f);
}

// Unsure boxes at one place are furniture from the 61st on, and a person again when they have moved
// for four updates.
TEST_F(Decisions, OfFurnitureThatWalks) {
    std::vector<Frame> frames;
    for (int k = 0; k < 90; ++k) {
        const int y = k < 70 ? 150 : 150 + 12 * (k - 69);
        frames.push_back(test::frame_of({test::person_at(1, {480, y}, 0.6f)}));
    }
    test::play(line_config(), frames);
    ASSERT_THAT(rows(VCA_DECISION_FURNITURE), testing::SizeIs(1));
    EXPECT_EQ(rows(VCA_DECISION_FURNITURE)[0].value, 61.0f);
    EXPECT_EQ(rows(VCA_DECISION_FURNITURE)[0].limit, 61.0f);
    ASSERT_THAT(rows(VCA_DECISION_NO_FURNITURE), testing::SizeIs(1));
    EXPECT_EQ(rows(VCA_DECISION_NO_FURNITURE)[0].value, 4.0f);
}

TEST_F(Decisions, OfASmallTargetThatIsTall) {
    auto frames = walk({{}}, 20);
    for (Frame& frame : frames)
        frame.colour[0].class_id = VCA_CLASS_SMALL;
    test::play(line_config(), frames);
    const std::vector<Row> promoted = rows(VCA_DECISION_PROMOTED);
    ASSERT_THAT(promoted, testing::SizeIs(1));
    EXPECT_EQ(promoted[0].value, 1500.0f);
    EXPECT_EQ(promoted[0].limit, 1500.0f);
}

TEST_F(Decisions, OfGenderAndStaff) {
    auto cfg = line_config();
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    host().gender_answer = {VCA_GENDER_FEMALE, 0.125f, 0.75f};
    host().staff_answer = {1, 0.5f};
    test::play(cfg, walk({{}}, 10));
    EXPECT_THAT(rows(VCA_DECISION_GENDER), ElementsAre(Row{0, -1, VCA_GENDER_FEMALE, 0.75f, 1}));
    EXPECT_THAT(rows(VCA_DECISION_STAFF), ElementsAre(Row{3, -1, 0, 2, 2}));
}

TEST_F(Decisions, OfAttributesThatNobodyAskedFor) {
    host().gender_answer = {VCA_GENDER_FEMALE, 0.125f, 0.75f};
    host().staff_answer = {1, 0.5f};
    test::play(line_config(), walk({{}}, 10));
    EXPECT_THAT(rows(VCA_DECISION_GENDER), IsEmpty());
    EXPECT_THAT(rows(VCA_DECISION_STAFF), IsEmpty());
}

// ---- Boxes that become nobody ----

TEST_F(Decisions, OfABoxInAnExclusionRegion) {
    auto cfg = line_config();
    test::set_exclusion(cfg, 2, 0, {{300, 0}, {700, 0}, {700, 539}, {300, 539}});
    test::play(cfg, walk({{}}, 3));
    EXPECT_THAT(rows(VCA_DECISION_EXCLUDED),
                ElementsAre(Row{0, 2, 0, 0, 0}, Row{1, 2, 0, 0, 0}, Row{2, 2, 0, 0, 0}));
    EXPECT_EQ(told_[0].track, -1);
    EXPECT_EQ(told_[0].x, 480);
    EXPECT_EQ(told_[0].y, 100);
    EXPECT_THAT(rows(VCA_DECISION_BORN), IsEmpty());
}

TEST_F(Decisions, OfBoxesThatTheMergeDrops) {
    Frame frame = test::frame_of({test::person_at(1, {480, 272})});
    test::Person covered = test::person_at(2, {490, 272});
    test::Person at_border = test::person_at(3, {50, 100});
    at_border.x = 10;
    test::Person small = test::person_at(4, {700, 272});
    small.w = 20;
    frame.depth = {covered, at_border, small};
    test::play(line_config(), {frame});
    const std::vector<Row> by = rows(VCA_DECISION_COVERED);
    ASSERT_THAT(by, testing::SizeIs(1));
    EXPECT_EQ(by[0].detail, 0);
    EXPECT_NEAR(by[0].value, 70.0f / 90.0f, 1e-5f);
    EXPECT_EQ(by[0].limit, 0.1f);
    EXPECT_THAT(rows(VCA_DECISION_AT_BORDER), ElementsAre(Row{0, -1, 0, 0, 0}));
    EXPECT_THAT(rows(VCA_DECISION_TOO_SMALL), ElementsAre(Row{0, -1, 0, 20, 25}));
}

TEST_F(Decisions, AreToldToNobodyOnceTheObserverIsGone) {
    vca_set_decision_observer(nullptr, nullptr);
    test::play(line_config(), walk({{}}, 35));
    EXPECT_THAT(told_, IsEmpty());
}

}  // namespace
