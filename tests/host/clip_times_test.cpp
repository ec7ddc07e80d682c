// Which stretches of time become clips, names of files by time, and settings as text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "host/base/utc.h"
#include "host/settings/record_options.h"
#include "host/sinks/clip_sink.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::IsEmpty;
namespace fs = std::filesystem;

std::vector<std::pair<std::int64_t, std::int64_t>> all_of(host::ClipTimes& times) {
    std::vector<std::pair<std::int64_t, std::int64_t>> list;
    while (const auto span = times.take_before(INT64_MAX))
        list.emplace_back(span->from_us, span->to_us);
    return list;
}

TEST(ClipTimes, JoinsWhatTouchesInAnyOrder) {
    host::ClipTimes times;
    times.add({50, 60});
    times.add({10, 20});
    times.add({30, 40});
    times.add({15, 35});
    times.add({60, 70});
    EXPECT_EQ(all_of(times),
              (std::vector<std::pair<std::int64_t, std::int64_t>>{{10, 40}, {50, 70}}));
}

TEST(ClipTimes, GivesOnlyWhatIsOver) {
    host::ClipTimes times;
    times.add({10, 20});
    EXPECT_FALSE(times.take_before(20));
    EXPECT_TRUE(times.take_before(21));
    EXPECT_TRUE(times.empty());
}

host::StoryStep step(int kind, int line, double time_s,
                     host::LeftOut left_out = host::LeftOut::kNot) {
    host::StoryStep result;
    result.time_s = time_s;
    result.decision.kind = kind;
    result.decision.place = line;
    result.left_out = left_out;
    return result;
}

TEST(UncountedSpans, AreThoseOfLinesWithoutACount) {
    host::Story story;
    story.steps = {step(VCA_DECISION_BORN, 0, 0.0),        step(VCA_DECISION_NEAR_LINE, 0, 1.0),
                   step(VCA_DECISION_NEAR_LINE, 1, 2.0),   step(VCA_DECISION_COUNTED, 0, 3.0),
                   step(VCA_DECISION_TURNED_BACK, 1, 4.0), step(VCA_DECISION_ENDED, 0, 5.0)};
    const auto spans = host::uncounted_spans(story);
    ASSERT_EQ(spans.size(), 1u);
    EXPECT_EQ(spans[0].from_us, 2'000'000);
    EXPECT_EQ(spans[0].to_us, 4'000'000);
    story.steps[3].left_out = host::LeftOut::kWentBack;
    EXPECT_EQ(host::uncounted_spans(story).size(), 2u);
    story.steps = {step(VCA_DECISION_BORN, 0, 0.0), step(VCA_DECISION_ENTERED, 0, 1.0)};
    EXPECT_THAT(host::uncounted_spans(story), IsEmpty());
}

TEST(UtcName, SortsByTime) {
    EXPECT_EQ(host::utc_name(1767225600'000'000), "2026-01-01T00-00-00.000Z");
    EXPECT_EQ(host::utc_name(1767225599'999'999), "2025-12-31T23-59-59.999Z");
    EXPECT_EQ(host::utc_name(0), "1970-01-01T00-00-00.000Z");
    EXPECT_EQ(host::utc_name(-1), "1969-12-31T23-59-59.999Z");
    EXPECT_TRUE(host::is_utc_name(host::utc_name(1234567890'123'456)));
    EXPECT_FALSE(host::is_utc_name("2026-01-01T00-00-00.000"));
    EXPECT_FALSE(host::is_utc_name("2026-01-01T00:00:00.000Z"));
    EXPECT_FALSE(host::is_utc_name("holiday"));
}

