// A run is interrupted at the end of each hour, and nothing of it is lost or counted twice.
#include "host/app/hourly_frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "host/app/run.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr std::int64_t kHour_us = 3'600'000'000;

// A frame every 20 minutes.
class SlowFrames final : public host::FrameFeed {
  public:
    bool next(host::SourceFrame& frame) override {
        if (number_ == 7) return false;
        frame.number = number_;
        frame.time_s = 1200.0 * static_cast<double>(number_++);
        return true;
    }

  private:
    std::int64_t number_ = 0;
};

std::vector<std::int64_t> numbers_of(host::FrameFeed& feed) {
    std::vector<std::int64_t> list;
    for (host::SourceFrame frame; feed.next(frame);)
        list.push_back(frame.number);
    return list;
}

TEST(HourlyFrames, PartsEndWithTheHoursOfTheClock) {
    SlowFrames frames;
    host::HourlyFrames hourly(frames, 5 * kHour_us + kHour_us / 2);
    EXPECT_THAT(numbers_of(hourly), ElementsAre(0, 1));
    EXPECT_TRUE(hourly.more());
    EXPECT_THAT(numbers_of(hourly), ElementsAre(2, 3, 4));
    EXPECT_TRUE(hourly.more());
    EXPECT_THAT(numbers_of(hourly), ElementsAre(5, 6));
    EXPECT_FALSE(hourly.more());
}

// The scene doorway, which begins 20 s before the hour is full.
class LateScene final : public host::FrameSource {
  public:
    LateScene() {
        host::SourceOptions options;
        options.scene = "doorway";
        source_ = host::open_source(options);
        info_ = source_->info();
        info_.start_us = host::kSceneStart_us + kHour_us - 20'000'000;
    }
    bool next(host::SourceFrame& frame) override { return source_->next(frame); }

  private:
    std::unique_ptr<host::FrameSource> source_;
};

class Heard final : public host::Sink {
  public:
    void on_frame(const host::FrameView& frame) override { numbers.push_back(frame.number); }
    void on_event(const host::Event& event) override {
        const auto* map = std::get_if<host::HeatMapReported>(&event.payload);
        if (map == nullptr) return;
        dwell_ms.push_back(std::accumulate(map->dwell_ms.begin(), map->dwell_ms.end(), 0LL));
        cells_ms.resize(map->dwell_ms.size());
        for (std::size_t i = 0; i < cells_ms.size(); ++i)
            cells_ms[i] += map->dwell_ms[i];
    }
    std::vector<std::int64_t> numbers;
    std::vector<long long> dwell_ms;     // of each map
    std::vector<std::int32_t> cells_ms;  // of all maps together
};

Heard hear(bool by_hour, host::SnapshotSink& snapshot) {
    host::RunOptions options;
    options.seconds = 25.0;
    host::RunPlan plan = host::prepare_run(options, std::make_unique<LateScene>());
    plan.heat_by_hour = by_hour;
    Heard heard;
    host::run(plan, {&heard, &snapshot}, std::atomic<bool>{false});
    return heard;
}

TEST(HeatByHour, HasTheSameSumAndTheSameFrames) {
    host::SnapshotSink parts_of;
    host::SnapshotSink all_of;
    const Heard parts = hear(true, parts_of);
    const Heard all = hear(false, all_of);
    ASSERT_THAT(parts.dwell_ms, SizeIs(2));
    ASSERT_THAT(all.dwell_ms, SizeIs(1));
    EXPECT_GT(parts.dwell_ms[0], 0);
    EXPECT_GT(parts.dwell_ms[1], 0);
    EXPECT_EQ(parts.dwell_ms[0] + parts.dwell_ms[1], all.dwell_ms[0]);
    EXPECT_EQ(parts.numbers, all.numbers);
    EXPECT_EQ(parts_of.evidence().heat->dwell_ms, parts.cells_ms);
    EXPECT_EQ(all_of.evidence().heat->dwell_ms, all.cells_ms);
}

}  // namespace
