// A scene that takes place now, again and again.
#include "host/frames/played_source.h"

#include <gtest/gtest.h>

#include <chrono>

#include "host/base/utc.h"

namespace {

host::SourceOptions short_scene() {
    host::SourceOptions options;
    options.source = "scene";
    options.scene = "doorway";
    options.frames_per_second = 1.0;  // few frames
    return options;
}

TEST(PlayedSource, TakesPlaceNow) {
    const std::int64_t before = host::utc_now_us();
    const auto source = host::open_played(short_scene(), false);
    EXPECT_GE(source->info().start_us, before);
    EXPECT_LE(source->info().start_us, host::utc_now_us());
    EXPECT_FALSE(source->info().has_truth);
}

TEST(PlayedSource, EndsWhenItIsPlayedOnce) {
    const auto source = host::open_played(short_scene(), false);
    host::SourceFrame frame;
    std::int64_t frames = 0;
    while (source->next(frame))
        ++frames;
    EXPECT_GT(frames, 10);
    EXPECT_FALSE(source->next(frame));
}

TEST(PlayedSource, GoesOnInNumbersAndTimesFromRoundToRound) {
    const auto once = host::open_played(short_scene(), false);
    host::SourceFrame frame;
    std::int64_t length = 0;
    while (once->next(frame))
        ++length;

    const auto source = host::open_played(short_scene(), true);
    std::int64_t number = -1;
    double time_s = -1.0;
    int blanks = 0;
    for (std::int64_t i = 0; i < 3 * (length + host::kClosingFrames); ++i) {
        ASSERT_TRUE(source->next(frame));
        EXPECT_EQ(frame.number, number + 1);
        if (i > 0) EXPECT_NEAR(frame.time_s, time_s + 1.0, 1e-5);
        EXPECT_EQ(frame.planes.blank, i % (length + host::kClosingFrames) >= length) << i;
        EXPECT_TRUE(frame.people.empty());
        number = frame.number;
        time_s = frame.time_s;
        blanks += frame.planes.blank ? 1 : 0;
    }
    EXPECT_EQ(blanks, 3 * host::kClosingFrames);
}

}  // namespace
