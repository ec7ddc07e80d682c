// People who walk as a trajectory file says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "sim/crossings.h"
#include "sim/simulator.h"

namespace {

using sim::Frame;
using sim::PersonTruth;
using sim::Simulator;
using sim::TrajectoryOptions;

class Replay : public testing::Test {
  protected:
    void SetUp() override {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        path_ = std::filesystem::path(testing::TempDir()) /
                (std::string("vca_replay_") + test->name() + ".txt");
    }
    void TearDown() override { std::filesystem::remove(path_); }

    Simulator scene(const std::string& text, const TrajectoryOptions& options = {}) {
        std::ofstream(path_) << text;
        return sim::make_trajectory_scene(path_.string(), options);
    }

    std::filesystem::path path_;
};

TEST_F(Replay, HangsOverTheMiddleAndTurnsYOver) {
    Simulator s = scene("1 0 1 2 1.7\n1 1 1 4 1.7\n2 1 3 2 1.8\n");
    Frame frame;
    ASSERT_TRUE(s.next_truth(frame));
    ASSERT_EQ(frame.truth.size(), 1u);
    EXPECT_DOUBLE_EQ(frame.truth[0].x_m, -1.0);  // the middle is (2, 3)
    EXPECT_DOUBLE_EQ(frame.truth[0].y_m, 1.0);
    EXPECT_DOUBLE_EQ(frame.truth[0].height_mm, 1700.0);
    const sim::Pixel head = s.info().camera.project(-1.0, 1.0, 1.7);
    EXPECT_DOUBLE_EQ(frame.truth[0].head_u, head.u);
    EXPECT_DOUBLE_EQ(frame.truth[0].head_v, head.v);
    ASSERT_TRUE(s.next_truth(frame));
    ASSERT_EQ(frame.truth.size(), 2u);
    EXPECT_DOUBLE_EQ(frame.truth[0].y_m, -1.0);
    EXPECT_DOUBLE_EQ(frame.truth[1].x_m, 1.0);
    EXPECT_DOUBLE_EQ(frame.truth[1].height_mm, 1800.0);
    EXPECT_FALSE(s.next_truth(frame));
}

TEST_F(Replay, CentreAndRotation) {
    TrajectoryOptions options;
    options.centre_given = true;
    options.centre = {1.0, 1.0};
    options.rotate_90 = true;
    Simulator s = scene("1 0 1.5 1.2 1.7\n", options);
    Frame frame;
    ASSERT_TRUE(s.next_truth(frame));
    // 0.5 m along the file's x is now up the image, 0.2 m along its y to the left.
    EXPECT_NEAR(frame.truth.at(0).x_m, -0.2, 1e-12);
    EXPECT_NEAR(frame.truth.at(0).y_m, -0.5, 1e-12);
}

TEST_F(Replay, FillsSingleMissingFramesOnly) {
    Simulator s = scene("1 0 0 0 1.7\n1 2 0.2 0 1.7\n1 5 0.5 0 1.7\n");
    Frame frame;
    std::vector<std::size_t> counts;
    while (s.next_truth(frame)) {
        counts.push_back(frame.truth.size());
        if (frame.index != 1) continue;
        EXPECT_NEAR(frame.truth.at(0).x_m, 0.1 - 0.25, 1e-12);
    }
    EXPECT_EQ(counts, (std::vector<std::size_t>{1, 1, 1, 0, 0, 1}));
}

TEST_F(Replay, FrameRateAndNameComeFromTheFile) {
    Simulator s = scene("# framerate: 16 fps\n1 100 0 0 1.7\n1 131 0.5 0 1.7\n");
    EXPECT_DOUBLE_EQ(s.info().fps, 16.0);
    EXPECT_DOUBLE_EQ(s.info().duration_s, 2.0);
    EXPECT_EQ(s.info().name, path_.stem().string());
    EXPECT_FALSE(s.info().crowded);
}

TEST_F(Replay, LineLiesAcrossTheMotion) {
    std::string walk;
    for (int i = 0; i <= 40; ++i) {
        walk += "1 " + std::to_string(i) + " " + std::to_string(0.05 * i) + " 0.01 1.7\n";
    }
    Simulator s = scene(walk);
    ASSERT_EQ(s.info().lines.size(), 1u);
    EXPECT_DOUBLE_EQ(s.info().lines[0].points.front().x_m, 0.0);
    EXPECT_DOUBLE_EQ(s.info().lines[0].points.back().x_m, 0.0);
    sim::CrossingCounter counter(s.info().lines);
    Frame frame;
    int crossings = 0;
    while (s.next_truth(frame))
        crossings += static_cast<int>(counter.update(frame).size());
    EXPECT_EQ(crossings, 1);
}

TEST_F(Replay, WalkersFaceTheWayTheyGo) {
    // Seen from above, a walker's shoulders are across the walking direction.
    std::string walk;
    for (int i = 0; i <= 40; ++i) {
        walk += "1 " + std::to_string(i) + " " + std::to_string(0.05 * i) + " 0 1.7\n";
    }
    Simulator s = scene(walk);
    Frame frame;
    for (int i = 0; i <= 20; ++i)
        ASSERT_TRUE(s.next_truth(frame));
    EXPECT_GT(frame.truth.at(0).box.h, frame.truth.at(0).box.w);
}

TEST_F(Replay, BadLineIsReported) {
    try {
        scene("1 0 0 0 1.7\n1 1 x 0 1.7\n");
        FAIL() << "no error";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr(path_.string() + ":2: x \"x\""));
    }
}

