// What each built-in scene shows stays what it was; its regions are where people are seen.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>

#include "sim/crossings.h"
#include "sim/simulator.h"
#include "tests/sim/frame_hash.h"

namespace {

using sim::Frame;
using sim::PersonTruth;
using sim::Simulator;

// The images after 40 s, with people in view in every scene.
TEST(SceneBytes, AreTheKnownOnes) {
    const std::map<std::string, std::uint64_t> known = {
        {"doorway", 0xE944CB009FC9304BULL}, {"entrance", 0xB53633DB48034B36ULL},
        {"uturn", 0x83C82168EE9CFD6DULL},   {"groups", 0xDE4FEBF53E1FA4EBULL},
        {"shop", 0x4C51BDE14D134BA9ULL},    {"crowd", 0x8EB1B21ECD3AE347ULL},
        {"gallery", 0x16C14668AC3AE0F5ULL}, {"clutter", 0x7B36D4C2B0140245ULL}};
    for (const std::string& name : sim::scene_names()) {
        Simulator simulator = sim::make_scene(name, 7);
        Frame frame;
        for (int i = 0; i < 600; ++i)
            ASSERT_TRUE(simulator.next_truth(frame));
        ASSERT_TRUE(simulator.next(frame));
        EXPECT_FALSE(frame.truth.empty()) << name;
        ASSERT_TRUE(known.contains(name)) << name;
        EXPECT_EQ(sim_test::hash_of(frame), known.at(name)) << name;
    }
}

double area_of(const std::vector<sim::Point>& polygon) {
    double twice = 0.0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const sim::Point& a = polygon[i];
        const sim::Point& b = polygon[(i + 1) % polygon.size()];
        twice += a.x_m * b.y_m - b.x_m * a.y_m;
    }
    return 0.5 * std::abs(twice);
}

class Regions : public testing::TestWithParam<std::string> {};

TEST_P(Regions, AreWhereHeadsAreInView) {
    const sim::SceneInfo info = sim::scene_info(GetParam());
    ASSERT_GE(info.regions.size(), 1u);
    ASSERT_LE(info.regions.size(), 3u);
    std::set<std::string> names;
    for (const sim::CountingRegion& region : info.regions) {
        EXPECT_TRUE(names.insert(region.name).second) << region.name;
        ASSERT_GE(region.points.size(), 3u);
        EXPECT_GT(area_of(region.points), 0.5) << region.name;
        for (const sim::Point& p : region.points) {
            EXPECT_TRUE(sim::in_image(info.camera.project(p.x_m, p.y_m, 1.7))) << region.name;
        }
    }
}

TEST_P(Regions, AreVisited) {
    Simulator simulator = sim::make_scene(GetParam(), 1);
    const auto& regions = simulator.info().regions;
    std::vector<std::set<int>> visitors(regions.size());
    Frame frame;
    while (simulator.next_truth(frame)) {
        for (const PersonTruth& t : frame.truth) {
            for (std::size_t i = 0; i < regions.size(); ++i) {
                if (sim::inside_polygon(regions[i].points, {t.x_m, t.y_m})) {
                    visitors[i].insert(t.id);
                }
            }
        }
    }
    for (std::size_t i = 0; i < regions.size(); ++i)
        EXPECT_GE(visitors[i].size(), 4u) << regions[i].name;
}

INSTANTIATE_TEST_SUITE_P(All, Regions, testing::ValuesIn(sim::scene_names()),
                         [](const auto& test) { return test.param; });

// Longest time that each person keeps within 0.3 m of one place, while in a region.
struct GalleryRun {
    std::set<int> people, staff, turned_back;
    std::map<int, double> stay_s;
    std::size_t most_at_once = 0;
};

GalleryRun watch_gallery(std::uint64_t seed) {
    constexpr double kSpot_m = 0.3;
    Simulator simulator = sim::make_scene("gallery", seed);
    const auto& regions = simulator.info().regions;
    struct Way {
        double first_x = 0.0, last_x = 0.0;
        sim::Point spot;
        double since_s = 0.0;
    };
    std::map<int, Way> ways;
    GalleryRun run;
    Frame frame;
    while (simulator.next_truth(frame)) {
        run.most_at_once = std::max(run.most_at_once, frame.truth.size());
        for (const PersonTruth& t : frame.truth) {
            if (!t.in_view) continue;
            run.people.insert(t.id);
            if (t.staff) run.staff.insert(t.id);
            const sim::Point at{t.x_m, t.y_m};
            const auto [entry, fresh] = ways.try_emplace(t.id, Way{t.x_m, 0.0, at, frame.time_s});
            Way& way = entry->second;
            way.last_x = t.x_m;
            const double moved = std::hypot(at.x_m - way.spot.x_m, at.y_m - way.spot.y_m);
            const bool watching = std::any_of(
                regions.begin(), regions.end(),
                [&](const auto& region) { return sim::inside_polygon(region.points, at); });
            if (moved > kSpot_m || !watching) {
                way.spot = at;
                way.since_s = frame.time_s;
            }
            run.stay_s[t.id] = std::max(run.stay_s[t.id], frame.time_s - way.since_s);
        }
    }
    for (const auto& [id, way] : ways) {
        if (std::abs(way.last_x) > 1.8 && way.first_x * way.last_x > 0.0) {
            run.turned_back.insert(id);
        }
    }
    return run;
}

TEST(Gallery, VisitorsAndStaffStandAtTheExhibits) {
    std::size_t people = 0;
    std::size_t staff = 0;
    std::size_t staff_who_stay = 0;
    std::size_t turned_back = 0;
    for (const std::uint64_t seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
        const GalleryRun run = watch_gallery(seed);
        EXPECT_GE(run.people.size(), 18u);
        EXPECT_LE(run.most_at_once, 6u);
        int stays = 0;
        for (const auto& [id, seconds] : run.stay_s) {
            EXPECT_LT(seconds, 30.0) << "person " << id << " stays for good, seed " << seed;
            if (seconds < 3.0) continue;
            ++stays;
            staff_who_stay += run.staff.contains(id) ? 1 : 0;
        }
        EXPECT_GE(stays, 8) << "seed " << seed;
        EXPECT_GE(run.staff.size(), 1u);
        people += run.people.size();
        staff += run.staff.size();
        turned_back += run.turned_back.size();
    }
    // A quarter of some 170; 4 standard deviations are 0.13.
    EXPECT_NEAR(static_cast<double>(staff) / static_cast<double>(people), 0.25, 0.13);
    EXPECT_GE(staff_who_stay, 6u);
    EXPECT_GE(turned_back, 6u);
}

TEST(Gallery, WhoLooksFacesTheWall) {
    Simulator simulator = sim::make_scene("gallery", 2);
    Frame frame;
    std::map<int, sim::Point> before;
    int standing = 0;
    int facing = 0;
    while (simulator.next_truth(frame)) {
        for (const PersonTruth& t : frame.truth) {
            const auto last = before.find(t.id);
            const bool still = last != before.end() && std::hypot(t.x_m - last->second.x_m,
                                                                  t.y_m - last->second.y_m) < 2e-3;
            before[t.id] = {t.x_m, t.y_m};
            if (!still || std::abs(t.x_m) > 1.0 || std::abs(t.y_m) < 0.5) continue;
            ++standing;
            // Shoulders across the view: wider along x than along y.
            facing += t.box.w > t.box.h ? 1 : 0;
        }
    }
    EXPECT_GT(standing, 300);
    EXPECT_GT(facing, standing * 7 / 10);
}

}  // namespace
