// The small parts of the link: delays, frame rate and the ticker.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>

#include "host/link/delay_samples.h"
#include "host/link/frame_rate.h"
#include "host/net/ticker.h"

namespace {

TEST(DelaySamplesTest, PercentilesAreThoseOfTheNearestRank) {
    host::DelaySamples samples;
    EXPECT_EQ(samples.summary().count, 0);
    EXPECT_EQ(samples.summary().median_ms, 0.0);
    samples.add(7.0);
    EXPECT_EQ(samples.summary().median_ms, 7.0);
    EXPECT_EQ(samples.summary().p99_ms, 7.0);
    host::DelaySamples hundred;
    for (int i = 100; i >= 1; --i)
        hundred.add(i);
    const host::DelaySummary summary = hundred.summary();
    EXPECT_EQ(summary.count, 100);
    EXPECT_EQ(summary.median_ms, 50.0);
    EXPECT_EQ(summary.p99_ms, 99.0);
    EXPECT_EQ(summary.greatest_ms, 100.0);
}

TEST(DelaySamplesTest, OldDelaysMakeRoomForNewOnes) {
    host::DelaySamples samples;
    samples.add(1000.0);
    for (int i = 0; i < 4095; ++i)
        samples.add(-1.0);
    EXPECT_EQ(samples.summary().greatest_ms, 1000.0);
    samples.add(-1.0);
    const host::DelaySummary summary = samples.summary();
    EXPECT_EQ(summary.count, 4097);
    EXPECT_EQ(summary.greatest_ms, -1.0);
}

TEST(FrameRateTest, IsTheRateBetweenTwoReadings) {
    host::FrameRate rate;
    EXPECT_EQ(rate.read(100, 5.0), 0.0);
    EXPECT_DOUBLE_EQ(rate.read(130, 7.0), 15.0);
    EXPECT_DOUBLE_EQ(rate.read(130, 8.0), 0.0);
}

TEST(FrameRateTest, ACounterThatJumpsGivesNoNewRate) {
    host::FrameRate rate;
    rate.read(0, 0.0);
    rate.read(15, 1.0);
    EXPECT_DOUBLE_EQ(rate.read(100000, 2.0), 15.0);  // set to the master's count
    EXPECT_DOUBLE_EQ(rate.read(99990, 3.0), 15.0);   // set back
    EXPECT_DOUBLE_EQ(rate.read(100000, 3.0), 15.0);  // no time has passed
    EXPECT_DOUBLE_EQ(rate.read(100020, 4.0), 20.0);
    rate.read(INT_MAX, 5.0);
    EXPECT_DOUBLE_EQ(rate.read(INT_MIN + 9, 6.0), 10.0);  // the counter wraps
}

TEST(TickerTest, CallsUntilItIsGone) {
    std::atomic<int> calls{0};
    {
        const host::Ticker ticker(std::chrono::milliseconds(1), [&] { ++calls; });
        while (calls < 5)
            std::this_thread::yield();
    }
    const int after = calls;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(calls, after);
}

TEST(TickerTest, EndsAtOnceHoweverLongItsPeriod) {
    std::atomic<int> calls{0};
    {
        const host::Ticker ticker(std::chrono::hours(1), [&] { ++calls; });
        while (calls < 1)
            std::this_thread::yield();
    }
    EXPECT_EQ(calls, 1);
}

}  // namespace
