// Joined raw pictures: where the next one begins.
#include "host/media/frame_bursts.h"

#include <gtest/gtest.h>

namespace {

constexpr std::size_t kFrame = 1000;
constexpr std::int64_t kPause_us = 16'000;
constexpr std::int64_t kInterval_us = 33'000;

TEST(FrameBursts, TakesEverythingUntilThePlaceIsLost) {
    host::FrameBursts bursts(kFrame, kPause_us);
    EXPECT_TRUE(bursts.take(3, 0));
    EXPECT_TRUE(bursts.take(5000, 100'000));
    bursts.lose();
    EXPECT_FALSE(bursts.take(1000, 200'000));
}

// The rest of one, two whole, and from there on all, in whatever pieces they come.
TEST(FrameBursts, WholeFramesBetweenPausesShowThePlace) {
    for (const std::size_t piece : {1u, 7u, 64u, 1000u, 4096u}) {
        host::FrameBursts bursts(kFrame, kPause_us);
        bursts.lose();
        const auto send = [&](std::size_t bytes, std::int64_t time_us) {
            int used = 0;
            int all = 0;
            for (std::size_t sent = 0; sent < bytes; sent += piece, ++all)
                used += bursts.take(std::min(piece, bytes - sent), time_us++) ? 1 : 0;
            EXPECT_TRUE(used == 0 || used == all) << piece;
            return used > 0;
        };
        EXPECT_FALSE(send(377, 0)) << piece;
        EXPECT_FALSE(send(kFrame, kInterval_us)) << piece;
        EXPECT_FALSE(send(kFrame, 2 * kInterval_us)) << piece;
        EXPECT_TRUE(send(kFrame, 3 * kInterval_us)) << piece;
        EXPECT_TRUE(send(kFrame, 3 * kInterval_us + 2000)) << piece;
    }
}

// A sender that was held up amid a frame makes a pause too.
TEST(FrameBursts, APauseAmidAFrameIsNoBeginning) {
    host::FrameBursts bursts(kFrame, kPause_us);
    bursts.lose();
    EXPECT_FALSE(bursts.take(377, 0));
    EXPECT_FALSE(bursts.take(600, kInterval_us));
    EXPECT_FALSE(bursts.take(400, 2 * kInterval_us));
    EXPECT_FALSE(bursts.take(1000, 3 * kInterval_us));
    EXPECT_FALSE(bursts.take(600, 4 * kInterval_us));
    EXPECT_FALSE(bursts.take(400, 5 * kInterval_us));
    EXPECT_FALSE(bursts.take(1000, 6 * kInterval_us));
    EXPECT_FALSE(bursts.take(1000, 7 * kInterval_us));
    EXPECT_TRUE(bursts.take(1000, 8 * kInterval_us));
}

TEST(FrameBursts, WithoutPausesThereIsNoPlace) {
    host::FrameBursts bursts(kFrame, kPause_us);
    bursts.lose();
    for (int i = 0; i < 100; ++i)
        EXPECT_FALSE(bursts.take(1000, i * 1000));
}

}  // namespace
