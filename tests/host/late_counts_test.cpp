// Counts at the end of a track: where the person was past the line, and where not.
#include "host/engine/late_counts.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "vca/messages.h"

namespace {

using host::CountLeftOut;
using host::Decision;
using host::Event;
using host::LateCountFilter;
using host::LateCounts;
using host::PersonCounted;

void set_points(VCA_CFG_LINE_S& line, const std::vector<std::pair<int, int>>& points) {
    for (std::size_t i = 0; i < points.size(); ++i) {
        line.pt[i].en = 1;
        line.pt[i].x = points[i].first;
        line.pt[i].y = points[i].second;
    }
}

// Line 0 runs across the picture at row 272, drawn from left to right, so that direction 1 ends in
// the upper half. Line 1 has a corner: down at column 200, then right at row 400.
VCA_ALGO_CFG_S two_lines() {
    VCA_ALGO_CFG_S config{};
    set_points(config.line[0], {{100, 272}, {860, 272}});
    set_points(config.line[1], {{200, 100}, {200, 400}, {600, 400}});
    return config;
}

class LateCount : public testing::Test {
  protected:
    Event end_at(int x, int y, int line = 0, int track = 7, int frame = 5) {
        return {host::kDecisionId, frame, 0.0,
                Decision{VCA_DECISION_AT_END, frame, VCA_LIST_LOCAL, track, line, VCA_DIR_1, x, y,
                         12.0f, 9.0f}};
    }

    Event count(int direction = VCA_DIR_1, int line = 0, int track = 7) {
        PersonCounted counted;
        counted.track = track;
        counted.line = line;
        counted.direction = direction;
        return {6045, 5, 0.0, counted};
    }

    // What becomes of a count after these events.
    static Event after(LateCountFilter& filter, std::vector<Event> events, Event counted) {
        for (Event& event : events)
            filter.check(event);
        filter.check(counted);
        return counted;
    }

    VCA_ALGO_CFG_S config_ = two_lines();
    LateCountFilter drop_{config_, LateCounts::kDrop};
    LateCountFilter keep_{config_, LateCounts::kKeep};
};

TEST_F(LateCount, StandsWhereTheTrackEndedPastTheLine) {
    const Event event = after(drop_, {end_at(400, 262)}, count());
    const auto& counted = std::get<PersonCounted>(event.payload);
    ASSERT_TRUE(counted.at_end);
    EXPECT_EQ(counted.at_end->passes_since, 12);
    EXPECT_DOUBLE_EQ(counted.at_end->past_px, 10.0);
    EXPECT_FALSE(is_late(*counted.at_end));
}

TEST_F(LateCount, IsLeftOutWhereThePersonHadGoneBack) {
    const Event event = after(drop_, {end_at(400, 372)}, count());
    const auto& late = std::get<CountLeftOut>(event.payload).count;
    EXPECT_EQ(late.track, 7);
    EXPECT_DOUBLE_EQ(late.at_end->past_px, -100.0);
    EXPECT_EQ(event.id, 6045);
}

// Without a frame the head's place takes that of the feet, which may lie beyond a line.
TEST_F(LateCount, IsLeftOutWhenItIsOfACrossingAfterTheLastFrame) {
    Event crossed = end_at(400, 262);
    std::get<Decision>(crossed.payload).kind = VCA_DECISION_CROSSED;
    EXPECT_TRUE(std::holds_alternative<PersonCounted>(after(drop_, {crossed}, count()).payload));
    crossed.blank = true;
    EXPECT_TRUE(std::holds_alternative<PersonCounted>(after(keep_, {crossed}, count()).payload));
    const Event left_out = after(drop_, {crossed}, count());
    EXPECT_EQ(std::get<CountLeftOut>(left_out.payload).why, host::LeftOut::kUnseen);
    EXPECT_TRUE(
        std::holds_alternative<PersonCounted>(after(drop_, {}, count(VCA_DIR_1, 0, 8)).payload));
}

TEST_F(LateCount, CountsAndIsMarkedWhenTheyAreKept) {
    const Event event = after(keep_, {end_at(400, 372)}, count());
    EXPECT_TRUE(is_late(*std::get<PersonCounted>(event.payload).at_end));
}

TEST_F(LateCount, GoesByTheDirectionAndTheFlip) {
    EXPECT_TRUE(std::holds_alternative<PersonCounted>(
        after(drop_, {end_at(400, 372)}, count(VCA_DIR_2)).payload));
    config_.line[0].Flip = 1;
    EXPECT_TRUE(std::holds_alternative<CountLeftOut>(
        after(drop_, {end_at(400, 372)}, count(VCA_DIR_2)).payload));
}

TEST_F(LateCount, MeasuresFromTheNearestSegment) {
    const auto past = [this](int x, int y) {
        const Event event = after(keep_, {end_at(x, y, 1)}, count(VCA_DIR_1, 1));
        return std::get<PersonCounted>(event.payload).at_end->past_px;
    };
    EXPECT_DOUBLE_EQ(past(230, 150), 30.0);
    EXPECT_DOUBLE_EQ(past(400, 380), 20.0);
    EXPECT_DOUBLE_EQ(past(170, 150), -30.0);
    EXPECT_DOUBLE_EQ(past(400, 420), -20.0);
    EXPECT_DOUBLE_EQ(past(197, 404), -5.0) << "beyond the bend";
    EXPECT_DOUBLE_EQ(past(196, 403), -5.0) << "beyond the bend";
}

TEST_F(LateCount, BelongsToItsTrackAndLine) {
    std::vector<Event> ends{end_at(400, 372, 0), end_at(230, 150, 1), end_at(400, 262, 0, 8)};
    EXPECT_TRUE(std::holds_alternative<CountLeftOut>(after(drop_, ends, count()).payload));
    EXPECT_TRUE(
        std::holds_alternative<PersonCounted>(after(drop_, {}, count(VCA_DIR_1, 0, 8)).payload));
    const Event other = after(drop_, {}, count(VCA_DIR_1, 0, 9));
    EXPECT_FALSE(std::get<PersonCounted>(other.payload).at_end) << "no end was told";
}

TEST_F(LateCount, AnEndOfAnEarlierPassIsForgotten) {
    const Event next = after(drop_, {end_at(400, 372), end_at(0, 0, 1, 9, 6)}, count());
    EXPECT_FALSE(std::get<PersonCounted>(next.payload).at_end);
}

TEST_F(LateCount, IsTheSameMessageInFilesWithItsMark) {
    const auto json = [](const Event& event) {
        return nlohmann::json::parse(host::to_json_line(event));
    };
    const auto plain = json(count());
    EXPECT_FALSE(plain.contains("late"));
    const auto left_out = json(after(drop_, {end_at(400, 372)}, count()));
    EXPECT_EQ(left_out["message"], "person_counted");
    EXPECT_EQ(left_out["late"], true);
    EXPECT_EQ(left_out["left_out"], true);
    EXPECT_EQ(left_out["at_end"]["past_px"], -100.0);
    const auto kept = json(after(keep_, {end_at(400, 372)}, count()));
    EXPECT_EQ(kept["late"], true);
    EXPECT_FALSE(kept.contains("left_out"));
    EXPECT_EQ(json(after(drop_, {end_at(400, 262)}, count()))["late"], false);
}

}  // namespace
