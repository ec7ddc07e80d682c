// What the simulated depth sensors do to distances: the same bytes every time, and errors of the
// kind and size that such sensors have.
#include <gtest/gtest.h>

#include <algorithm>
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
using sim::Noise;
using sim::Pose;
using sim::Simulator;
using sim_test::standing;

using Values = std::vector<double>;

Simulator seen_by(Noise noise, std::vector<Pose> people, double camera_m) {
    sim::SceneInfo info;
    info.camera.height_m = camera_m;
    info.noise = noise;
    info.duration_s = 100.0;
    Simulator simulator(info, std::make_unique<sim_test::FixedWorld>(std::move(people)), 5);
    simulator.leave_out_colours();
    return simulator;
}

Frame picture_of(Noise noise, const std::vector<Pose>& people, double camera_m) {
    Simulator simulator = seen_by(noise, people, camera_m);
    Frame frame;
    EXPECT_TRUE(simulator.next(frame));
    return frame;
}

int mm_at(const Frame& frame, int x, int y) {
    return frame.raw_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
}

// Values of a square about a depth pixel, without the missing ones.
Values values_about(const Frame& frame, int x, int y, int half) {
    Values values;
    for (int v = std::max(y - half, 0); v <= std::min(y + half, kDepthHeight - 1); ++v) {
        for (int u = std::max(x - half, 0); u <= std::min(x + half, kDepthWidth - 1); ++u)
            if (mm_at(frame, u, v) != 0) values.push_back(mm_at(frame, u, v));
    }
    return values;
}

double mean(const Values& values) {
    double sum = 0.0;
    for (const double value : values)
        sum += value;
    return sum / static_cast<double>(values.size());
}

double deviation(const Values& values) {
    const double middle = mean(values);
    double sum = 0.0;
    for (const double value : values)
        sum += (value - middle) * (value - middle);
    return std::sqrt(sum / static_cast<double>(values.size()));
}

double missing_share(const Frame& frame) {
    const auto missing = std::count(frame.raw_mm.begin(), frame.raw_mm.end(), 0);
    return static_cast<double>(missing) / static_cast<double>(frame.raw_mm.size());
}

// Share of pixels that are both missing or both measured.
double agreement(const Frame& a, const Frame& b, int shift_px) {
    int same = 0;
    int all = 0;
    for (int y = 0; y < kDepthHeight; ++y) {
        for (int x = shift_px; x < kDepthWidth; ++x, ++all)
            same += (mm_at(a, x, y) == 0) == (mm_at(b, x - shift_px, y) == 0) ? 1 : 0;
    }
    return static_cast<double>(same) / all;
}

std::uint64_t hash_of_scene(Noise noise) {
    sim::CaptureOptions capture;
    capture.noise = noise;
    Simulator simulator = sim::make_scene("clutter", 3, {}, capture);
    simulator.leave_out_colours();
    Frame frame;
    for (int i = 0; i < 300; ++i)
        EXPECT_TRUE(simulator.next_truth(frame));
    EXPECT_TRUE(simulator.next(frame));
    return sim_test::hash_of(frame);
}

// The same in debug and optimised builds, with every compiler and on every processor.
TEST(Sensors, HaveTheirKnownBytes) {
    EXPECT_EQ(hash_of_scene(Noise::kPlain), 0x475AA5EAA8166F89ULL);
    EXPECT_EQ(hash_of_scene(Noise::kTimeOfFlight), 0x252F4A7BF9BAF95BULL);
    EXPECT_EQ(hash_of_scene(Noise::kStereo), 0x43F7408BB845CE7DULL);
}

TEST(Sensors, AreKnownByName) {
    for (const std::string& name : sim::noise_names())
        EXPECT_EQ(sim::noise_names()[static_cast<std::size_t>(sim::noise_from(name))], name);
    EXPECT_THROW(sim::noise_from("radar"), std::invalid_argument);
}

TEST(TimeOfFlight, NoiseGrowsAsTheLightFades) {
    const double near_mm = deviation(
        values_about(picture_of(Noise::kTimeOfFlight, {}, 2.5), kDepthWidth / 2, 128, 20));
    const double far_mm = deviation(
        values_about(picture_of(Noise::kTimeOfFlight, {}, 6.0), kDepthWidth / 2, 128, 20));
    EXPECT_NEAR(near_mm, 4.5, 1.5);
    EXPECT_NEAR(far_mm, 15.0, 4.0);
}

double share_seen_of_head(const sim::Rgb& hair, double camera_m) {
    Pose person = standing(1, 0.0, 0.0, 1.7);
    person.look.hair = hair;
    person.look.bald = false;
    const Frame frame = picture_of(Noise::kTimeOfFlight, {person}, camera_m);
    const int half = static_cast<int>(0.06 * 257.0 / (camera_m - 1.7));
    return static_cast<double>(values_about(frame, kDepthWidth / 2, 128, half).size()) /
           ((2 * half + 1) * (2 * half + 1));
}

TEST(TimeOfFlight, DarkHairGivesTooLittleLightBackFromFarAway) {
    const sim::Rgb dark{24, 20, 18};
    EXPECT_GT(share_seen_of_head({180, 150, 100}, 5.0), 0.95);
    EXPECT_GT(share_seen_of_head(dark, 3.0), 0.9);
    EXPECT_LT(share_seen_of_head(dark, 5.0), 0.25);
}