// A file goes only when the one after it is too old as well, and what is no recording stays.
TEST(OldRecordings, AreRemoved) {
    const fs::path folder = test::unique_path("old");
    fs::create_directories(folder);
    constexpr std::int64_t kHour_us = 3'600'000'000;
    constexpr std::int64_t kNow_us = 1767225600'000'000;
    for (int hours = 1; hours <= 4; ++hours)
        std::ofstream(folder / (host::utc_name(kNow_us - hours * kHour_us) + ".mkv"));
    std::ofstream(folder / "2020.mkv");
    EXPECT_EQ(host::remove_old_recordings(folder, kNow_us, 100.0), 0);
    EXPECT_EQ(host::remove_old_recordings(folder, kNow_us, 2.5), 1);
    EXPECT_TRUE(fs::exists(folder / (host::utc_name(kNow_us - 3 * kHour_us) + ".mkv")));
    EXPECT_EQ(host::remove_old_recordings(folder, kNow_us, 0.0), 2);
    EXPECT_TRUE(fs::exists(folder / "2020.mkv"));
    fs::remove_all(folder);
}

TEST(SettingsText, ReadsBackAsTheSame) {
    host::RunOptions options;
    host::CountingLine line;
    line.name = "door \"A\" \\ \xc3\xa4";
    line.points = {{1.0 / 3.0, 2.5}, {400.0, 1e-7}};
    line.uturn_filter = true;
    line.uturn_area = {{0.0, 0.0}, {900.0, 0.0}, {900.0, 500.0}, {0.0, 500.0}};
    line.flip = true;
    options.lines.emplace_back(line);
    host::CountingLine ring;
    ring.name = "hall";
    ring.points = {{10.0, 10.0}, {90.0, 10.0}, {90.0, 90.0}, {10.0, 90.0}, {10.0, 10.0}};
    options.lines.emplace_back(ring);
    options.regions.emplace_back(
        host::CountingRegion{"till", {{0.5, 0.25}, {100.0, 0.0}, {100.0, 100.0}}});
    options.exclusions.emplace_back(
        std::vector<host::PicturePoint>{{10.0, 10.0}, {20.0, 10.0}, {20.0, 20.0}});
    options.source.height_mm = 3456.7;
    options.source.foot_point = false;
    options.detect = host::DetectMode::kBoth;
    options.sensor = host::Sensor::kReadsLow;
    options.late_counts = host::LateCounts::kKeep;
    options.tilt = {host::TiltSetting::Kind::kGiven, {3.1, -2.7}};
    options.staff = "vest";
    options.target_min_mm = 900;
    options.group_counting = true;
    options.group_max = 9;
    host::RunOptions back;
    host::parse_config(host::config_text(options), "text", back);
    EXPECT_EQ(host::config_text(back), host::config_text(options));
    ASSERT_EQ(back.lines.size(), 2u);
    EXPECT_EQ(back.lines[0].value.name, line.name);
    EXPECT_EQ(back.lines[0].value.points[0].x, 1.0 / 3.0);
    EXPECT_TRUE(back.lines[0].value.flip);
    EXPECT_EQ(back.source.height_mm->value, 3456.7);
    EXPECT_EQ(back.tilt.given.roll_deg, 3.1);
    EXPECT_EQ(back.sensor, host::Sensor::kReadsLow);
    EXPECT_EQ(back.staff, "vest");
    EXPECT_FALSE(back.source.foot_point);
}

// What the source brings along goes with a recording, unless it was replaced or left out.
TEST(RecordedSettings, HoldWhatCounted) {
    host::SourceInfo own;
    own.lines = {{"gate", {{0.0, 1.0}, {9.0, 1.0}}, false, {}, false}};
    own.regions = {{"hall", {{0.0, 0.0}, {90.0, 0.0}, {90.0, 90.0}}}};
    own.group_counting = true;
    host::RunOptions options;
    options.source.height_mm = 3000.0;
    host::RunOptions back;
    host::parse_config(host::recorded_settings_text(options, own), "text", back);
    ASSERT_EQ(back.lines.size(), 1u);
    EXPECT_EQ(back.lines[0].value.name, "gate");
    EXPECT_EQ(back.regions.size(), 1u);
    EXPECT_EQ(back.group_counting, true);
    EXPECT_FALSE(back.source.height_mm);
    options.no_regions = true;
    host::RunOptions without;
    host::parse_config(host::recorded_settings_text(options, own), "text", without);
    EXPECT_THAT(without.regions, IsEmpty());
}

}  // namespace
