// One site under several cameras: the same people for all, each camera with its own view.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>

#include "sim/crossings.h"
#include "sim/simulator.h"
#include "tests/sim/fixed_world.h"
#include "tests/sim/frame_hash.h"

namespace {

using sim::CameraPlace;
using sim::Frame;
using sim::PersonTruth;
using sim::Point;
using sim::Simulator;

const CameraPlace kPlaces[] = {
    {4.5, -3.0, 0.0, 0.0}, {4.0, 0.0, 1.0, 90.0}, {5.0, 2.0, -0.5, 180.0}, {4.2, 5.5, 2.0, -37.5}};

TEST(Site, PlaceAndCameraCoordinatesAreEachOthersInverse) {
    for (const CameraPlace& place : kPlaces) {
        for (const Point& p : {Point{0.0, 0.0}, Point{-8.5, 3.0}, Point{2.25, -3.75}}) {
            const Point seen = sim::to_camera(place, p);
            const Point back = sim::to_site(place, seen);
            EXPECT_NEAR(back.x_m, p.x_m, 1e-7);
            EXPECT_NEAR(back.y_m, p.y_m, 1e-7);
            EXPECT_NEAR(std::hypot(seen.x_m, seen.y_m),
                        std::hypot(p.x_m - place.x_m, p.y_m - place.y_m), 1e-7);
        }
    }
}

// Turned by 90 degrees, the image's x axis runs along the site's y axis.
TEST(Site, TheTurnGoesFromXTowardsY) {
    const CameraPlace place{4.0, 1.0, 2.0, 90.0};
    const Point seen = sim::to_camera(place, {1.0, 3.0});
    EXPECT_NEAR(seen.x_m, 1.0, 1e-7);
    EXPECT_NEAR(seen.y_m, 0.0, 1e-7);
}

TEST(Site, EveryCameraHasTheSamePeople) {
    std::vector<Simulator> views;
    for (const CameraPlace& place : kPlaces)
        views.push_back(sim::make_site_view("hall", 3, place));
    std::vector<Frame> frames(views.size());
    int in_view = 0;
    int out_of_view = 0;
    while (views[0].next_truth(frames[0])) {
        for (std::size_t v = 1; v < views.size(); ++v) {
            ASSERT_TRUE(views[v].next_truth(frames[v]));
            ASSERT_EQ(frames[v].truth.size(), frames[0].truth.size());
        }
        for (std::size_t v = 0; v < views.size(); ++v) {
            for (std::size_t i = 0; i < frames[v].truth.size(); ++i) {
                const PersonTruth& a = frames[0].truth[i];
                const PersonTruth& b = frames[v].truth[i];
                ASSERT_EQ(b.id, a.id);
                ASSERT_EQ(b.site.x_m, a.site.x_m);
                ASSERT_EQ(b.site.y_m, a.site.y_m);
                ASSERT_EQ(b.height_mm, a.height_mm);
                ASSERT_EQ(b.staff, a.staff);
                const Point seen = sim::to_camera(kPlaces[v], b.site);
                ASSERT_EQ(seen.x_m, b.x_m);
                ASSERT_EQ(seen.y_m, b.y_m);
                (b.in_view ? in_view : out_of_view) += 1;
            }
        }
    }
    EXPECT_GT(in_view, 2000);
    EXPECT_GT(out_of_view, 2000);
}

TEST(Site, OtherSeedOtherPeople) {
    Simulator a = sim::make_site_view("hall", 1, kPlaces[0]);
    Simulator b = sim::make_site_view("hall", 2, kPlaces[0]);
    Frame fa;
    Frame fb;
    ASSERT_TRUE(a.next_truth(fa));
    ASSERT_TRUE(b.next_truth(fb));
    ASSERT_FALSE(fa.truth.empty());
    ASSERT_FALSE(fb.truth.empty());
    EXPECT_NE(fa.truth[0].site.x_m, fb.truth[0].site.x_m);
}

std::uint64_t hash_of_view(std::uint64_t seed, const CameraPlace& place) {
    Simulator view = sim::make_site_view("hall", seed, place);
    Frame frame;
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(view.next_truth(frame));
    EXPECT_TRUE(view.next(frame));
    return sim_test::hash_of(frame);
}

TEST(Site, SameSeedAndPlaceSameBytes) {
    EXPECT_EQ(hash_of_view(1, kPlaces[3]), hash_of_view(1, kPlaces[3]));
    EXPECT_NE(hash_of_view(1, kPlaces[3]), hash_of_view(2, kPlaces[3]));
    EXPECT_NE(hash_of_view(1, kPlaces[3]), hash_of_view(1, kPlaces[2]));
}

// What is drawn is where the truth says, however the camera is turned.
TEST(Site, HeadsAreSeenWhereTheyAre) {
    for (const CameraPlace& place : kPlaces) {
        Simulator view = sim::make_site_view("hall", 1, place);
        Frame frame;
        int right = 0;
        int all = 0;
        for (int i = 0; i < 20; ++i) {
            for (int k = 0; k < 30; ++k)
                ASSERT_TRUE(view.next_truth(frame));
            ASSERT_TRUE(view.next(frame));
            for (const PersonTruth& t : frame.truth) {
                EXPECT_TRUE(t.box.w > 0 || !t.in_view);
                if (!t.in_view || t.visible < 0.9) continue;
                const auto x = std::min(static_cast<std::size_t>(t.head_u / 2.0), std::size_t{479});
                const auto y =
                    std::min(static_cast<std::size_t>(t.head_v * 256.0 / 544.0), std::size_t{255});
                const int mm = frame.raw_mm[y * 480 + x];
                if (mm == 0) continue;
                ++all;
                right += std::abs(mm - (1000.0 * place.height_m - t.height_mm)) < 40.0 ? 1 : 0;
            }
        }
        EXPECT_GE(all, 15);
        // The head top of a person near the picture's edge is seen from the side.
        EXPECT_GE(right, all * 8 / 10);
    }
}

// From a camera turned by 90 degrees, who faces along the site's x axis faces up the picture.
TEST(Site, BodiesTurnWithTheCamera) {
    sim::Pose pose = sim_test::standing(1, 1.0, 2.0, 1.7);
    pose.dir_x = 1.0;
    pose.dir_y = 0.0;
    sim::SceneInfo info;
    info.camera.height_m = 4.2;
    info.place = CameraPlace{4.2, 1.0, 2.0, 90.0};
    Simulator view(info, std::make_unique<sim_test::FixedWorld>(std::vector{pose}), 5);
    pose.x_m = pose.y_m = 0.0;
    pose.dir_x = 0.0;
    pose.dir_y = -1.0;
    Simulator straight = sim_test::fixed_scene({pose}, 4.2);
    Frame a;
    Frame b;
    ASSERT_TRUE(view.next_truth(a));
    ASSERT_TRUE(straight.next_truth(b));
    EXPECT_NEAR(a.truth.at(0).box.w, b.truth.at(0).box.w, 1);
    EXPECT_NEAR(a.truth[0].box.h, b.truth[0].box.h, 1);
    EXPECT_GT(b.truth[0].box.w, b.truth[0].box.h + 10);
}

TEST(Site, PeopleUseTheWholeFloorAndKeepApart) {
    Simulator view = sim::make_site_view("hall", 1, kPlaces[0]);
    std::set<std::pair<int, int>> cells;  // 2 m wide
    double closest = std::numeric_limits<double>::infinity();
    std::size_t most = 0;
    std::set<int> staff;
    std::set<int> people;
    Frame frame;
    while (view.next_truth(frame)) {
        most = std::max(most, frame.truth.size());
        for (const PersonTruth& t : frame.truth) {
            people.insert(t.id);
            if (t.staff) staff.insert(t.id);
            if (std::abs(t.site.x_m) < 9.0) {
                cells.insert({static_cast<int>(std::floor(t.site.x_m / 2.0)),
                              static_cast<int>(std::floor(t.site.y_m / 2.0))});
            }
            for (const PersonTruth& other : frame.truth) {
                if (other.id <= t.id) continue;
                closest = std::min(
                    closest, std::hypot(t.site.x_m - other.site.x_m, t.site.y_m - other.site.y_m));
            }
        }
    }
    EXPECT_EQ(cells.size(), 40u);  // 10 x 4, the outer ones are halves
    EXPECT_GE(closest, 0.45);
    EXPECT_GE(most, 12u);
    EXPECT_GE(people.size(), 60u);
    EXPECT_GE(staff.size(), 4u);
}

TEST(Site, TheStationIsACrowdOfTwoHundred) {
    for (const std::uint64_t seed : {1, 2, 3}) {
        Simulator view = sim::make_site_view("station", seed, kPlaces[0]);
        std::set<int> people;
        double most = 0.0;
        double closest = std::numeric_limits<double>::infinity();
        Frame frame;
        while (view.next_truth(frame)) {
            double inside = 0.0;
            for (const PersonTruth& t : frame.truth) {
                people.insert(t.id);
                if (std::abs(t.site.x_m) < 8.0) inside += 1.0;
                for (const PersonTruth& other : frame.truth) {
                    if (other.id <= t.id) continue;
                    closest = std::min(closest, std::hypot(t.site.x_m - other.site.x_m,
                                                           t.site.y_m - other.site.y_m));
                }
            }
            most = std::max(most, inside);
        }
        EXPECT_TRUE(frame.truth.empty());  // everybody has come through
        EXPECT_GE(people.size(), 190u);
        EXPECT_LE(people.size(), 220u);
        EXPECT_GE(most / (16.0 * 8.0), 0.35);
        EXPECT_LE(most / (16.0 * 8.0), 0.5);
        EXPECT_GE(closest, 0.4);
    }
}

TEST(Site, LineAndRegionsOfAViewAreInIt) {
    std::set<std::string> regions;
    for (const double x : {-8.0, -5.5, -1.5, 2.0, 6.0}) {
        for (const double y : {-2.5, 0.0, 2.5}) {
            for (const double turn : {0.0, 90.0, 45.0, 200.0}) {
                const Simulator view = sim::make_site_view("hall", 1, {4.5, x, y, turn});
                const sim::SceneInfo& info = view.info();
                ASSERT_EQ(info.lines.size(), 1u);
                for (const Point& p : info.lines[0].points)
                    EXPECT_TRUE(sim::in_image(info.camera.project(p.x_m, p.y_m, 1.7)));
                for (const sim::CountingRegion& region : info.regions) {
                    regions.insert(region.name);
                    for (const Point& p : region.points)
                        EXPECT_TRUE(sim::in_image(info.camera.project(p.x_m, p.y_m, 1.7)));
                }
            }
        }
    }
    EXPECT_EQ(regions.size(), 4u);
}

// Whatever the turn of the camera, the same people go over the line below it the same way.
TEST(Site, CrossingsDoNotDependOnTheTurn) {
    const auto crossings = [](double turn_deg) {
        Simulator view = sim::make_site_view("hall", 5, {4.5, 1.0, 0.0, turn_deg});
        sim::CrossingCounter counter(view.info().lines);
        std::set<std::pair<int, int>> found;
        Frame frame;
        while (view.next_truth(frame)) {
            for (const sim::Crossing& c : counter.update(frame))
                found.insert({c.person, c.direction});
        }
        return found;
    };
    const auto straight = crossings(0.0);
    EXPECT_GE(straight.size(), 15u);
    EXPECT_EQ(crossings(180.0), straight);
}

TEST(Site, WhatCannotBeIsSaid) {
    EXPECT_THAT(sim::site_names(), testing::ElementsAre("hall", "station"));
    const auto error = [](const std::string& site, double height_m) -> std::string {
        try {
            sim::make_site_view(site, 1, {height_m, 0.0, 0.0, 0.0});
        } catch (const std::invalid_argument& e) {
            return e.what();
        }
        return "no error";
    };
    EXPECT_EQ(error("garden", 4.0), "unknown site \"garden\"; known sites: hall, station");
    EXPECT_EQ(error("hall", 2.2), "no error");
    EXPECT_EQ(error("hall", 15.0), "no error");
    EXPECT_THAT(error("hall", 2.1), testing::HasSubstr("2.2 to 15 m"));
    EXPECT_THAT(error("hall", 15.5), testing::HasSubstr("2.2 to 15 m"));
    EXPECT_THAT(error("hall", std::nan("")), testing::HasSubstr("2.2 to 15 m"));
}

}  // namespace
