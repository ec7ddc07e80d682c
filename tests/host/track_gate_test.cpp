// Order, age, refusal and silence as the gate judges them, with a clock of the test's own.
#include "host/link/track_gate.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <stdexcept>

namespace {

using host::DeviceChange;
using host::DeviceCounters;
using host::GateSettings;
using host::SenderClock;
using host::TrackGate;
using host::Verdict;
using Kind = host::DeviceChange::Kind;

constexpr int kLeft = 3;
constexpr int kRight = 14;

MASTER_MSG_S packet(int index, std::int32_t frame, int people) {
    MASTER_MSG_S message{};
    message.slave_idx = static_cast<std::uint32_t>(index);
    message.reserved = static_cast<std::uint32_t>(frame);
    message.msg.count = people;
    message.msg.frame = static_cast<std::uint32_t>(frame);
    return message;
}

class GateTest : public ::testing::Test {
  protected:
    GateTest() : gate_({{"left", kLeft}, {"right", kRight}}, {10, 4, 2.0}, 0.0) {}

    Verdict judge(const char* device, const MASTER_MSG_S& message, const SenderClock& clock = {}) {
        return gate_.judge({device, host::bytes_of(message), clock, master_frame_, now_s_},
                           delivered_);
    }
    Verdict left(std::int32_t frame, int people = 1, const SenderClock& clock = {}) {
        return judge("left", packet(kLeft, frame, people), clock);
    }
    Verdict right(std::int32_t frame, int people = 1) {
        return judge("right", packet(kRight, frame, people));
    }
    const DeviceCounters& left_counters() {
        states_ = gate_.states();
        return states_[0].counters;
    }
    std::vector<DeviceChange> review(double now_s) {
        now_s_ = now_s;
        return gate_.review(now_s);
    }
    // The kinds of changes of the left device alone, while the right one stays alive.
    std::vector<Kind> left_changes(double now_s) {
        gate_.heard("right", now_s);
        std::vector<Kind> kinds;
        for (const DeviceChange& change : review(now_s)) {
            EXPECT_EQ(change.device.index, kLeft);
            kinds.push_back(change.kind);
        }
        return kinds;
    }

