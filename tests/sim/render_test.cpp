// Images and truth: the same bytes every time, distances and boxes that fit what was drawn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "sim/simulator.h"
#include "tests/sim/fixed_world.h"
#include "tests/sim/frame_hash.h"

namespace {

using sim::Box;
using sim::Frame;
using sim::kDepthHeight;
using sim::kDepthWidth;
using sim::PersonTruth;
using sim::Pose;
using sim::Simulator;
using sim_test::fixed_scene;
using sim_test::hash_of;
using sim_test::standing;

std::uint64_t hash_of_scene(const std::string& name, std::uint64_t seed) {
    Simulator simulator = sim::make_scene(name, seed);
    Frame frame;
    std::uint64_t hash = 0;
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(simulator.next(frame));
        hash = hash_of(frame, hash);
    }
    return hash;
}

std::uint16_t raw_at(const Frame& frame, double u, double v) {
    const int x = std::clamp(static_cast<int>(u / 2.0 + 0.5), 0, kDepthWidth - 1);
    const int y = std::clamp(static_cast<int>(v * 256.0 / 544.0 + 0.5), 0, kDepthHeight - 1);
    return frame.raw_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
}

TEST(Render, SameSeedSameBytes) {
    EXPECT_EQ(hash_of_scene("crowd", 4), hash_of_scene("crowd", 4));
}

TEST(Render, OtherSeedOtherBytes) {
    EXPECT_NE(hash_of_scene("crowd", 4), hash_of_scene("crowd", 5));
}

// The same in debug and optimised builds, with every compiler and on every processor.
TEST(Render, BusySceneHasItsKnownHash) {
    EXPECT_EQ(hash_of_scene("crowd", 1), 0x13E3DD79797A4EA2ULL);
}

TEST(Render, TruthAloneEqualsRenderedTruth) {
    Simulator with = sim::make_scene("crowd", 2);
    Simulator without = sim::make_scene("crowd", 2);
    Frame a;
    Frame b;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(with.next(a));
        ASSERT_TRUE(without.next_truth(b));
    }
    EXPECT_TRUE(b.bgr.empty());
    EXPECT_EQ(a.index, b.index);
    ASSERT_EQ(a.truth.size(), b.truth.size());
    ASSERT_FALSE(a.truth.empty());
    for (std::size_t i = 0; i < a.truth.size(); ++i) {
        EXPECT_EQ(a.truth[i].id, b.truth[i].id);
        EXPECT_EQ(a.truth[i].x_m, b.truth[i].x_m);
        EXPECT_EQ(a.truth[i].box.w, b.truth[i].box.w);
        EXPECT_GE(a.truth[i].visible, 0.0);
        EXPECT_EQ(b.truth[i].visible, -1.0);
    }
}

TEST(Render, SceneEndsAfterItsDuration) {
    Simulator simulator = sim::make_scene("doorway", 1);
    Frame frame;
    std::int64_t count = 0;
    while (simulator.next_truth(frame))
        EXPECT_EQ(frame.index, count++);
    EXPECT_EQ(count, 1125);
    EXPECT_NEAR(frame.time_s, 1124.0 / 15.0, 1e-12);
}

TEST(Render, ImageSizes) {
    Simulator simulator = fixed_scene({}, 3.0);
    Frame frame;
    ASSERT_TRUE(simulator.next(frame));
    EXPECT_EQ(frame.bgr.size(), 960u * 544u * 3u);
    EXPECT_EQ(frame.nv12.size(), 960u * 544u * 3u / 2u);
    EXPECT_EQ(frame.depth_nv12.size(), 480u * 256u * 3u / 2u);
    EXPECT_EQ(frame.raw_mm.size(), 480u * 256u);
    EXPECT_TRUE(frame.truth.empty());
}

