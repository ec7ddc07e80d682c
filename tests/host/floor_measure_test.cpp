// How a camera hangs is measured again while its frames go by.
#include "host/app/floor_measure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/host/tilted_floor.h"

namespace {

using host::CameraMeasured;
using namespace std::chrono_literals;

// A source that is only asked what it is.
class Still final : public host::FrameSource {
  public:
    explicit Still(const std::optional<host::Tilt>& levelled) {
        info_.camera = test::kCamera;
        info_.camera.levelled = levelled;
    }
    bool next(host::SourceFrame&) override { return false; }
};

class Measuring : public ::testing::Test {
  protected:
    // Shows frames until so many measurements have ended.
    void show(host::FloorMeasure& measure, const std::vector<std::uint16_t>& depth_mm, int ended) {
        host::FramePlanes planes;
        planes.raw_mm = depth_mm;
        const auto limit = std::chrono::steady_clock::now() + 60s;
        while (ended_ < ended && std::chrono::steady_clock::now() < limit) {
            ++number_;
            measure.on_frame({number_, static_cast<double>(number_) / 15.0, planes, {}, {}});
            std::this_thread::sleep_for(1ms);
        }
        ASSERT_EQ(ended_, ended);
    }
    std::function<void(const CameraMeasured&)> tell() {
        return [this](const CameraMeasured& measured) {
            const std::lock_guard lock(mutex_);
            told_.push_back(measured);
            if (!measured.progress) ++ended_;
        };
    }
    CameraMeasured last() {
        const std::lock_guard lock(mutex_);
        return told_.back();
    }

    std::mutex mutex_;
    std::vector<CameraMeasured> told_;
    std::atomic<int> ended_{0};
    std::int64_t number_ = 0;
};

TEST_F(Measuring, FindsFloorAndTilt) {
    const Still source(std::nullopt);
    host::FloorMeasure measure(source, tell());
    show(measure, test::floor_image({3.0, -2.0}, 2800.0), 1);
    ASSERT_TRUE(last().floor_mm.has_value());
    EXPECT_NEAR(*last().floor_mm, 2800.0, 10.0);
    EXPECT_NEAR(*last().noise_mm, 0.0, 0.5);
    EXPECT_NEAR(last().tilt->roll_deg, 3.0, 0.2);
    EXPECT_NEAR(last().tilt->pitch_deg, -2.0, 0.2);
    const std::lock_guard lock(mutex_);
    EXPECT_EQ(told_.front().progress, 0.0);
    for (std::size_t i = 1; i + 1 < told_.size(); ++i)
        EXPECT_GE(told_[i].progress, told_[i - 1].progress);
}

TEST_F(Measuring, BeginsAgainWhenItIsAskedTo) {
    const Still source(host::Tilt{4.0, 1.0});
    host::FloorMeasure measure(source, tell());
    show(measure, test::floor_image({}, 3000.0), 1);
    EXPECT_NEAR(*last().floor_mm, 3000.0, 10.0);
    EXPECT_NEAR(last().tilt->roll_deg, 4.0, 0.2) << "what the frames were turned by";
    measure.begin();
    show(measure, test::floor_image({1.0, 0.0}, 2500.0), 2);
    EXPECT_NEAR(*last().floor_mm, 2500.0, 10.0);
    EXPECT_NEAR(last().tilt->roll_deg, 5.0, 0.2);
}

TEST_F(Measuring, FindsNothingWhereNoFloorIs) {
    const Still source(std::nullopt);
    host::FloorMeasure measure(source, tell());
    show(measure,
         std::vector<std::uint16_t>(std::size_t{host::kDepthWidth} * host::kDepthHeight, 0), 1);
    EXPECT_FALSE(last().floor_mm.has_value());
    EXPECT_FALSE(last().noise_mm.has_value());
    EXPECT_FALSE(last().tilt.has_value());
}

TEST_F(Measuring, EndsWithoutFrames) {
    const Still source(std::nullopt);
    const host::FloorMeasure measure(source, tell());
}

}  // namespace