    TrackGate gate_;
    std::int32_t master_frame_ = 1000;
    double now_s_ = 0.0;
    MASTER_MSG_S delivered_{};
    std::vector<host::DeviceState> states_;
};

TEST_F(GateTest, DeliversTheMessageWithTheIndexInFrontAndZeroBehindIt) {
    MASTER_MSG_S sent = packet(kLeft, 999, 2);
    sent.msg.frame_flag[0] = 77;
    sent.msg.tracks[1].track_id = 5;
    sent.msg.tracks[1].foot_x = -300;
    EXPECT_EQ(judge("left", sent), Verdict::kDeliver);
    sent.reserved = 0;
    EXPECT_EQ(std::memcmp(&delivered_, &sent, sizeof sent), 0);
    EXPECT_EQ(left_counters().received, 1);
    EXPECT_EQ(left_counters().delivered, 1);
    EXPECT_EQ(states_[0].last_frame, 999);
    EXPECT_EQ(states_[0].age_frames, 1);
}

TEST_F(GateTest, RisingNumbersAreDeliveredWithGapsToo) {
    for (const std::int32_t frame : {991, 992, 995, 1000, 1004})
        EXPECT_EQ(left(frame), Verdict::kDeliver) << frame;
    EXPECT_EQ(left_counters().delivered, 5);
}

TEST_F(GateTest, AgeAndLeadHaveExactLimits) {
    EXPECT_EQ(left(989), Verdict::kLate);
    EXPECT_EQ(left(990), Verdict::kDeliver);
    EXPECT_EQ(left(1005), Verdict::kForeignClock);
    EXPECT_EQ(left(1004), Verdict::kDeliver);
    EXPECT_EQ(left_counters().late, 1);
    EXPECT_EQ(left_counters().foreign_clock, 1);
    EXPECT_EQ(left_counters().delivered, 2);
    EXPECT_EQ(left_counters().received, 4);
}

TEST_F(GateTest, TheSameNumberAgainIsRepeatedAndALowerOneOutOfOrder) {
    EXPECT_EQ(left(998), Verdict::kDeliver);
    EXPECT_EQ(left(998), Verdict::kRepeated);
    EXPECT_EQ(left(998, 0), Verdict::kRepeated);
    EXPECT_EQ(left(997), Verdict::kOutOfOrder);
    EXPECT_EQ(left(990), Verdict::kOutOfOrder);
    EXPECT_EQ(left(980), Verdict::kLate);  // age comes first
    EXPECT_EQ(left(999), Verdict::kDeliver);
    EXPECT_EQ(left_counters().repeated, 2);
    EXPECT_EQ(left_counters().out_of_order, 2);
}

TEST_F(GateTest, DevicesHaveOrdersOfTheirOwn) {
    EXPECT_EQ(left(1000), Verdict::kDeliver);
    EXPECT_EQ(right(995), Verdict::kDeliver);
    EXPECT_EQ(right(996), Verdict::kDeliver);
    EXPECT_EQ(left(996), Verdict::kOutOfOrder);
}

TEST_F(GateTest, ADroppedMessageDoesNotMoveTheOrder) {
    EXPECT_EQ(left(995), Verdict::kDeliver);
    EXPECT_EQ(left(1020), Verdict::kForeignClock);
    EXPECT_EQ(left(996), Verdict::kDeliver);
    MASTER_MSG_S broken = packet(kLeft, 1003, 91);
    EXPECT_EQ(judge("left", broken), Verdict::kWrongCount);
    EXPECT_EQ(left(997), Verdict::kDeliver);
}

TEST_F(GateTest, CountersWrap) {
    master_frame_ = INT_MIN + 2;
    EXPECT_EQ(left(INT_MAX), Verdict::kDeliver);
    EXPECT_EQ(left(INT_MIN), Verdict::kDeliver);
    EXPECT_EQ(left(INT_MAX), Verdict::kOutOfOrder);
    EXPECT_EQ(left(INT_MIN + 2), Verdict::kDeliver);
    EXPECT_EQ(left(INT_MAX - 9), Verdict::kLate);
    EXPECT_EQ(left(0), Verdict::kForeignClock);
}

TEST_F(GateTest, ASenderThatWasSetBackIsTakenBackInItsNewNumbering) {
    EXPECT_EQ(left(1003, 1, {"a", 0}), Verdict::kDeliver);
    EXPECT_EQ(left(1000, 1, {"a", 0}), Verdict::kOutOfOrder);
    EXPECT_EQ(left(1000, 1, {"a", 1}), Verdict::kDeliver);
    EXPECT_EQ(left(1000, 1, {"a", 1}), Verdict::kRepeated);
    EXPECT_EQ(left(1004, 1, {"a", 0}), Verdict::kOutOfOrder);  // of the old numbering
    EXPECT_EQ(left(1001, 1, {"a", 1}), Verdict::kDeliver);
}

TEST_F(GateTest, ARestartedSenderBeginsANewOrder) {
    EXPECT_EQ(left(1003, 1, {"a", 4}), Verdict::kDeliver);
    EXPECT_EQ(left(999, 1, {"b", 0}), Verdict::kDeliver);
    EXPECT_EQ(left(999, 1, {"b", 0}), Verdict::kRepeated);
}

TEST_F(GateTest, ARestartedSenderIsLateUntilItSynchronised) {
    EXPECT_EQ(left(1000, 1, {"a", 0}), Verdict::kDeliver);
    EXPECT_EQ(left(1, 1, {"b", 0}), Verdict::kLate);
    EXPECT_EQ(left(2, 1, {"b", 0}), Verdict::kLate);
    EXPECT_EQ(left(1000, 1, {"b", 0}), Verdict::kDeliver);
}

TEST_F(GateTest, MessagesWithoutAClockFollowTheOrderOfTheOthers) {
    EXPECT_EQ(left(998, 1, {"a", 7}), Verdict::kDeliver);
    EXPECT_EQ(left(998), Verdict::kRepeated);
    EXPECT_EQ(left(997), Verdict::kOutOfOrder);
    EXPECT_EQ(left(999), Verdict::kDeliver);
    EXPECT_EQ(left(999, 1, {"a", 7}), Verdict::kRepeated);
}

TEST_F(GateTest, AfterTheMasterStartedAnewSlavesAreTakenBackWhenTheyFollowItsCount) {
    EXPECT_EQ(left(1000), Verdict::kDeliver);
    master_frame_ = 3;  // the library's counter began again under a living gate
    EXPECT_EQ(left(1001), Verdict::kForeignClock);
    EXPECT_EQ(left(4), Verdict::kDeliver);  // synchronised, and it says nothing of a new numbering
    EXPECT_EQ(left(4), Verdict::kRepeated);
    EXPECT_EQ(left(5), Verdict::kDeliver);
}

TEST_F(GateTest, ANewMasterRefusesTheOldClockUntilTheSlaveSynchronised) {
    master_frame_ = 0;
    EXPECT_EQ(left(100000, 1, {"a", 2}), Verdict::kForeignClock);
    EXPECT_EQ(left(1, 1, {"a", 3}), Verdict::kDeliver);
}

TEST_F(GateTest, AGoodbyeEndsTheOrder) {
    EXPECT_EQ(left(1000), Verdict::kDeliver);
    EXPECT_TRUE(gate_.said_goodbye("left"));
    EXPECT_EQ(left(995), Verdict::kDeliver);
}

TEST_F(GateTest, RefusesUnknownDevicesWrongIndicesLengthsAndCounts) {
    EXPECT_EQ(judge("nobody", packet(kLeft, 1000, 1)), Verdict::kUnknownDevice);
    EXPECT_EQ(judge("", packet(kLeft, 1000, 1)), Verdict::kUnknownDevice);
    EXPECT_EQ(judge("left", packet(kRight, 1000, 1)), Verdict::kWrongIndex);  // another device's
    EXPECT_EQ(judge("left", packet(7, 1000, 1)), Verdict::kWrongIndex);       // not configured
    EXPECT_EQ(judge("left", packet(15, 1000, 1)), Verdict::kWrongIndex);
    EXPECT_EQ(judge("left", packet(-1, 1000, 1)), Verdict::kWrongIndex);
    EXPECT_EQ(left(1000, 91), Verdict::kWrongCount);
    EXPECT_EQ(left(1000, -1), Verdict::kWrongCount);
    EXPECT_EQ(left(1000, INT_MAX), Verdict::kWrongCount);
    EXPECT_EQ(left(1000, 90), Verdict::kDeliver);
    EXPECT_EQ(left(1001, 0), Verdict::kDeliver);
    EXPECT_EQ(gate_.unknown(), 2);
    EXPECT_EQ(left_counters().refused, 7);
    EXPECT_EQ(left_counters().received, 9);
}

TEST_F(GateTest, RefusesEveryOtherLength) {
    const std::vector<std::uint8_t> bytes(2 * sizeof(MASTER_MSG_S), std::uint8_t{kLeft});
    for (std::size_t length = 0; length <= bytes.size(); ++length) {
        if (length == sizeof(MASTER_MSG_S)) continue;
        ASSERT_EQ(gate_.judge({"left", {bytes.data(), length}, {}, 1000, 0.0}, delivered_),
                  Verdict::kWrongLength);
    }
    EXPECT_EQ(left_counters().refused, 2 * 6144);
    EXPECT_EQ(left_counters().delivered, 0);
}

TEST_F(GateTest, EveryMessageIsCountedOnce) {
    std::mt19937 random(20261120);
    std::int64_t known = 0;
    for (int i = 0; i < 20000; ++i) {
        master_frame_ += static_cast<std::int32_t>(random() % 2);
        const auto frame = master_frame_ + static_cast<std::int32_t>(random() % 24) - 12;
        const int people = static_cast<int>(random() % 95) - 2;
        const int index = random() % 8 == 0 ? kRight : kLeft;
        const char* name = random() % 8 == 0 ? "nobody" : "left";
        known += name[0] == 'l' ? 1 : 0;
        judge(name, packet(index, frame, people), {"a", static_cast<std::uint32_t>(i / 5000)});
    }
    const DeviceCounters& c = left_counters();
    EXPECT_EQ(c.received, known);
    EXPECT_EQ(c.received,
              c.delivered + c.late + c.foreign_clock + c.repeated + c.out_of_order + c.refused);
    for (const std::int64_t part :
         {c.delivered, c.late, c.foreign_clock, c.repeated, c.out_of_order, c.refused})
        EXPECT_GT(part, 0);
    EXPECT_EQ(gate_.unknown(), 20000 - known);
}

TEST_F(GateTest, ADeviceIsMissingAfterSilenceAndItsPeopleAreClearedOnce) {
    EXPECT_EQ(left(1000), Verdict::kDeliver);
    EXPECT_TRUE(left_changes(2.0).empty());
    EXPECT_EQ(left_changes(2.01), (std::vector{Kind::kMissing, Kind::kClear}));
    EXPECT_TRUE(left_changes(2.1).empty());
    EXPECT_TRUE(left_changes(1000.0).empty());
    EXPECT_EQ(left_counters().stale_periods, 1);
    EXPECT_EQ(left_counters().cleared, 1);
    EXPECT_TRUE(states_[0].missing);
}

TEST_F(GateTest, AReturningDeviceIsReportedBackWithTheTimeOfItsSilence) {
    now_s_ = 1.0;
    EXPECT_EQ(left(1000), Verdict::kDeliver);
    EXPECT_EQ(left_changes(4.0).size(), 2u);
    now_s_ = 31.0;
    EXPECT_EQ(left(1001), Verdict::kDeliver);
    gate_.heard("right", 31.0);
    const std::vector<DeviceChange> changes = review(31.1);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].kind, Kind::kBack);
    EXPECT_EQ(changes[0].device.name, "left");
    EXPECT_DOUBLE_EQ(changes[0].silent_s, 30.0);
    EXPECT_EQ(left_changes(34.0), (std::vector{Kind::kMissing, Kind::kClear}));
    EXPECT_EQ(left_counters().stale_periods, 2);
}

