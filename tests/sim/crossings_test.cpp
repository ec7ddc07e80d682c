// True crossings: hand-made paths, each also walked backwards.
#include "sim/crossings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

using sim::CountingLine;
using sim::Crossing;
using sim::CrossingCounter;
using sim::Frame;
using sim::PersonTruth;
using sim::Point;

// From left to right below the camera: direction 1 goes up (y falls).
const CountingLine kStraight{"straight", {{-1.0, 0.0}, {1.0, 0.0}}, {}};
const CountingLine kBent{"bent", {{-1.0, 0.0}, {0.0, 0.5}, {1.0, 0.0}}, {}};
const CountingLine kUturn{
    "uturn", {{-1.0, 0.0}, {1.0, 0.0}}, {{-1.0, -0.5}, {1.0, -0.5}, {1.0, 0.5}, {-1.0, 0.5}}};

struct Stop {
    double x_m;
    double y_m;
    bool in_view = true;
};

struct Case {
    std::string name;
    CountingLine line;
    std::vector<Stop> path;
    std::vector<int> directions;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

// Walks from stop to stop in steps of at most 5 cm.
std::vector<int> walk(const CountingLine& line, const std::vector<Stop>& path) {
    CrossingCounter counter({line});
    std::vector<int> directions;
    Frame frame;
    for (std::size_t i = 0; i + 1 < path.size(); ++i) {
        const double length =
            std::hypot(path[i + 1].x_m - path[i].x_m, path[i + 1].y_m - path[i].y_m);
        const int steps = std::max(1, static_cast<int>(length / 0.05));
        for (int k = 0; k <= steps; ++k) {
            const double t = static_cast<double>(k) / steps;
            PersonTruth person;
            person.id = 7;
            person.x_m = path[i].x_m + t * (path[i + 1].x_m - path[i].x_m);
            person.y_m = path[i].y_m + t * (path[i + 1].y_m - path[i].y_m);
            person.in_view = path[i].in_view && path[i + 1].in_view;
            frame.truth = {person};
            for (const Crossing& c : counter.update(frame)) {
                EXPECT_EQ(c.line, 0u);
                EXPECT_EQ(c.person, 7);
                EXPECT_EQ(c.frame, frame.index);
                directions.push_back(c.direction);
            }
            ++frame.index;
        }
    }
    return directions;
}

class CrossingPaths : public testing::TestWithParam<Case> {};

TEST_P(CrossingPaths, Forwards) {
    EXPECT_EQ(walk(GetParam().line, GetParam().path), GetParam().directions);
}

TEST_P(CrossingPaths, Backwards) {
    std::vector<Stop> path = GetParam().path;
    std::reverse(path.begin(), path.end());
    std::vector<int> directions = GetParam().directions;
    std::reverse(directions.begin(), directions.end());
    for (int& d : directions)
        d = 3 - d;
    EXPECT_EQ(walk(GetParam().line, path), directions);
}

TEST_P(CrossingPaths, LineDrawnTheOtherWayRound) {
    CountingLine line = GetParam().line;
    std::reverse(line.points.begin(), line.points.end());
    std::vector<int> directions = GetParam().directions;
    for (int& d : directions)
        d = 3 - d;
    EXPECT_EQ(walk(line, GetParam().path), directions);
}

const std::vector<Case> kCases = {
    {"Upwards", kStraight, {{0.2, 0.9}, {0.1, -0.9}}, {1}},
    {"OverAndBack", kStraight, {{0, 0.9}, {0, -0.4}, {0.1, 0.9}}, {1, 2}},
    {"OverAndBackTwice", kStraight, {{0, 0.9}, {0, -0.3}, {0, 0.3}, {0, -0.9}}, {1, 2, 1}},
    {"StepsOverByTooLittle", kStraight, {{0, 0.9}, {0, -0.2}, {0, 0.9}}, {}},
    {"HesitatesOnTheLine", kStraight, {{0, 0.9}, {0, -0.2}, {0, 0.2}, {0, -0.9}}, {1}},
    {"StopsJustBeyond", kStraight, {{0, 0.9}, {0, -0.24}}, {}},
    {"StartsTooClose", kStraight, {{0, 0.2}, {0, -0.9}}, {}},
    {"PassesBesideTheEnd", kStraight, {{1.3, 0.9}, {1.3, -0.9}}, {}},
    {"OverThenRoundTheEnd", kStraight, {{0.8, 0.9}, {0.8, -0.9}, {1.4, -0.9}, {1.4, 0.9}}, {1}},
    {"WalksAlongTheLine", kStraight, {{-0.9, 0.1}, {0.9, -0.1}}, {}},
    {"SlantsOver", kStraight, {{-0.9, 0.6}, {0.9, -0.6}}, {1}},
    {"OutOfViewOnTheLine",
     kStraight,
     {{0, 0.9}, {0, 0.1}, {0, 0.1, false}, {0, -0.1, false}, {0, -0.1}, {0, -0.9}},
     {}},
    {"OutOfViewLater", kStraight, {{0, 0.9}, {0, -0.6}, {0, -0.6, false}, {0, -0.9, false}}, {1}},
    {"OverTheBend", kBent, {{0.05, 1.4}, {0.05, -0.6}}, {1}},
    {"OverOneArmOfTheBend", kBent, {{0.6, 0.9}, {0.6, -0.6}}, {1}},
    {"InAndOutOfTheBend", kBent, {{-0.8, 1.2}, {-0.2, -0.4}, {0.2, -0.4}, {0.8, 1.2}}, {1, 2}},
    {"ThroughTheArea", kUturn, {{0, 0.9}, {0.2, -0.9}}, {1}},
    {"TurnsBackInTheArea", kUturn, {{0, 0.9}, {0, -0.4}, {0.1, 0.9}}, {}},
    {"TurnsBackBehindTheArea", kUturn, {{0, 0.9}, {0, -0.8}, {0.1, 0.9}}, {1, 2}},
    {"LeavesTheAreaBySide", kUturn, {{0.5, 0.9}, {0.5, -0.2}, {1.4, -0.2}}, {1}},
    {"TwiceOverInsideTheArea", kUturn, {{0, 0.9}, {0, -0.4}, {0, 0.4}, {0, -0.9}}, {1}},
    {"AppearsInsideTheArea", kUturn, {{0, 0.3, false}, {0, 0.2, false}, {0, 0.2}, {0, -0.9}}, {}},
    {"OutOfViewInTheArea",
     kUturn,
     {{0, 0.9}, {0, 0.2}, {0, 0.2, false}, {0, -0.2, false}, {0, -0.2}, {0, -0.9}},
     {}},
};

INSTANTIATE_TEST_SUITE_P(Table, CrossingPaths, testing::ValuesIn(kCases),
                         [](const auto& test) { return test.param.name; });

TEST(CrossingCounter, SidesFollowTheOrientation) {
    EXPECT_GT(sim::signed_distance(kStraight.points, {0.3, -0.4}), 0.0);
    EXPECT_DOUBLE_EQ(sim::signed_distance(kStraight.points, {0.3, -0.4}), 0.4);
    EXPECT_DOUBLE_EQ(sim::signed_distance(kStraight.points, {3.0, 0.4}), -0.4);
}

TEST(CrossingCounter, KeepsPeopleAndLinesApart) {
    const CountingLine upright{"upright", {{0.0, -1.0}, {0.0, 1.0}}, {}};
    CrossingCounter counter({kStraight, upright});
    std::vector<Crossing> all;
    Frame frame;
    for (frame.index = 0; frame.index < 41; ++frame.index) {
        const double t = -0.8 + 0.04 * static_cast<double>(frame.index);
        PersonTruth down;
        down.id = 1;
        down.x_m = 0.5;
        down.y_m = t;
        down.in_view = true;
        PersonTruth right = down;
        right.id = 2;
        right.x_m = t;
        right.y_m = 0.5;
        frame.truth = {down, right};
        for (const Crossing& c : counter.update(frame))
            all.push_back(c);
    }
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].line, 0u);
    EXPECT_EQ(all[0].person, 1);
    EXPECT_EQ(all[0].direction, 2);
    EXPECT_EQ(all[1].line, 1u);
    EXPECT_EQ(all[1].person, 2);
    EXPECT_EQ(all[1].direction, 1);
}

}  // namespace