TEST(Render, Nv12IsTheColourImage) {
    Simulator simulator = sim::make_scene("crowd", 3);
    Frame frame;
    ASSERT_TRUE(simulator.next(frame));
    for (int y = 1; y < 544; y += 37) {
        for (int x = 1; x < 960; x += 41) {
            const std::size_t at = static_cast<std::size_t>(y * 960 + x);
            const double b = frame.bgr[3 * at];
            const double g = frame.bgr[3 * at + 1];
            const double r = frame.bgr[3 * at + 2];
            EXPECT_NEAR(frame.nv12[at], 16.0 + 0.257 * r + 0.504 * g + 0.098 * b, 1.6);
        }
    }
    // Means of a 2 x 2 block against its chroma.
    const std::size_t uv = 960u * 544u + 100u * 960u + 300u;  // block at (300, 200)
    double sum[3] = {0, 0, 0};
    for (const std::size_t at :
         {200u * 960u + 300u, 200u * 960u + 301u, 201u * 960u + 300u, 201u * 960u + 301u}) {
        for (std::size_t c = 0; c < 3; ++c)
            sum[c] += 0.25 * frame.bgr[3 * at + c];
    }
    EXPECT_NEAR(frame.nv12[uv], 128.0 - 0.148 * sum[2] - 0.291 * sum[1] + 0.439 * sum[0], 1.6);
    EXPECT_NEAR(frame.nv12[uv + 1], 128.0 + 0.439 * sum[2] - 0.368 * sum[1] - 0.071 * sum[0], 1.6);
}

TEST(Render, DepthGreyIsBrighterWhenNearer) {
    Simulator simulator = fixed_scene({standing(1, 0.0, 0.0, 1.8)}, 3.0);
    Frame frame;
    ASSERT_TRUE(simulator.next(frame));
    for (std::size_t i = 0; i < frame.raw_mm.size(); i += 13) {
        const int mm = frame.raw_mm[i];
        const double grey = mm == 0 ? 16.0 : std::max(16.0, 235.0 - 219.0 * mm / 3300.0);
        EXPECT_NEAR(frame.depth_nv12[i], grey, 1.01);
    }
    EXPECT_EQ(frame.depth_nv12[480 * 256], 128);
    EXPECT_EQ(frame.depth_nv12.back(), 128);
}

TEST(Render, FloorNoiseGrowsWithTheSquareOfTheDistance) {
    for (const double height : {2.0, 4.0}) {
        Simulator simulator = fixed_scene({}, height);
        Frame a;
        Frame b;
        ASSERT_TRUE(simulator.next(a));
        ASSERT_TRUE(simulator.next(b));
        double squares = 0.0;
        double sum = 0.0;
        int count = 0;
        for (std::size_t i = 0; i < a.raw_mm.size(); ++i) {
            if (a.raw_mm[i] == 0 || b.raw_mm[i] == 0) continue;
            const double d = a.raw_mm[i] - b.raw_mm[i];
            squares += d * d;
            sum += a.raw_mm[i];
            ++count;
        }
        // A difference of two has twice the variance.
        EXPECT_NEAR(std::sqrt(0.5 * squares / count), 0.5 * height * height, 0.1 * height * height);
        EXPECT_NEAR(sum / count, 1000.0 * height, 10.0);
        EXPECT_GT(count, 480 * 256 * 99 / 100);
        EXPECT_LT(count, 480 * 256);
    }
}

TEST(Render, FloorIsTiltedByTenthsOfADegree) {
    Simulator simulator = fixed_scene({}, 3.0);
    Frame frame;
    ASSERT_TRUE(simulator.next(frame));
    double moment_x = 0, moment_y = 0, square_x = 0, square_y = 0;
    for (int y = 0; y < kDepthHeight; ++y) {
        for (int x = 0; x < kDepthWidth; ++x) {
            const double mm = frame.raw_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
            if (mm == 0.0) continue;
            const auto p = sim::Camera{}.unproject(2.0 * x, 2.125 * y);
            moment_x += p.x_m * (mm - 3000.0);
            moment_y += p.y_m * (mm - 3000.0);
            square_x += p.x_m * p.x_m;
            square_y += p.y_m * p.y_m;
        }
    }
    const double slope = std::hypot(moment_x / square_x, moment_y / square_y) / 1000.0;
    const double degrees = std::atan(slope) * 180.0 / 3.14159265358979;
    EXPECT_GT(degrees, 0.07);
    EXPECT_LT(degrees, 0.25);
}

