// A scene lasts as long as asked, and its beginning does not depend on its length.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

#include "sim/simulator.h"
#include "sim/walkers.h"
#include "tests/sim/frame_hash.h"

namespace {

using sim::Frame;
using sim::PersonTruth;
using sim::Simulator;

constexpr double kEndless_s = std::numeric_limits<double>::infinity();

using MakeScene = std::function<Simulator(std::optional<double> seconds)>;

// A scene, or a camera's view of a site, of any length.
struct Scene {
    std::string name;
    MakeScene make;
    double clearing_s;  // without arrivals before the end
};

std::vector<Scene> all_scenes() {
    std::vector<Scene> scenes;
    for (const std::string& name : sim::scene_names()) {
        scenes.push_back(
            {name, [name](auto seconds) { return sim::make_scene(name, 1, seconds); }, 10.0});
    }
    for (const std::string& name : sim::site_names()) {
        const sim::CameraPlace place{4.5, 1.0, 0.5, 30.0};
        scenes.push_back(
            {name, [=](auto seconds) { return sim::make_site_view(name, 1, place, seconds); },
             20.0});
    }
    return scenes;
}

void PrintTo(const Scene& scene, std::ostream* out) {
    *out << scene.name;
}

class Length : public testing::TestWithParam<Scene> {
  protected:
    static Simulator scene(std::optional<double> seconds) { return GetParam().make(seconds); }
};

void expect_same_truth(const Frame& a, const Frame& b) {
    ASSERT_EQ(a.index, b.index);
    ASSERT_EQ(a.time_s, b.time_s);
    ASSERT_EQ(a.truth.size(), b.truth.size());
    for (std::size_t i = 0; i < a.truth.size(); ++i) {
        ASSERT_EQ(a.truth[i].id, b.truth[i].id);
        ASSERT_EQ(a.truth[i].x_m, b.truth[i].x_m);
        ASSERT_EQ(a.truth[i].y_m, b.truth[i].y_m);
        ASSERT_EQ(a.truth[i].height_mm, b.truth[i].height_mm);
    }
}

TEST_P(Length, IsWhatWasAsked) {
    for (const double seconds : {12.4, 130.0}) {
        Simulator simulator = scene(seconds);
        EXPECT_EQ(simulator.info().duration_s, seconds);
        std::int64_t frames = 0;
        Frame frame;
        while (simulator.next_truth(frame))
            ++frames;
        EXPECT_EQ(frames, std::llround(seconds * simulator.info().fps));
        EXPECT_LT(frame.time_s, seconds);
    }
}

TEST_P(Length, ALongerSceneBeginsLikeTheSceneAndGoesOn) {
    Simulator own = scene({});
    const double own_s = own.info().duration_s;
    const double arrivals_end_s = own_s - GetParam().clearing_s;
    Simulator longer = scene(own_s + 60.0);
    Frame a;
    Frame b;
    while (b.time_s < arrivals_end_s - 1.0) {
        ASSERT_TRUE(own.next_truth(a));
        ASSERT_TRUE(longer.next_truth(b));
        expect_same_truth(a, b);
    }
    ASSERT_TRUE(own.next(a));
    ASSERT_TRUE(longer.next(b));
    EXPECT_EQ(sim_test::hash_of(a), sim_test::hash_of(b));

    int last = 0;  // ids grow in the order of arrival
    while (own.next_truth(a)) {
        for (const PersonTruth& t : a.truth)
            last = std::max(last, t.id);
    }
    int newcomers = 0;
    double newest_s = 0.0;
    while (longer.next_truth(b)) {
        for (const PersonTruth& t : b.truth) {
            if (t.id <= last) continue;
            last = t.id;
            newest_s = b.time_s;
            ++newcomers;
        }
    }
    EXPECT_GE(newcomers, 12);
    EXPECT_GT(newest_s, arrivals_end_s + 40.0);  // one of the last minute comes late
    EXPECT_LT(newest_s, own_s + 60.0);
}

// People arrive in it as if it went on.
TEST_P(Length, AShorterSceneIsItsBeginning) {
    Simulator own = scene({});
    Simulator shorter = scene(own.info().duration_s - 20.0);
    Frame a;
    Frame b;
    while (shorter.next_truth(b)) {
        ASSERT_TRUE(own.next_truth(a));
        expect_same_truth(a, b);
    }
    EXPECT_TRUE(own.next_truth(a));
}

TEST_P(Length, ThatCannotBeIsRefused) {
    for (const double seconds : {0.0, -1.0, std::nan(""), -kEndless_s}) {
        try {
            scene(seconds);
            ADD_FAILURE() << seconds;
        } catch (const std::invalid_argument& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr("must be above 0"));
        }
    }
}

TEST(EndlessScene, GoesOn) {
    Simulator simulator = sim::make_scene("entrance", 1, kEndless_s);
    Frame frame;
    for (int i = 0; i < 6000; ++i)
        ASSERT_TRUE(simulator.next_truth(frame));
    ASSERT_FALSE(frame.truth.empty());
    EXPECT_GT(frame.truth.back().id, 300);  // one a second
}

INSTANTIATE_TEST_SUITE_P(All, Length, testing::ValuesIn(all_scenes()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
