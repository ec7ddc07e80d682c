// Local date and time at pinned moments: this program replaces the C library's clock functions, so
// the wall clock of the library under test stands still where a case wants it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"

namespace {

std::atomic<bool> pinned{false};
std::atomic<bool> broken{false};
std::atomic<int64_t> pinned_us{0};
std::atomic<bool> awake{false};  // sleeping only writes down for how long
timespec slept{};

// Three and a half hours east of Greenwich, so that minutes differ from UTC too. Set before any
// other code of the process looks at the time zone.
const int zone_set = setenv("TZ", "TST-3:30", 1);

int real_clock(clockid_t id, timespec* ts) {
    return static_cast<int>(syscall(SYS_clock_gettime, id, ts));
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t id, timespec* ts) noexcept {
    if (broken && id == CLOCK_REALTIME) {
        errno = EFAULT;
        return -1;
    }
    if (!pinned || id != CLOCK_REALTIME) return real_clock(id, ts);
    ts->tv_sec = pinned_us / 1'000'000;
    ts->tv_nsec = pinned_us % 1'000'000 * 1000;
    return 0;
}

int gettimeofday(timeval* tv, void*) noexcept {
    timespec ts{};
    if (clock_gettime(CLOCK_REALTIME, &ts) != 0) return -1;
    tv->tv_sec = ts.tv_sec;
    tv->tv_usec = ts.tv_nsec / 1000;
    return 0;
}

int nanosleep(const timespec* span, timespec* left) {
    if (!awake) return static_cast<int>(syscall(SYS_nanosleep, span, left));
    slept = *span;
    return 0;
}

time_t time(time_t* out) noexcept {
    timespec ts{};
    if (clock_gettime(CLOCK_REALTIME, &ts) != 0) return -1;
    if (out != nullptr) *out = ts.tv_sec;
    return ts.tv_sec;
}

}  // extern "C"

