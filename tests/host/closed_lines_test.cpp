// Counts at a closed line that cannot be are left out, and no others.
#include "host/engine/closed_lines.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "vca/messages.h"

namespace {

using host::ClosedLineFilter;
using host::CountLeftOut;
using host::Decision;
using host::Event;
using host::PersonCounted;

constexpr int kIn = VCA_DIR_2;
constexpr int kOut = VCA_DIR_1;

// Line 0 goes around 300..660 x 150..400, clockwise in the picture; line 1 runs across it.
VCA_ALGO_CFG_S ring_and_door() {
    VCA_ALGO_CFG_S config{};
    config.StandAloneTrk = 1;
    const auto set = [](VCA_CFG_LINE_S& line, const std::vector<std::pair<int, int>>& points) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            line.pt[i].en = 1;
            line.pt[i].x = points[i].first;
            line.pt[i].y = points[i].second;
        }
    };
    set(config.line[0], {{300, 150}, {660, 150}, {660, 400}, {300, 400}, {300, 150}});
    set(config.line[1], {{100, 272}, {860, 272}});
    return config;
}

class ClosedLine : public testing::Test {
  protected:
    void decide(int kind, int x, int y, int line = -1, int frame = 5) {
        Event event{host::kDecisionId, frame, 0.0,
                    Decision{kind, frame, VCA_LIST_LOCAL, 7, line, 0, x, y, 1.0f, 1.0f}};
        filter_->check(event);
    }
    void appear(int head_x, int head_y, int foot_x, int foot_y) {
        decide(VCA_DECISION_BORN, head_x, head_y);
        Event event;
        event.payload = host::TrackAppeared{7, head_x, head_y, foot_x, foot_y};
        filter_->check(event);
    }
    // Whether a count that is decided there stands.
    bool stands(int direction, int x, int y, int line = 0, int frame = 5) {
        decide(VCA_DECISION_COUNTED, x, y, line, frame);
        return stays(direction, line);
    }
    bool stays(int direction, int line = 0) {
        PersonCounted counted;
        counted.track = 7;
        counted.line = line;
        counted.direction = direction;
        last_ = {6045, 5, 0.0, counted};
        filter_->check(last_);
        return std::holds_alternative<PersonCounted>(last_.payload);
    }

    VCA_ALGO_CFG_S config_ = ring_and_door();
    std::optional<ClosedLineFilter> filter_{std::in_place, config_};
    Event last_;
};

TEST_F(ClosedLine, CountsPeopleWhoComeAndGo) {
    appear(100, 272, 200, 272);
    EXPECT_TRUE(stands(kIn, 330, 272));
    EXPECT_TRUE(stands(kOut, 270, 272));
    EXPECT_TRUE(stands(kIn, 480, 180));
    EXPECT_TRUE(stands(kOut, 480, 120));
}

TEST_F(ClosedLine, LeavesOutAnExitOfSomebodyWhoIsOutside) {
    appear(700, 480, 690, 430);
    EXPECT_FALSE(stands(kOut, 640, 120));
    EXPECT_EQ(std::get<CountLeftOut>(last_.payload).why, host::LeftOut::kCorner);
    EXPECT_TRUE(stands(kIn, 480, 180)) << "the next entry counts";
    const auto json = nlohmann::json::parse(host::to_json_line(last_));
    EXPECT_FALSE(json.contains("left_out"));
}

TEST_F(ClosedLine, LeavesOutAnEntryOfSomebodyWhoIsInside) {
    appear(480, 300, 480, 280);
    EXPECT_FALSE(stands(kIn, 480, 180));
    EXPECT_TRUE(stands(kOut, 480, 120));
}

// Past a corner the library may find an exit first and then the entry before it.
TEST_F(ClosedLine, LeavesOutBothCountsOfACornerThatWasCut) {
    appear(700, 420, 690, 420);
    EXPECT_FALSE(stands(kOut, 270, 380));
    EXPECT_FALSE(stands(kIn, 270, 378)) << "decided outside";
}

TEST_F(ClosedLine, BelievesTheFirstCountOfSomebodyWhoAppearedOnIt) {
    appear(250, 272, 340, 272);
    EXPECT_TRUE(stands(kOut, 250, 272));
    appear(250, 272, 340, 272);
    EXPECT_TRUE(stands(kIn, 340, 272));
}

TEST_F(ClosedLine, KeepsToTheHeadWherePeopleAreCountedByIt) {
    config_.StandAloneTrk = 0;
    appear(250, 272, 340, 272);
    EXPECT_FALSE(stands(kOut, 250, 272));
}

TEST_F(ClosedLine, KnowsSomebodyWhoEndsUntilTheirLastCountsHaveCome) {
    appear(100, 272, 200, 272);
    EXPECT_TRUE(stands(kIn, 330, 272));
    decide(VCA_DECISION_COUNTED, 250, 272, 0);
    decide(VCA_DECISION_ENDED, 250, 272);
    EXPECT_TRUE(stays(kOut));
    decide(VCA_DECISION_BORN, 480, 272, -1, 6);
    EXPECT_FALSE(stands(kIn, 480, 180, 0, 6)) << "a track of the same number begins anew";
}

TEST_F(ClosedLine, LeavesOtherLinesAlone) {
    appear(480, 300, 480, 300);
    EXPECT_TRUE(stands(kIn, 480, 200, 1));
    EXPECT_TRUE(stands(kIn, 480, 200, 1));
}

TEST_F(ClosedLine, MarksWhatItLeavesOut) {
    appear(700, 480, 690, 430);
    EXPECT_FALSE(stands(kOut, 640, 120));
    const auto json = nlohmann::json::parse(host::to_json_line(last_));
    EXPECT_EQ(json["message"], "person_counted");
    EXPECT_EQ(json["left_out"], true);
    EXPECT_FALSE(json.contains("late"));
}

TEST_F(ClosedLine, IsOfADeviceThatCountsAlone) {
    config_.devWorkMode = VCA_WORK_MASTER;
    filter_.emplace(config_);
    appear(700, 480, 690, 430);
    EXPECT_TRUE(stands(kOut, 640, 120));
}

TEST_F(ClosedLine, FollowsTheFlip) {
    config_.line[0].Flip = 1;
    appear(100, 272, 200, 272);
    EXPECT_FALSE(stands(kIn, 330, 272)) << "now the direction outward";
    EXPECT_TRUE(stands(kOut, 330, 272));
}

}  // namespace
