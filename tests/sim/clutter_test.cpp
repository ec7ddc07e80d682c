// The scene "clutter": things that are drawn but are nobody, and somebody who only waits; and other
// frame rates.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <stdexcept>
#include <string>

#include "sim/crossings.h"
#include "sim/simulator.h"

namespace {

using sim::Frame;
using sim::PersonTruth;
using sim::Simulator;

// Pixels of the first `seconds` that are nearer than the floor by half a metre while nobody's head
// is in view. Legs may be, but not in the middle rows.
int pixels_of_things(const std::string& kind, double seconds) {
    sim::CaptureOptions capture;
    capture.fps = 2.0;
    Simulator simulator = sim::make_clutter({kind}, 4, {}, capture);
    simulator.leave_out_colours();
    Frame frame;
    int pixels = 0;
    while (frame.time_s < seconds && simulator.next(frame)) {
        if (!frame.truth.empty()) continue;
        for (std::size_t i = 90 * sim::kDepthWidth; i < 166 * sim::kDepthWidth; ++i)
            pixels += frame.raw_mm[i] > 0 && frame.raw_mm[i] < 3300 ? 1 : 0;
    }
    return pixels;
}

TEST(Clutter, ThingsAreSeenButAreNobody) {
    for (const char* kind : {"chairs", "dogs", "doors"})
        EXPECT_GT(pixels_of_things(kind, 40.0), 2000) << kind;
    for (const char* kind : {"trolleys", "sun"})
        EXPECT_LT(pixels_of_things(kind, 40.0), 300) << kind;
}

TEST(Clutter, SunTakesTheDepthOfTheFloor) {
    Simulator with = sim::make_clutter({"sun"}, 4);
    Simulator without = sim::make_clutter({"dogs"}, 4);
    Frame sunny;
    Frame dull;
    ASSERT_TRUE(with.next(sunny));
    ASSERT_TRUE(without.next(dull));
    const std::size_t middle = sim::kDepthWidth * (sim::kDepthHeight / 2) + sim::kDepthWidth / 2;
    int lost = 0;
    for (std::size_t i = middle - 20; i < middle + 20; ++i)
        lost += sunny.raw_mm[i] == 0 ? 1 : 0;
    EXPECT_GT(lost, 12);
    const std::size_t at = sim::kColourWidth * (sim::kColourHeight / 2) + sim::kColourWidth / 2;
    EXPECT_GT(sunny.nv12[at], dull.nv12[at] + 50);
}

TEST(Clutter, SomebodyStandsForTenMinutesOffTheLine) {
    sim::CaptureOptions capture;
    capture.fps = 5.0;
    Simulator simulator = sim::make_clutter({"standing"}, 4, 700.0, capture);
    Frame frame;
    double stood_s = 0.0;
    std::set<int> others;
    while (simulator.next_truth(frame)) {
        for (const PersonTruth& t : frame.truth) {
            if (t.id != 1) others.insert(t.id);
            if (t.id != 1 || std::abs(t.y_m) > 1.0) continue;
            EXPECT_GT(std::abs(t.y_m), 0.55);
            stood_s += 0.2;
        }
    }
    EXPECT_GT(stood_s, 595.0);
    EXPECT_GT(others.size(), 60u);
}

TEST(Clutter, PeopleCrossTheLine) {
    for (const std::string& kind : sim::clutter_names()) {
        Simulator simulator = sim::make_clutter({kind}, 2);
        sim::CrossingCounter counter(simulator.info().lines);
        Frame frame;
        std::size_t crossings = 0;
        while (simulator.next_truth(frame))
            crossings += counter.update(frame).size();
        EXPECT_GT(crossings, 5u) << kind;
    }
    EXPECT_THROW(sim::make_clutter({"elephants"}), std::invalid_argument);
}

TEST(FrameRate, DoesNotChangeWhereSomebodyIs) {
    sim::CaptureOptions capture;
    Simulator own = sim::make_scene("groups", 3);
    capture.fps = 30.0;
    Simulator fast = sim::make_scene("groups", 3, {}, capture);
    EXPECT_EQ(fast.info().fps, 30.0);
    Frame a;
    Frame b;
    while (own.next_truth(a)) {
        ASSERT_TRUE(fast.next_truth(b));
        ASSERT_EQ(a.truth.size(), b.truth.size());
        for (std::size_t i = 0; i < a.truth.size(); ++i)
            ASSERT_EQ(a.truth[i].x_m, b.truth[i].x_m) << a.index;
        fast.next_truth(b);
    }
}

}  // namespace