namespace {

class Pinned {
  public:
    explicit Pinned(int64_t us) {
        pinned_us = us;
        pinned = true;
    }
    ~Pinned() { pinned = false; }
};

// 2024-01-31 00:00:00 UTC is 1706659200; 08:05:09 local is 04:35:09 UTC, 16509 s later.
constexpr int64_t kMorning = (1706659200LL + 4 * 3600 + 35 * 60 + 9) * 1'000'000;

// 08:05:09 in seconds since midnight.
constexpr int kSecondOfDay = 8 * 3600 + 5 * 60 + 9;

std::string time_string(char fmt) {
    char text[32];
    const int length = avs_get_time_string(text, fmt);
    EXPECT_EQ(static_cast<size_t>(length), std::string(text).size());
    return text;
}

TEST(WallClock, TimeStringFormats) {
    ASSERT_EQ(zone_set, 0);
    Pinned at(kMorning);
    EXPECT_EQ(time_string(0), "2024-01-31 08:05:09");
    EXPECT_EQ(time_string(1), "01/31/2024 08:05:09");
    EXPECT_EQ(time_string(2), "31/01/2024 08:05:09");
    EXPECT_EQ(time_string(3), "2024-01-31 08:05:09");
    EXPECT_EQ(time_string(-1), "2024-01-31 08:05:09");
}

TEST(WallClock, LocalTimeRecord) {
    Pinned at(kMorning);
    const tm* now = avs_get_localtime();
    ASSERT_NE(now, nullptr);
    EXPECT_EQ(now->tm_year, 124);
    EXPECT_EQ(now->tm_mon, 0);
    EXPECT_EQ(now->tm_mday, 31);
    EXPECT_EQ(now->tm_hour, 8);
    EXPECT_EQ(now->tm_min, 5);
    EXPECT_EQ(now->tm_sec, 9);
    EXPECT_EQ(now->tm_wday, 3);
}

TEST(WallClock, LocalTimeFollowsAChangeOfTheZone) {
    Pinned at(kMorning);
    EXPECT_EQ(avs_get_localtime()->tm_hour, 8);
    setenv("TZ", "UTC0", 1);
    EXPECT_EQ(avs_get_localtime()->tm_hour, 4);
}

TEST(WallClock, MinuteSecondMillisecond) {
    char text[32];
    {
        Pinned at(kMorning + 7'999);
        EXPECT_EQ(time_to_string(text), 9);
        EXPECT_STREQ(text, "05:09.007");
    }
    Pinned at(kMorning + 999'999);
    time_to_string(text);
    EXPECT_STREQ(text, "05:09.999");
}

TEST(WallClock, LogLineCarriesIt) {
    Pinned at(kMorning + 45'000);
    test::StdoutCapture out;
    int32_t payload = 3;
    vca_set_draw_exclusion_alive(0, &payload);
    const auto lines = test::parse_log(out.text());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(out.text(),
              "\t\x1b[1;32mvca_set_draw_exclusion_alive=3\x1b[0;39m [05:09.045 "
              "vca_set_draw_exclusion_alive:" +
                  std::to_string(lines[0].line) + "]\n");
    EXPECT_GT(lines[0].line, 0);
}

TEST(WallClock, TimestampsReadTheWallClock) {
    Pinned at(kMorning + 1'500);
    EXPECT_EQ(avs_get_timestamp(), kMorning / 1000 + 2);
    EXPECT_EQ(avs_get_time(), static_cast<uint32_t>(kMorning / 1000 + 1));
}

TEST(WallClock, UnreadableClockGivesTimeZero) {
    broken = true;
    const uint32_t time = avs_get_time();
    broken = false;
    EXPECT_EQ(time, 0u);
}

TEST(WallClock, DelayIsTheSpanInSecondsAndNanoseconds) {
    const struct {
        int ms;
        time_t sec;
        long ns;
    } rows[] = {{0, 0, 0},
                {1, 0, 1'000'000},
                {999, 0, 999'000'000},
                {1000, 1, 0},
                {1001, 1, 1'000'000},
                {1999, 1, 999'000'000},
                {12345, 12, 345'000'000}};
    awake = true;
    for (const auto& row : rows) {
        slept = {-1, -1};
        avs_mdelay(row.ms);
        EXPECT_EQ(slept.tv_sec, row.sec) << row.ms;
        EXPECT_EQ(slept.tv_nsec, row.ns) << row.ms;
    }
    awake = false;
}

TEST(DailyWindow, BoundsAreOpen) {
    Pinned at(kMorning);
    const int s = kSecondOfDay;
    EXPECT_FALSE(avs_inquery_customize_wh(s, s));
    EXPECT_TRUE(avs_inquery_customize_wh(s - 1, s + 1));
    EXPECT_FALSE(avs_inquery_customize_wh(s, s + 1));
    EXPECT_FALSE(avs_inquery_customize_wh(s - 1, s));
    EXPECT_TRUE(avs_inquery_customize_wh(0, 86400));
    EXPECT_FALSE(avs_inquery_customize_wh(s + 1, s + 100));
    EXPECT_FALSE(avs_inquery_customize_wh(s - 100, s - 1));
}

TEST(DailyWindow, AcrossMidnight) {
    Pinned at(kMorning);
    const int s = kSecondOfDay;
    // start > end: open at s < end or s > start.
    EXPECT_TRUE(avs_inquery_customize_wh(72000, s + 1));
    EXPECT_FALSE(avs_inquery_customize_wh(72000, s));
    EXPECT_TRUE(avs_inquery_customize_wh(s - 1, 3600));
    EXPECT_FALSE(avs_inquery_customize_wh(s, 3600));
    EXPECT_FALSE(avs_inquery_customize_wh(72000, 3600));
    EXPECT_TRUE(avs_inquery_customize_wh(s - 1, s - 2));
    EXPECT_TRUE(avs_inquery_customize_wh(s + 2, s + 1));
    EXPECT_FALSE(avs_inquery_customize_wh(s + 1, s));
    EXPECT_FALSE(avs_inquery_customize_wh(s, s - 1));
}

}  // namespace