TEST_F(GateTest, HeartbeatsKeepADeviceThatSeesNobody) {
    EXPECT_EQ(left(1000, 1), Verdict::kDeliver);
    EXPECT_EQ(left(1001, 0), Verdict::kDeliver);
    for (int second = 1; second < 60; ++second) {
        gate_.heard("left", second);
        EXPECT_TRUE(left_changes(second).empty());
    }
    EXPECT_EQ(left_counters().cleared, 0);
}

TEST_F(GateTest, NothingIsClearedWhereTheLibraryHoldsNobody) {
    EXPECT_EQ(left(1000, 0), Verdict::kDeliver);
    EXPECT_EQ(left_changes(10.0), std::vector{Kind::kMissing});
    EXPECT_EQ(left_counters().cleared, 0);
}

TEST_F(GateTest, PeopleWhoseLastEmptyMessageWasLostAreCleared) {
    EXPECT_EQ(left(1000, 2), Verdict::kDeliver);
    gate_.heard("left", 1.9);
    EXPECT_EQ(left_changes(2.1), std::vector{Kind::kClear});
    gate_.heard("left", 3.0);
    EXPECT_TRUE(left_changes(4.5).empty());
    EXPECT_EQ(left_counters().stale_periods, 0);
}

TEST_F(GateTest, PeopleAreClearedWhenAllTheirDevicesMessagesAreDropped) {
    EXPECT_EQ(left(1000, 2), Verdict::kDeliver);
    for (int tenth = 1; tenth <= 20; ++tenth) {
        now_s_ = 0.1 * tenth;
        EXPECT_EQ(left(900 + tenth, 2), Verdict::kLate);
    }
    EXPECT_EQ(left_changes(2.1), std::vector{Kind::kClear});
}

