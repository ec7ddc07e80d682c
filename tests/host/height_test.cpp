// The measured installation height, with somebody under the camera for a part of the time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <string>

#include "host/app/run.h"
#include "tests/support/unique_path.h"

namespace {

constexpr int kFrames = 500;  // 20 s
constexpr double kCamera_mm = 5000.0;

class MeasuredHeight : public ::testing::Test {
  protected:
    void TearDown() override { std::filesystem::remove(path_); }

    // Two people: one stands under the camera in the first frames, the other far off, where the
    // floor is not measured.
    host::RunPlan plan(int frames_below, int frames = kFrames) {
        std::ofstream out(path_);
        out << "# framerate: 25 fps\n# id frame x/m y/m z/m\n";
        for (int i = 0; i < frames; ++i) {
            if (i < frames_below) out << "1 " << i << " 0.0 0.0 1.8\n";
            out << "2 " << i << " 2.5 1.4 1.7\n";
        }
        out.close();
        host::RunOptions options;
        options.source.source = "walks";
        options.source.trajectories = path_;
        options.source.height_mm = kCamera_mm;
        options.source.camera_at = host::PicturePoint{0.0, 0.0};
        options.measure_height = true;
        options.frames = 1;
        return host::prepare_run(options);
    }

    std::string error(int frames_below, int frames = kFrames) {
        host::RunPlan prepared = plan(frames_below, frames);
        try {
            host::run_for_scores(prepared);
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "no error";
    }

    std::string path_ = test::unique_path("vca-measured-height-test", ".txt").string();
};

TEST_F(MeasuredHeight, SomebodyUnderTheCameraAtTheBeginningDoesNoHarm) {
    host::RunPlan prepared = plan(120);
    const host::RunFacts facts = host::run_for_scores(prepared).facts;
    EXPECT_NEAR(facts.install_height_mm, kCamera_mm, 40.0);
    EXPECT_TRUE(facts.height_measured);
    EXPECT_EQ(facts.timings.frames, 1);
    EXPECT_DOUBLE_EQ(facts.scene_s, 1.0 / 25.0);
}

TEST_F(MeasuredHeight, IsRefusedWhenTheFloorIsHardlyEverFree) {
    EXPECT_THAT(error(350), testing::AllOf(testing::HasSubstr("--height auto measured"),
                                           testing::HasSubstr("give --height MM")));
}

TEST_F(MeasuredHeight, IsRefusedWhenTheSourceIsShort) {
    EXPECT_THAT(error(0, 50),
                testing::HasSubstr("--height auto got 4 measurements of the floor and needs 5"));
    EXPECT_EQ(error(0, 53), "no error");
}

// A recording in whose first second the sensor measures nothing.
TEST(RecordedHeight, AMissingFloorIsNoMeasurement) {
    namespace fs = std::filesystem;
    const fs::path folder = test::unique_path("vca-recorded-height-test");
    fs::create_directories(folder);
    std::ofstream(folder / "camera.toml") << "width = 48\nheight = 32\nfx = 40\nfy = 40\n"
                                             "cx = 24\ncy = 16\nframes_per_second = 10\n";
    for (int n = 0; n < 117; ++n) {
        const cv::Mat picture(32, 48, CV_16UC1, cv::Scalar::all(n < 13 ? 0 : 3100));
        cv::imwrite((folder / (std::to_string(1000 + n) + ".png")).string(), picture);
    }
    host::RunOptions options;
    options.source.source = "depth-folder";
    options.source.folder = folder.string();
    options.measure_height = true;
    options.frames = 1;
    host::RunPlan plan = host::prepare_run(options);
    const host::RunFacts facts = host::run_for_scores(plan).facts;
    EXPECT_NEAR(facts.install_height_mm, 3100.0, 20.0);
    fs::remove_all(folder);
}

}  // namespace