TEST(Render, HeadsAreAtTheirDistance) {
    int measured = 0;
    for (const double x : {-0.7, 0.0, 0.6}) {
        for (const double height : {1.1, 1.55, 1.7, 1.9}) {
            Simulator simulator = fixed_scene({standing(1, x, 0.2, height)}, 3.2);
            Frame frame;
            ASSERT_TRUE(simulator.next(frame));
            const PersonTruth& t = frame.truth.at(0);
            EXPECT_DOUBLE_EQ(t.height_mm, 1000.0 * height);
            const int mm = raw_at(frame, t.head_u, t.head_v);
            if (mm == 0) continue;
            ++measured;
            const double z = 3.2 - height;
            // Four standard deviations of noise, and one pixel beside the very top.
            EXPECT_NEAR(mm, 1000.0 * z, 4.0 * 0.5 * z * z + 6.0) << "at " << x << ", " << height;
        }
    }
    EXPECT_GE(measured, 9);
}

// Extent of what stands higher than 0.45 m below the head top, in colour pixels.
Box drawn_extent(const Frame& frame, double camera_height_m, double height_m) {
    const double limit = 1000.0 * (camera_height_m - height_m + 0.45);
    int x0 = kDepthWidth, y0 = kDepthHeight, x1 = -1, y1 = -1;
    for (int y = 0; y < kDepthHeight; ++y) {
        for (int x = 0; x < kDepthWidth; ++x) {
            const int mm = frame.raw_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
            if (mm == 0 || mm > limit) continue;
            x0 = std::min(x0, x);
            y0 = std::min(y0, y);
            x1 = std::max(x1, x);
            y1 = std::max(y1, y);
        }
    }
    const double row = 544.0 / 256.0;
    return {2 * x0, static_cast<int>(y0 * row), 2 * (x1 - x0), static_cast<int>((y1 - y0) * row)};
}

PersonTruth truth_of_one(Pose pose, double x, double y, Frame& frame) {
    pose.x_m = x;
    pose.y_m = y;
    Simulator simulator = fixed_scene({pose}, 3.6);
    EXPECT_TRUE(simulator.next(frame));
    return frame.truth.at(0);
}

// Straight below the camera a box is as large as what is drawn of head and shoulders; elsewhere it
// has the same size around the top of the head.
TEST(Render, BoxesAreAsLargeAsHeadAndShouldersAroundTheHead) {
    for (const double height : {1.2, 1.7, 1.9}) {
        Pose pose = standing(1, 0.0, 0.0, height);
        pose.dir_x = 0.6;
        pose.dir_y = 0.8;
        Frame frame;
        const PersonTruth below = truth_of_one(pose, 0.0, 0.0, frame);
        const Box drawn = drawn_extent(frame, 3.6, height);
        // Edge pixels get lost, and arms hang a little outside of the shoulders.
        constexpr int kSlack_px = 14;
        EXPECT_NEAR(below.box.w, drawn.w, 2 * kSlack_px);
        EXPECT_NEAR(below.box.h, drawn.h, 2 * kSlack_px);
        for (const double x : {-1.0, 0.0, 0.7}) {
            for (const double y : {-0.4, 0.5}) {
                const PersonTruth t = truth_of_one(pose, x, y, frame);
                EXPECT_EQ(t.box.w, below.box.w);
                EXPECT_EQ(t.box.h, below.box.h);
                EXPECT_NEAR(t.box.x + t.box.w / 2.0, t.head_u, 1.0);
                EXPECT_NEAR(t.box.y + t.box.h / 2.0, t.head_v, 1.0);
                EXPECT_TRUE(t.in_view);
                EXPECT_DOUBLE_EQ(t.visible, 1.0);
            }
        }
    }
}

TEST(Render, BoxesHaveHumanSizeAndHoldTheHead) {
    for (const std::string& name : sim::scene_names()) {
        Simulator simulator = sim::make_scene(name, 6);
        const double camera_m = simulator.info().camera.height_m;
        const double focal = simulator.info().camera.focal_px;
        Frame frame;
        int checked = 0;
        while (checked < 300 && simulator.next_truth(frame)) {
            for (const PersonTruth& t : frame.truth) {
                EXPECT_GE(t.box.x, 0);
                EXPECT_GE(t.box.y, 0);
                EXPECT_LE(t.box.x + t.box.w, 960);
                EXPECT_LE(t.box.y + t.box.h, 544);
                if (!t.in_view) continue;
                EXPECT_GE(t.head_u, t.box.x);
                EXPECT_GE(t.head_v, t.box.y);
                EXPECT_LE(t.head_u, t.box.x + t.box.w);
                EXPECT_LE(t.head_v, t.box.y + t.box.h);
                if (std::abs(t.head_u - 480) > 150 || std::abs(t.head_v - 272) > 80) continue;
                const double shoulders_m = camera_m - 0.82e-3 * t.height_mm;
                const double across = std::hypot(t.box.w, t.box.h) * shoulders_m / focal;
                EXPECT_GT(across, 0.30) << name << " person " << t.id;
                EXPECT_LT(across, 0.95) << name << " person " << t.id;
                ++checked;
            }
        }
        EXPECT_GE(checked, 50) << name;
    }
}

