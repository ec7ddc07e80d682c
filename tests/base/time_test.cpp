// The clock utilities behind the replaceable time source, clamping, sorting and sleeping.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <numeric>
#include <random>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using testing::ElementsAre;

int64_t source_us = 0;

int64_t fixed_source(void* ctx) {
    return ctx == nullptr ? source_us : *static_cast<int64_t*>(ctx);
}

int64_t system_ms() {
    return duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

int64_t steady_ms() {
    return duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

TEST(TimeSource, TimestampRoundsToMilliseconds) {
    vca_set_time_source(fixed_source, nullptr);
    // seconds * 1000 + (microseconds + 500) / 1000
    const std::pair<int64_t, int64_t> cases[] = {
        {0, 0},
        {499, 0},
        {500, 1},
        {1'700'000'000'123'499, 1'700'000'000'123},
        {1'700'000'000'123'500, 1'700'000'000'124},
        {1'700'000'000'999'499, 1'700'000'000'999},
        {1'700'000'000'999'500, 1'700'000'001'000},
    };
    for (const auto& [us, ms] : cases) {
        source_us = us;
        EXPECT_EQ(avs_get_timestamp(), ms) << us;
    }
}

TEST(TimeSource, TimeTruncatesToMillisecondsAnd32Bits) {
    vca_set_time_source(fixed_source, nullptr);
    source_us = 999;
    EXPECT_EQ(avs_get_time(), 0u);
    source_us = 1'700'000'000'123'999;
    // The low 32 bits.
    EXPECT_EQ(avs_get_time(), static_cast<uint32_t>(1'700'000'000'123 % 4'294'967'296));
    source_us = 4'294'967'296'000;
    EXPECT_EQ(avs_get_time(), 0u);
    source_us = 4'294'967'295'999;
    EXPECT_EQ(avs_get_time(), 4'294'967'295u);
}

TEST(TimeSource, MonotonicTimeInSecondsOrMilliseconds) {
    vca_set_time_source(fixed_source, nullptr);
    source_us = 12'345'678'999;
    EXPECT_EQ(avs_get_monotonictime(1), 12'345);
    EXPECT_EQ(avs_get_monotonictime(0), 12'345'678);
    EXPECT_EQ(avs_get_monotonictime(2), 12'345'678);
    EXPECT_EQ(avs_get_monotonictime(-1), 12'345'678);
}

TEST(TimeSource, BeforeTheEpochTheFractionStaysPositive) {
    vca_set_time_source(fixed_source, nullptr);
    source_us = -1;  // -1 s and 999999 us
    EXPECT_EQ(avs_get_timestamp(), 0);
    EXPECT_EQ(avs_get_time(), 4'294'967'295u);
    EXPECT_EQ(avs_get_monotonictime(1), -1);
    EXPECT_EQ(avs_get_monotonictime(0), -1);
    source_us = -501;
    EXPECT_EQ(avs_get_timestamp(), -1);
    source_us = -2'000'000;
    EXPECT_EQ(avs_get_timestamp(), -2000);
    EXPECT_EQ(avs_get_monotonictime(1), -2);
}

TEST(TimeSource, ContextIsHandedThrough) {
    int64_t own = 7'000'000;
    source_us = 1;
    vca_set_time_source(fixed_source, &own);
    EXPECT_EQ(avs_get_timestamp(), 7000);
    own = 8'000'000;
    EXPECT_EQ(avs_get_timestamp(), 8000);
}

TEST(TimeSource, NullRestoresTheSystemClock) {
    source_us = 5;
    vca_set_time_source(fixed_source, nullptr);
    EXPECT_EQ(avs_get_timestamp(), 0);
    vca_set_time_source(nullptr, nullptr);
    const int64_t before = system_ms();
    const int64_t stamp = avs_get_timestamp();
    const uint32_t time = avs_get_time();
    const int64_t after = system_ms();
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after + 1);
    EXPECT_LE(time - static_cast<uint32_t>(before), static_cast<uint32_t>(after - before) + 1);
}

TEST(TimeSource, MonotonicFollowsTheSteadyClockByDefault) {
    const int64_t before = steady_ms();
    const int64_t now = avs_get_monotonictime(0);
    const int64_t seconds = avs_get_monotonictime(1);
    const int64_t after = steady_ms();
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
    EXPECT_GE(seconds, before / 1000);
    EXPECT_LE(seconds, after / 1000);
}

TEST(TimeSource, SleepingAndLogStampsKeepTheSystemClock) {
    source_us = 0;
    vca_set_time_source(fixed_source, nullptr);
    const int64_t before = steady_ms();
    avs_mdelay(30);
    EXPECT_GE(steady_ms() - before, 29);
    char text[32] = {};
    time_to_string(text);
    tm local{};
    const time_t now = time(nullptr);
    localtime_r(&now, &local);
    const int written = std::stoi(std::string(text, 2)) * 60 + std::stoi(std::string(text + 3, 2));
    const int actual = local.tm_min * 60 + local.tm_sec;
    EXPECT_LE((actual - written + 3600) % 3600, 2) << text;
}

TEST(Delay, SleepsAtLeastTheGivenTime) {
    for (const int ms : {0, 1, 25, 1010}) {
        const auto before = std::chrono::steady_clock::now();
        avs_mdelay(ms);
        EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(ms)) << ms;
    }
}

TEST(Delay, NegativeTimeReturnsAtOnce) {
    const int64_t before = steady_ms();
    avs_mdelay(-5);
    EXPECT_LT(steady_ms() - before, 2000);
}

TEST(Limit, LowerBoundFirstSoUpperWins) {
    EXPECT_EQ(av_limit_min_max(5, 0, 10), 5);
    EXPECT_EQ(av_limit_min_max(-5, 0, 10), 0);
    EXPECT_EQ(av_limit_min_max(15, 0, 10), 10);
    EXPECT_EQ(av_limit_min_max(0, 0, 10), 0);
    EXPECT_EQ(av_limit_min_max(10, 0, 10), 10);
    EXPECT_EQ(av_limit_min_max(5, 10, 3), 3);
    EXPECT_EQ(av_limit_min_max(-100, 10, 3), 3);
    EXPECT_EQ(av_limit_min_max(100, 10, 3), 3);
    EXPECT_EQ(av_limit_min_max(0, 0, -1), -1);
    EXPECT_EQ(av_limit_min_max(INT_MIN, INT_MIN, INT_MAX), INT_MIN);
    EXPECT_EQ(av_limit_min_max(INT_MAX, INT_MIN, INT_MAX), INT_MAX);
}

TEST(QuickSort, AgreesWithTheStandardSort) {
    std::mt19937 random(4711);
    for (int round = 0; round < 300; ++round) {
        std::vector<int> values(random() % 200);
        const int spread = round % 3 == 0 ? 4 : (round % 3 == 1 ? 1000 : INT_MAX);
        for (auto& v : values) {
            v = static_cast<int>(random() % static_cast<unsigned>(spread)) - spread / 2;
        }
        std::vector<int> expected = values;
        std::sort(expected.begin(), expected.end());
        avs_quick_sort(values.data(), 0, static_cast<int>(values.size()) - 1);
        ASSERT_EQ(values, expected) << round;
    }
}

TEST(QuickSort, TouchesOnlyTheGivenRange) {
    std::vector<int> values = {9, 8, 7, 6, 5, 4, 3, 2, 1};
    avs_quick_sort(values.data(), 2, 5);
    EXPECT_THAT(values, ElementsAre(9, 8, 4, 5, 6, 7, 3, 2, 1));
    avs_quick_sort(values.data(), 4, 4);
    avs_quick_sort(values.data(), 5, 4);
    avs_quick_sort(values.data(), 0, -1);
    EXPECT_THAT(values, ElementsAre(9, 8, 4, 5, 6, 7, 3, 2, 1));
}

TEST(QuickSort, OrderedReversedAndEqualInputs) {
    std::vector<int> ordered(3000);
    std::iota(ordered.begin(), ordered.end(), -1500);
    std::vector<int> values = ordered;
    avs_quick_sort(values.data(), 0, 2999);
    EXPECT_EQ(values, ordered);
    std::reverse(values.begin(), values.end());
    avs_quick_sort(values.data(), 0, 2999);
    EXPECT_EQ(values, ordered);
    values.assign(3000, 5);
    avs_quick_sort(values.data(), 0, 2999);
    EXPECT_EQ(values, std::vector<int>(3000, 5));
    std::vector<int> extremes = {INT_MAX, 0, INT_MIN, INT_MAX, INT_MIN};
    avs_quick_sort(extremes.data(), 0, 4);
    EXPECT_THAT(extremes, ElementsAre(INT_MIN, INT_MIN, 0, INT_MAX, INT_MAX));
}

}  // namespace