TEST(TimeOfFlight, EdgesLieBetweenBothSides) {
    const Frame frame = picture_of(Noise::kTimeOfFlight, {standing(1, 0.9, 0.0, 1.8)}, 3.5);
    const Frame plain = picture_of(Noise::kPlain, {standing(1, 0.9, 0.0, 1.8)}, 3.5);
    int flying = 0;
    int lost = 0;
    for (int y = 1; y < kDepthHeight - 1; ++y) {
        for (int x = 1; x < kDepthWidth - 1; ++x) {
            const int low = std::min(mm_at(frame, x - 1, y), mm_at(frame, x + 1, y));
            const int high = std::max(mm_at(frame, x - 1, y), mm_at(frame, x + 1, y));
            if (low == 0 || high - low < 600) continue;
            const int mm = mm_at(frame, x, y);
            flying += mm > low + 150 && mm < high - 150 ? 1 : 0;
            lost += mm_at(plain, x, y) == 0 ? 1 : 0;
        }
    }
    EXPECT_GT(flying, 25);
    EXPECT_GT(lost, 25);
}

TEST(TimeOfFlight, FloorBesideSomebodySeemsDeeper) {
    constexpr int kBeside_px = 60;  // 0.7 m from the middle of the person
    const Values alone = values_about(picture_of(Noise::kTimeOfFlight, {}, 3.0),
                                      kDepthWidth / 2 + kBeside_px, 128, 4);
    const Values beside =
        values_about(picture_of(Noise::kTimeOfFlight, {standing(1, 0.0, 0.0, 1.8)}, 3.0),
                     kDepthWidth / 2 + kBeside_px, 128, 4);
    EXPECT_GT(mean(beside) - mean(alone), 4.0);
    EXPECT_LT(mean(beside) - mean(alone), 45.0);
}

TEST(TimeOfFlight, DistancesStartAgainBeyondTheRange) {
    const Frame frame = picture_of(Noise::kTimeOfFlight, {}, 6.9);
    EXPECT_NEAR(mean(values_about(frame, kDepthWidth / 2, 128, 10)), 6900.0, 60.0);
    EXPECT_GT(missing_share(frame), 0.4);
    int wrapped = 0;
    for (const std::uint16_t mm : frame.raw_mm) {
        EXPECT_LE(mm, 7600);
        wrapped += mm > 0 && mm < 1500 ? 1 : 0;
    }
    EXPECT_GT(wrapped, 100);
}

TEST(Stereo, HalfOfAPlainFloorIsMissingInPatchesThatStay) {
    Simulator simulator = seen_by(Noise::kStereo, {}, 3.5);
    Frame first;
    Frame next;
    ASSERT_TRUE(simulator.next(first));
    ASSERT_TRUE(simulator.next(next));
    EXPECT_NEAR(missing_share(first), 0.5, 0.05);
    EXPECT_GT(agreement(first, first, 1), 0.85);
    EXPECT_LT(agreement(first, first, 30), 0.65);
    EXPECT_GT(agreement(first, next, 0), 0.85);
    while (next.time_s < 20.0)
        ASSERT_TRUE(simulator.next_truth(next));
    ASSERT_TRUE(simulator.next(next));
    EXPECT_LT(agreement(first, next, 0), 0.65);
}

TEST(Stereo, NoiseGrowsWithTheSquareOfTheDistance) {
    const double near_mm =
        deviation(values_about(picture_of(Noise::kStereo, {}, 3.0), kDepthWidth / 2, 128, 60));
    const double far_mm =
        deviation(values_about(picture_of(Noise::kStereo, {}, 6.0), kDepthWidth / 2, 128, 60));
    // z^2 sigma_d / (f b) is 21 mm at 3 m.
    EXPECT_NEAR(near_mm, 21.0, 6.0);
    EXPECT_NEAR(far_mm / near_mm, 4.0, 0.6);
}

TEST(Stereo, DisparitiesComeInSteps) {
    const Frame frame = picture_of(Noise::kStereo, {}, 5.0);
    std::vector<int> seen;
    for (const std::uint16_t mm : frame.raw_mm)
        if (mm != 0) seen.push_back(mm);
    std::sort(seen.begin(), seen.end());
    seen.erase(std::unique(seen.begin(), seen.end()), seen.end());
    EXPECT_LT(seen.size(), 120u);  // of some 300 different millimetres within three deviations
}

// Width in depth pixels of what stands out of the floor in a row, and the missing pixels to the
// left and right of it.
struct Profile {
    int width = 0;
    int lost_left = 0;
    int lost_right = 0;
};

Profile profile_of(Noise noise) {
    Profile sum;
    Simulator simulator = seen_by(noise, {standing(1, 0.0, 0.0, 1.8)}, 3.0);
    Frame frame;
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(simulator.next(frame));
        int first = kDepthWidth;
        int last = 0;
        for (int x = 0; x < kDepthWidth; ++x) {
            if (mm_at(frame, x, 128) == 0 || mm_at(frame, x, 128) > 2200) continue;
            first = std::min(first, x);
            last = std::max(last, x);
        }
        sum.width += last - first;
        for (int d = 1; d <= 3; ++d) {
            sum.lost_left += mm_at(frame, first - d, 128) == 0 ? 1 : 0;
            sum.lost_right += mm_at(frame, last + d, 128) == 0 ? 1 : 0;
        }
        for (int skip = 0; skip < 70; ++skip)
            EXPECT_TRUE(simulator.next_truth(frame));
    }
    return sum;
}

TEST(Stereo, WhatIsNearWidensAndHidesTheFloorOnOneSide) {
    const Profile stereo = profile_of(Noise::kStereo);
    const Profile plain = profile_of(Noise::kPlain);
    EXPECT_GT(stereo.width - plain.width, 20 * 2);
    EXPECT_LT(stereo.width - plain.width, 20 * 7);
    EXPECT_GT(stereo.lost_left, 45);  // of 60
    EXPECT_LT(stereo.lost_right, 40);
}

}  // namespace