TEST(Render, TallerPersonHidesTheOneBehind) {
    // Both right of the camera; the nearer one is in the way of the light from the other.
    Simulator simulator =
        fixed_scene({standing(1, 0.55, 0.0, 1.9), standing(2, 1.05, 0.0, 1.1)}, 3.0);
    Frame frame;
    ASSERT_TRUE(simulator.next(frame));
    ASSERT_EQ(frame.truth.size(), 2u);
    EXPECT_DOUBLE_EQ(frame.truth[0].visible, 1.0);
    EXPECT_LT(frame.truth[1].visible, 0.7);
}

TEST(Render, TrolleysAreSeenButNotInTheTruth) {
    for (const sim::Load load : {sim::Load::kTrolley, sim::Load::kCart}) {
        Pose pose = standing(1, -0.4, 0.0, 1.7);
        pose.dir_x = 1.0;
        pose.dir_y = 0.0;
        Simulator alone = fixed_scene({pose}, 3.6);
        pose.load = load;
        Simulator pushing = fixed_scene({pose}, 3.6);
        Frame a;
        Frame b;
        ASSERT_TRUE(alone.next(a));
        ASSERT_TRUE(pushing.next(b));
        ASSERT_EQ(b.truth.size(), 1u);
        EXPECT_EQ(b.truth[0].id, 1);
        int floor = 0;
        int trolley = 0;
        for (std::size_t i = 0; i < a.raw_mm.size(); ++i) {
            if (a.raw_mm[i] < 3500 || b.raw_mm[i] == 0 || b.raw_mm[i] > 3400) continue;
            (b.raw_mm[i] < 2400 ? floor : trolley) += 1;
        }
        EXPECT_GT(trolley, 300);  // lower than 1.2 m
        EXPECT_LT(floor, 150);    // only the arms, held forwards
    }
}

TEST(Render, DarkHairLosesDepthInPatches) {
    int lost[2] = {0, 0};
    for (int dark = 0; dark < 2; ++dark) {
        Pose pose = standing(1, 0.0, 0.0, 1.7);
        pose.look.bald = false;
        pose.look.hair = dark == 1 ? sim::Rgb{25, 22, 20} : sim::Rgb{180, 150, 100};
        Simulator simulator = fixed_scene({pose}, 3.0);
        Frame frame;
        for (int i = 0; i < 6; ++i) {
            ASSERT_TRUE(simulator.next(frame));
            for (int y = 112; y < 144; ++y) {
                for (int x = 224; x < 256; ++x) {
                    const std::size_t at = static_cast<std::size_t>(y * kDepthWidth + x);
                    lost[dark] += frame.raw_mm[at] == 0 ? 1 : 0;
                }
            }
        }
    }
    EXPECT_GT(lost[1], 2 * lost[0] + 300);
}

TEST(Render, WithoutBgrTheOtherImagesAreTheSame) {
    sim::Simulator all = sim::make_scene("entrance", 3);
    sim::Simulator some = sim::make_scene("entrance", 3);
    some.leave_out_bgr();
    sim::Frame a;
    sim::Frame b;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(all.next(a));
        ASSERT_TRUE(some.next(b));
        EXPECT_FALSE(a.bgr.empty());
        EXPECT_TRUE(b.bgr.empty());
        EXPECT_EQ(a.nv12, b.nv12);
        EXPECT_EQ(a.depth_nv12, b.depth_nv12);
        EXPECT_EQ(a.raw_mm, b.raw_mm);
    }
}

}  // namespace