TEST_F(Replay, CameraMustHangAboveTheHeads) {
    TrajectoryOptions options;
    for (const double height : {-1.0, 0.0, 1.4, 15.1}) {
        options.camera_height_m = height;
        EXPECT_THROW(scene("1 0 0 0 0.9\n", options), std::invalid_argument) << height;
    }
    options.camera_height_m = 1.85;
    try {
        scene("1 0 0 0 0.9\n7 0 1 0 1.7\n", options);
        FAIL() << "no error";
    } catch (const std::invalid_argument& error) {
        EXPECT_THAT(error.what(),
                    testing::HasSubstr("person 7, who is 1700 mm tall; at least 1900 mm"));
    }
}

// From 1.5 to 15 m, with the tallest and the smallest people that fit.
TEST_F(Replay, EveryHeightOfTheCameraGivesPictures) {
    TrajectoryOptions options;
    for (const double height : {1.5, 1.9, 2.7, 15.0}) {
        options.camera_height_m = height;
        const double tall = std::min(height - 0.2, 2.5);
        Simulator s = scene("1 0 0 0 " + std::to_string(tall) + "\n2 0 0.7 0 0.5\n", options);
        Frame frame;
        ASSERT_TRUE(s.next(frame)) << height;
        ASSERT_EQ(frame.truth.size(), 2u) << height;
        EXPECT_NEAR(frame.truth[0].height_mm, 1000.0 * tall, 0.01);
        EXPECT_NEAR(frame.truth[1].height_mm, 500.0, 0.01);
        EXPECT_GT(frame.truth[1].box.w, 0);
        const std::uint16_t farthest = *std::max_element(frame.raw_mm.begin(), frame.raw_mm.end());
        EXPECT_NEAR(farthest, 1000.0 * height, 0.05 * 1000.0 * height + 60.0) << height;
        ASSERT_EQ(s.info().lines.size(), 1u);
        const double line_x = s.info().lines[0].points.back().x_m;
        EXPECT_TRUE(std::isfinite(line_x) && line_x >= 0.0) << line_x;
        EXPECT_LT(s.info().line_height_m, height);
    }
}

// Recorded walks are kept beside the project, not in it.
bool recorded(const std::string& name, std::string& path) {
    path = std::string(VCA_SHARED_DATA_DIR) + "/trajectories/" + name;
    return std::filesystem::exists(path);
}

struct Recording {
    const char* name;
    double fps;  // 0: named in the file
    std::size_t persons;
    std::int64_t frames;
};

class Recorded : public testing::TestWithParam<Recording> {};

TEST_P(Recorded, EveryoneIsThere) {
    const Recording& r = GetParam();
    std::string path;
    if (!recorded(r.name, path)) GTEST_SKIP() << "no recorded walks here";
    TrajectoryOptions options;
    options.camera_height_m = 9.0;  // sees the whole place
    options.fps = r.fps;
    Simulator s = sim::make_trajectory_scene(path, options);
    EXPECT_DOUBLE_EQ(s.info().fps, r.fps > 0.0 ? r.fps : 25.0);
    std::set<int> ids;
    std::int64_t frames = 0;
    Frame frame;
    while (s.next_truth(frame)) {
        ++frames;
        for (const PersonTruth& t : frame.truth) {
            ids.insert(t.id);
            EXPECT_GT(t.height_mm, 1500.0);
            EXPECT_LT(t.height_mm, 1985.0);
        }
    }
    EXPECT_EQ(ids.size(), r.persons);
    EXPECT_EQ(frames, r.frames);
}

INSTANTIATE_TEST_SUITE_P(
    Files, Recorded,
    testing::Values(Recording{"bidirectional_corridor_400_b_03.txt", 0.0, 480, 3247},
                    Recording{"unidirectional_uo_180_180_070.txt", 16.0, 148, 1600},
                    Recording{"bottleneck_030_c_56_h0.txt", 0.0, 75, 1620}),
    [](const auto& test) {
        const std::string name = test.param.name;
        return name.substr(0, name.find('_'));
    });

}  // namespace
