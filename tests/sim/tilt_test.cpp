// A crooked camera: its pictures are turned, the truth stays that of a level one.
#include "sim/tilt.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

#include "sim/simulator.h"
#include "tests/sim/fixed_world.h"
#include "tests/sim/frame_hash.h"

namespace {

using sim::Frame;
using sim::kDepthHeight;
using sim::kDepthWidth;
using sim::Pixel;
using sim::Simulator;
using sim::Tilt;
using sim_test::fixed_scene;
using sim_test::standing;

constexpr double kDegree = sim::kPi / 180.0;

Frame first_frame(Simulator simulator, const Tilt& tilt) {
    simulator.tilt(tilt);
    Frame frame;
    EXPECT_TRUE(simulator.next(frame));
    return frame;
}

std::uint16_t raw_at(const Frame& frame, const Pixel& p) {
    const int x = static_cast<int>(std::floor(p.u / 2.0 + 0.5));
    const int y = static_cast<int>(std::floor(p.v * 256.0 / 544.0 + 0.5));
    if (x < 0 || y < 0 || x >= kDepthWidth || y >= kDepthHeight) return 0;
    return frame.raw_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
}

TEST(Tilt, NoneLeavesEveryByte) {
    Simulator plain = sim::make_scene("shop", 3);
    Simulator level = sim::make_scene("shop", 3);
    level.tilt({});
    for (int i = 0; i < 40; ++i) {
        Frame a;
        Frame b;
        ASSERT_TRUE(plain.next(a));
        ASSERT_TRUE(level.next(b));
        ASSERT_EQ(sim_test::hash_of(a), sim_test::hash_of(b));
    }
}

TEST(Tilt, PositiveAnglesLookToTheRightAndToTheUpperEdge) {
    const sim::Camera camera;
    // What the level camera has in its middle moves away from where the crooked one looks.
    const auto rolled = sim::Turn({10.0, 0.0}).pixel(camera, {480.0, 272.0});
    EXPECT_NEAR(rolled->u, 480.0 - camera.focal_px * std::tan(10.0 * kDegree), 0.01);
    EXPECT_NEAR(rolled->v, 272.0, 0.01);
    const auto pitched = sim::Turn({0.0, 10.0}).pixel(camera, {480.0, 272.0});
    EXPECT_NEAR(pitched->u, 480.0, 0.01);
    EXPECT_NEAR(pitched->v, 272.0 + camera.focal_px * std::tan(10.0 * kDegree), 0.01);
}

TEST(Tilt, BackUndoesTheTurn) {
    const sim::Turn turn({-12.0, 17.0});
    const sim::Vec3 v{0.4f, -0.7f, 2.0f};
    const sim::Vec3 same = turn.back(turn(v));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NEAR(same[i], v[i], 1e-6);
}

// The floor 3 m below, along each ray of the crooked camera.
TEST(Tilt, FloorLeans) {
    const sim::Turn turn({8.0, -6.0});
    const sim::Camera camera;
    const Frame frame = first_frame(fixed_scene({}, 3.0), {8.0, -6.0});
    int checked = 0;
    for (int y = 4; y < kDepthHeight; y += 9) {
        for (int x = 4; x < kDepthWidth; x += 11) {
            const int mm = frame.raw_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
            if (mm == 0) continue;
            const float z = static_cast<float>(mm) / 1000.0f;
            const double u = 2.0 * x;
            const double v = std::floor(2.125 * y + 0.5);
            const sim::Vec3 level =
                turn.back({static_cast<float>((u - sim::kCentreU) / camera.focal_px) * z,
                           static_cast<float>((v - sim::kCentreV) / camera.focal_px) * z, z});
            // It also leans by up to 0.2 degrees of its own, and noise grows with distance.
            EXPECT_NEAR(level[2], 3.0, 0.02 + 0.004 * z * z) << x << ", " << y;
            ++checked;
        }
    }
    EXPECT_GT(checked, 1000);
}

TEST(Tilt, TruthIsThatOfALevelCamera) {
    Simulator level = sim::make_scene("entrance", 2);
    Simulator crooked = sim::make_scene("entrance", 2);
    crooked.tilt({12.0, 9.0});
    int unseen = 0;
    for (int i = 0; i < 300; ++i) {
        Frame a;
        Frame b;
        ASSERT_TRUE(level.next_truth(a));
        ASSERT_TRUE(crooked.next_truth(b));
        ASSERT_EQ(a.truth.size(), b.truth.size());
        for (std::size_t k = 0; k < a.truth.size(); ++k) {
            EXPECT_EQ(a.truth[k].id, b.truth[k].id);
            EXPECT_EQ(a.truth[k].head_u, b.truth[k].head_u);
            EXPECT_EQ(a.truth[k].box.x, b.truth[k].box.x);
            if (b.truth[k].in_view) {
                EXPECT_TRUE(a.truth[k].in_view);
            }
            unseen += a.truth[k].in_view && !b.truth[k].in_view ? 1 : 0;
        }
    }
    EXPECT_GT(unseen, 100);
}

// Head tops and shoulders are where the turned pixel says, at their distance along its axis.
TEST(Tilt, PeopleAreDrawnWhereTheyAre) {
    int measured = 0;
    for (const Tilt& tilt :
         {Tilt{10.0, 0.0}, Tilt{0.0, 10.0}, Tilt{-7.0, 7.0}, Tilt{20.0, -15.0}}) {
        const sim::Turn turn(tilt);
        for (const double x : {-0.8, 0.0, 0.6}) {
            for (const double y : {-0.3, 0.2}) {
                const Frame frame = first_frame(fixed_scene({standing(1, x, y, 1.7)}, 3.2), tilt);
                const sim::PersonTruth& t = frame.truth.at(0);
                const auto at = turn.pixel(sim::Camera{3.2}, {t.head_u, t.head_v});
                ASSERT_TRUE(at.has_value());
                if (!sim::in_image(*at)) {
                    EXPECT_FALSE(t.in_view);
                    continue;
                }
                EXPECT_TRUE(t.in_view);
                EXPECT_DOUBLE_EQ(t.visible, 1.0);
                const int mm = raw_at(frame, *at);
                if (mm == 0) continue;
                const double z =
                    turn({static_cast<float>(x), static_cast<float>(y), 1.5f})[2] * 1000.0;
                EXPECT_NEAR(mm, z, 20.0) << tilt.roll_deg << ", " << tilt.pitch_deg;
                ++measured;
            }
        }
    }
    EXPECT_GE(measured, 16);
}

// Every surface of a busy scene, trolleys and bags among them, seen from the side: what the level
// camera measures lies where the crooked one measures it too.
TEST(Tilt, WholePeopleAreTurned) {
    Simulator level = sim::make_scene("shop", 4);
    Simulator crooked = sim::make_scene("shop", 4);
    crooked.tilt({5.0, -4.0});
    const sim::Turn turn({5.0, -4.0});
    const sim::Camera camera = level.info().camera;
    Frame a;
    Frame b;
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(level.next_truth(a));
        ASSERT_TRUE(crooked.next_truth(b));
    }
    ASSERT_TRUE(level.next(a));
    ASSERT_TRUE(crooked.next(b));
    int standing_px = 0;
    int same = 0;
    for (int y = 0; y < kDepthHeight; ++y) {
        for (int x = 0; x < kDepthWidth; ++x) {
            const int mm = a.raw_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
            if (mm == 0 || mm > 3600) continue;
            const Pixel p{2.0 * x, std::floor(2.125 * y + 0.5)};
            const auto at = turn.pixel(camera, p);
            if (!at || !sim::in_image(*at)) continue;
            const int seen = raw_at(b, *at);
            if (seen == 0) continue;
            const float z = static_cast<float>(mm) / 1000.0f;
            const double turned_mm =
                1000.0 *
                turn({static_cast<float>((p.u - sim::kCentreU) / camera.focal_px) * z,
                      static_cast<float>((p.v - sim::kCentreV) / camera.focal_px) * z, z})[2];
            ++standing_px;
            same += std::abs(turned_mm - seen) < 60.0 ? 1 : 0;
        }
    }
    EXPECT_GT(standing_px, 3000);
    EXPECT_GT(same, standing_px * 95 / 100);  // the rest is at edges
}

TEST(Tilt, TwentyDegreesAreTheMost) {
    Simulator simulator = sim::make_scene("doorway", 1);
    EXPECT_NO_THROW(simulator.tilt({-20.0, 20.0}));
    EXPECT_THROW(simulator.tilt({20.1, 0.0}), std::invalid_argument);
    EXPECT_THROW(simulator.tilt({0.0, std::nan("")}), std::invalid_argument);
}

}  // namespace
