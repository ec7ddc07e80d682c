// Lines of a service's log: whole, not too long, not too many.
#include "host/base/log_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

namespace {

using host::LogLevel;
using host::LogLines;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

TEST(LogLines, SayWhatTheyAreAbout) {
    LogLines log;
    CaptureStderr();
    log.write(LogLevel::kNews, "door", "counts");
    log.write(LogLevel::kError, "", "no\nroom");
    EXPECT_EQ(GetCapturedStderr(), "door: counts\nno\\x0aroom\n");
}

TEST(LogLines, AreNotTooLong) {
    LogLines log;
    CaptureStderr();
    log.write(LogLevel::kNews, "", std::string(100'000, 'x'));
    EXPECT_LT(GetCapturedStderr().size(), LogLines::kMostCharacters + 10);
}

TEST(LogLines, AreNotTooManyAndHowManyWereLeftOutIsSaid) {
    LogLines log(std::chrono::hours(1));
    CaptureStderr();
    for (std::size_t i = 0; i < LogLines::kMostLines + 57; ++i)
        log.write(LogLevel::kNews, "", "line");
    const std::string text = GetCapturedStderr();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
              static_cast<std::ptrdiff_t>(LogLines::kMostLines));

    // The machine may take longer than that minute for the lines, and then none is too many.
    bool said = false;
    for (int attempt = 0; attempt < 20 && !said; ++attempt) {
        LogLines brief(std::chrono::milliseconds(500));
        CaptureStderr();
        for (std::size_t i = 0; i < LogLines::kMostLines + 57; ++i)
            brief.write(LogLevel::kNews, "", "line");
        std::this_thread::sleep_for(std::chrono::seconds(1));
        brief.write(LogLevel::kNews, "", "another");
        said = GetCapturedStderr().ends_with("\n57 more lines were left out\nanother\n");
    }
    EXPECT_TRUE(said);
}

}  // namespace