TEST_F(GateTest, AGoodbyeMakesMissingAtOnce) {
    EXPECT_EQ(left(1000, 2), Verdict::kDeliver);
    gate_.said_goodbye("left");
    EXPECT_EQ(left_changes(0.1), (std::vector{Kind::kMissing, Kind::kClear}));
    gate_.heard("left", 0.5);
    EXPECT_EQ(left_changes(0.6), std::vector{Kind::kBack});
}

TEST_F(GateTest, ADeviceThatNeverCameIsMissing) {
    EXPECT_TRUE(review(1.9).empty());
    const std::vector<DeviceChange> changes = review(2.5);
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0].device.name, "left");
    EXPECT_EQ(changes[1].device.name, "right");
    EXPECT_EQ(changes[0].kind, Kind::kMissing);
}

TEST_F(GateTest, RefusedMessagesAreNoSignOfLife) {
    now_s_ = 1.5;
    EXPECT_EQ(left(1000, 91), Verdict::kWrongCount);
    EXPECT_EQ(judge("left", packet(kRight, 1000, 1)), Verdict::kWrongIndex);
    EXPECT_TRUE(gate_.refuse("left"));
    EXPECT_EQ(left_changes(2.1), std::vector{Kind::kMissing});
}

TEST_F(GateTest, DroppedButWellFormedMessagesAreASignOfLife) {
    now_s_ = 1.5;
    EXPECT_EQ(left(1), Verdict::kLate);
    EXPECT_TRUE(left_changes(3.4).empty());
}

