// Scene times of live streams whose senders keep good time, drift, stand still, jump or start
// again.
#include "host/frames/live_times.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr std::int64_t kStep_us = 66'667;
constexpr std::int64_t kSecond_us = 1'000'000;

host::LiveTimes with_times() {
    host::LiveTimes times;
    times.begin_stream({true, false, kStep_us});
    return times;
}

TEST(LiveTimes, FollowsTheSenderAndNotTheJitterOfArrival) {
    host::LiveTimes times = with_times();
    const std::int64_t jitter_us[] = {0, 20'000, 3'000, 30'000, 0, 11'000};
    for (int i = 0; i < 6; ++i) {
        const auto place = times.place(500 + i * kStep_us + jitter_us[i], 90 + i * kStep_us, i);
        EXPECT_EQ(place.time_us, i * kStep_us);
        EXPECT_EQ(place.missing, 0);
        EXPECT_FALSE(place.late);
    }
}

TEST(LiveTimes, CountsWhatIsMissingByNumbersOrTimes) {
    host::LiveTimes by_time = with_times();
    by_time.place(0, 0, 0);
    EXPECT_EQ(by_time.place(3 * kStep_us, 3 * kStep_us, 1).missing, 2);
    EXPECT_EQ(by_time.place(4 * kStep_us, 4 * kStep_us + 9000, 2).missing, 0);
    host::LiveTimes by_number;
    by_number.begin_stream({true, true, kStep_us});
    by_number.place(0, 0, 10);
    EXPECT_EQ(by_number.place(3 * kStep_us, 3 * kStep_us, 11).missing, 0);
    EXPECT_EQ(by_number.place(4 * kStep_us, 4 * kStep_us, 15).missing, 3);
}

TEST(LiveTimes, TellsWhatIsLate) {
    host::LiveTimes times = with_times();
    for (int i = 0; i < 10; ++i)
        EXPECT_FALSE(times.place(i * kStep_us, i * kStep_us, i).late);
    EXPECT_TRUE(times.place(10 * kStep_us + 70'000, 10 * kStep_us, 10).late);
    EXPECT_FALSE(times.place(11 * kStep_us + 60'000, 11 * kStep_us, 11).late);
}

// An hour with a clock that is 100 millionths slower: 0.36 s apart, and no frame is late.
TEST(LiveTimes, ToleratesTheDriftOfTwoClocks) {
    host::LiveTimes times = with_times();
    for (std::int64_t i = 0; i < 54'000; ++i) {
        const std::int64_t sender_us = i * kStep_us;
        const auto place = times.place(sender_us + sender_us / 10'000, sender_us, i);
        ASSERT_FALSE(place.late) << i;
        ASSERT_EQ(place.time_us, sender_us);
    }
}

// Whatever the sender's clock does, scene time rises and is never far from this machine's clock.
class OddSender : public ::testing::TestWithParam<double> {};

TEST_P(OddSender, KeepsSceneTimeRisingAndNearTheClock) {
    host::LiveTimes times = with_times();
    std::int64_t last_us = -1;
    for (int i = 0; i < 1000; ++i) {
        const std::int64_t arrival_us = i * kStep_us;
        const auto sender_us = static_cast<std::int64_t>(GetParam() * i * kStep_us);
        const auto place = times.place(arrival_us, sender_us, i);
        ASSERT_GT(place.time_us, last_us);
        ASSERT_LE(std::abs(place.time_us - arrival_us), kSecond_us + 2 * kStep_us);
        last_us = place.time_us;
    }
    EXPECT_LE(last_us - 999 * kStep_us, kStep_us);
}

INSTANTIATE_TEST_SUITE_P(Speeds, OddSender,
                         ::testing::Values(0.0, 0.5, 0.97, 1.0, 1.03, 2.0, 10.0));

TEST(LiveTimes, GoesOnWhenTheSenderStoodStill) {
    host::LiveTimes times = with_times();
    times.place(0, 0, 0);
    times.place(kStep_us, kStep_us, 1);
    EXPECT_EQ(times.place(10 * kSecond_us, 2 * kStep_us, 2).time_us, 10 * kSecond_us);
    // And is trusted again.
    EXPECT_EQ(times.place(10 * kSecond_us + kStep_us + 9000, 3 * kStep_us, 3).time_us,
              10 * kSecond_us + kStep_us);
}

TEST(LiveTimes, SenderThatStartsAgainIsAnotherStream) {
    host::LiveTimes times = with_times();
    times.place(0, 5 * kSecond_us, 70);
    times.place(kStep_us, 5 * kSecond_us + kStep_us, 71);
    const auto again = times.place(2 * kStep_us, 0, 0);
    EXPECT_EQ(again.time_us, 2 * kStep_us);
    EXPECT_EQ(again.missing, 0);
    EXPECT_EQ(times.place(3 * kStep_us, kStep_us, 1).time_us, 3 * kStep_us);
}

TEST(LiveTimes, AnotherStreamGoesOnByTheClock) {
    host::LiveTimes times = with_times();
    times.place(100, 0, 0);
    times.begin_stream({true, false, kStep_us});
    EXPECT_EQ(times.place(100 + 7 * kSecond_us, 900 * kSecond_us, 4).time_us, 7 * kSecond_us);
    times.begin_stream({false, false, kStep_us});
    EXPECT_EQ(times.place(100 + 8 * kSecond_us, 0, 0).time_us, 8 * kSecond_us);
    EXPECT_EQ(times.place(100 + 9 * kSecond_us, kStep_us, 1).time_us, 9 * kSecond_us);
}

}  // namespace
