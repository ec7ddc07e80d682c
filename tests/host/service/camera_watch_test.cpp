// Signs of life and pauses, at times of the test's own.
#include "host/service/camera_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::CameraWatch;
using std::chrono::seconds;
using ::testing::HasSubstr;

class Watch : public ::testing::Test {
  protected:
    static CameraWatch::Time at(int second) { return CameraWatch::Time{} + seconds(second); }
    void hear(int second, std::int64_t taken, std::int64_t finished) {
        watch_.hear({true, taken, finished}, at(second));
    }
    CameraWatch watch_;
};

TEST_F(Watch, SomebodyWhoSaysNothingHangs) {
    watch_.begin(at(0));
    EXPECT_FALSE(watch_.hangs(at(10)));
    EXPECT_THAT(watch_.hangs(at(11)).value_or(""), HasSubstr("no sign of life for 10 s"));
    hear(11, 0, 0);
    EXPECT_FALSE(watch_.hangs(at(21)));
    EXPECT_TRUE(watch_.hangs(at(22)));
}

TEST_F(Watch, SomebodyWhoseFramesAreNotFinishedHangs) {
    watch_.begin(at(0));
    hear(1, 15, 14);
    for (int s = 2; s <= 12; ++s) {
        EXPECT_FALSE(watch_.hangs(at(s))) << s;
        hear(s, 15 * s, 14);
    }
    EXPECT_THAT(watch_.hangs(at(13)).value_or(""),
                HasSubstr("finished no frame for 10 s while frames came"));
    hear(13, 200, 15);
    EXPECT_FALSE(watch_.hangs(at(13)));
}

TEST_F(Watch, SomebodyWithoutFramesDoesNotHang) {
    watch_.begin(at(0));
    hear(1, 15, 14);
    // The last frame is known to be finished when the next one comes.
    for (int s = 2; s <= 100; ++s) {
        hear(s, 15, 14);
        EXPECT_FALSE(watch_.hangs(at(s))) << s;
    }
    // Frames come again after a long time: the time without is not held against it.
    hear(101, 18, 14);
    EXPECT_FALSE(watch_.hangs(at(102)));
    hear(102, 33, 32);
    EXPECT_FALSE(watch_.hangs(at(112)));
}

TEST_F(Watch, PausesGrowUntilALifeWasLong) {
    int now = 0;
    for (const int pause : {1, 2, 4, 8, 16, 30, 30}) {
        watch_.begin(at(now));
        EXPECT_EQ(watch_.end(at(now + 5)), at(now + 5 + pause));
        now += 5 + pause;
    }
    watch_.begin(at(now));
    EXPECT_EQ(watch_.end(at(now + 60)), at(now + 61));
}

TEST_F(Watch, ANewLifeBeginsAtZero) {
    watch_.begin(at(0));
    hear(1, 1000, 10);
    watch_.begin(at(20));
    EXPECT_FALSE(watch_.hangs(at(29)));
    EXPECT_EQ(watch_.last().taken, 0);
}

}  // namespace