TEST_F(GateTest, StrangersAreCountedAndNothingElse) {
    EXPECT_FALSE(gate_.heard("nobody", 1.0));
    EXPECT_FALSE(gate_.said_goodbye("nobody"));
    EXPECT_FALSE(gate_.refuse("nobody"));
    EXPECT_FALSE(gate_.index_of("nobody").has_value());
    EXPECT_EQ(gate_.index_of("right"), kRight);
    EXPECT_EQ(gate_.unknown(), 3);
}

void expect_refused(std::vector<host::LinkDevice> devices, GateSettings settings,
                    const std::string& part) {
    try {
        const TrackGate gate(std::move(devices), settings, 0.0);
        ADD_FAILURE() << "accepted: " << part;
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
    }
}

TEST(GateSettingsTest, UnfitDevicesAndLimitsAreRefused) {
    expect_refused({{"a", 15}}, {}, "the device a has the index 15; slaves have 0 to 14");
    expect_refused({{"a", -1}}, {}, "index -1");
    expect_refused({{"a", 1}, {"a", 2}}, {}, "two devices have the name a");
    expect_refused({{"a", 1}, {"b", 1}}, {}, "two devices have the index 1");
    for (const char* name : {"", "a/b", "a+", "#", "a b", "\xc3\xa4"})
        expect_refused({{name, 1}}, {}, "letters, digits");
    expect_refused({{std::string(65, 'a'), 1}}, {}, "letters, digits");
    expect_refused({}, {0, 5, 1.0}, "at least 1 frame");
    expect_refused({}, {5, 0, 1.0}, "at least 1 frame");
    expect_refused({}, {5, 5, 0.0}, "above 0 s");
    expect_refused({}, {5, 5, NAN}, "above 0 s");
    expect_refused({}, {5, 5, INFINITY}, "above 0 s");
    const TrackGate all({{"a", 0}, {"b-B_2", 14}, {std::string(64, 'x'), 7}}, {}, 0.0);
    EXPECT_EQ(all.states().size(), 3u);
}

TEST(LinkTopics, AreBuiltAndTakenApart) {
    const std::string topic = host::device_topic("hall", "left", host::kTracksTopic);
    EXPECT_EQ(topic, "vca/hall/left/tracks");
    EXPECT_EQ(host::frame_count_topic("hall"), "vca/hall/frame-count");
    const auto parts = host::split_topic("hall", topic);
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->device, "left");
    EXPECT_EQ(parts->kind, "tracks");
    for (const char* other :
         {"", "vca", "vca/", "vca/hall", "vca/hall/", "vca/hall/left", "vca/hallx/left/tracks",
          "vca/hal/left/tracks", "vcb/hall/left/tracks", "vca/hall/left/tracks/more"})
        EXPECT_FALSE(host::split_topic("hall", other)) << other;
}

TEST(LinkTopics, SenderClocksAreReadBack) {
    const SenderClock clock = host::parse_sender_clock(host::to_text({"12ab", 4294967295u}));
    EXPECT_EQ(clock.process, "12ab");
    EXPECT_EQ(clock.turn, 4294967295u);
    for (const char* text : {"", ".", ".3", "a.", "a.x", "a.-1", "a.4294967296", "a", "a.1 "})
        EXPECT_TRUE(host::parse_sender_clock(text).process.empty()) << text;
    EXPECT_TRUE(host::parse_sender_clock(std::string(65, 'a') + ".1").process.empty());
}

}  // namespace
