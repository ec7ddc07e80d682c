// The staff vest: who wears it, and that a camera above sees it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <vector>

#include "sim/simulator.h"
#include "sim/walkers.h"
#include "tests/sim/fixed_world.h"

namespace {

using sim::Frame;
using sim::Pose;
using sim::Rgb;
using sim::Vest;
using sim_test::fixed_scene;
using sim_test::standing;

constexpr double kCamera_m = 4.2;

// Four people who stand clear of each other, each turned a little further.
std::vector<Pose> four_people(int turn) {
    constexpr sim::Point kPlaces[] = {{-1.5, -0.5}, {0.0, 0.0}, {1.4, -0.6}, {0.6, 0.9}};
    std::vector<Pose> people;
    for (const sim::Point& place : kPlaces) {
        const int id = static_cast<int>(people.size()) + 1;
        Pose pose = standing(id, place.x_m, place.y_m, 1.72);
        const double radians = 0.8 * turn + 0.3 * id;
        pose.dir_x = std::cos(radians);
        pose.dir_y = std::sin(radians);
        people.push_back(pose);
    }
    return people;
}

Pose in_vest(Pose pose, std::uint64_t seed) {
    sim::Rng rng(seed);
    sim::put_on_vest(rng, pose.look);
    return pose;
}

Frame picture_of(const std::vector<Pose>& people) {
    sim::Simulator simulator = fixed_scene(people, kCamera_m);
    Frame frame;
    EXPECT_TRUE(simulator.next(frame));
    EXPECT_EQ(frame.truth.size(), people.size());
    return frame;
}

using Colour = std::array<double, 3>;  // b, g, r

Colour colour_at(const Frame& frame, int x, int y) {
    const std::size_t at = 3 * static_cast<std::size_t>(y * sim::kColourWidth + x);
    return {double(frame.bgr[at]), double(frame.bgr[at + 1]), double(frame.bgr[at + 2])};
}

template <typename Visit>
void each_pixel(const sim::Box& box, const Visit& visit) {
    for (int y = box.y; y < box.y + box.h; ++y) {
        for (int x = box.x; x < box.x + box.w; ++x)
            visit(x, y);
    }
}

Colour mean_colour(const Frame& frame, const sim::Box& box) {
    Colour sum{};
    each_pixel(box, [&](int x, int y) {
        for (std::size_t c = 0; c < 3; ++c)
            sum[c] += colour_at(frame, x, y)[c];
    });
    for (double& value : sum)
        value /= box.w * box.h;
    return sum;
}

// Where a person's shoulders and chest show, 0.35 m below the top of the head.
sim::Box chest_of(const sim::PersonTruth& person) {
    const double lens_to_top_m = kCamera_m - person.height_mm / 1000.0;
    const double nearer = lens_to_top_m / (lens_to_top_m + 0.35) - 1.0;
    sim::Box box = person.box;
    box.x += static_cast<int>(std::lround(nearer * (person.head_u - sim::kCentreU)));
    box.y += static_cast<int>(std::lround(nearer * (person.head_v - sim::kCentreV)));
    return box;
}

double vividness(const Colour& c) {
    return *std::max_element(c.begin(), c.end()) - *std::min_element(c.begin(), c.end());
}

TEST(Vest, ColoursTheBoxSeenFromAbove) {
    for (int turn = 0; turn < 8; ++turn) {
        std::vector<Pose> people = four_people(turn);
        std::vector<Pose> staff;
        for (Pose& pose : people) {
            pose.look.top = {60, 64, 68};
            staff.push_back(in_vest(pose, static_cast<std::uint64_t>(4 * turn + pose.id)));
        }
        const Frame plain = picture_of(people);
        const Frame vest = picture_of(staff);
        for (std::size_t i = 0; i < people.size(); ++i) {
            const sim::Box box = chest_of(plain.truth[i]);
            EXPECT_FALSE(plain.truth[i].staff);
            EXPECT_TRUE(vest.truth[i].staff);
            EXPECT_EQ(vest.truth[i].box.w, plain.truth[i].box.w);
            EXPECT_EQ(vest.truth[i].box.h, plain.truth[i].box.h);
            EXPECT_GT(vividness(mean_colour(vest, box)), vividness(mean_colour(plain, box)) + 25.0)
                << "place " << i << ", turn " << turn;
        }
    }
}

// Against a top of the very colour of the vest only the stripes differ.
TEST(Vest, LightGreyStripesTellItFromATopOfTheSameColour) {
    for (int turn = 0; turn < 8; ++turn) {
        std::vector<Pose> vivid = four_people(turn);
        std::vector<Pose> staff;
        for (Pose& pose : vivid) {
            staff.push_back(in_vest(pose, static_cast<std::uint64_t>(4 * turn + pose.id)));
            pose.look.top = staff.back().look.vest_colour;
        }
        const Frame with = picture_of(staff);
        const Frame without = picture_of(vivid);
        for (std::size_t i = 0; i < staff.size(); ++i) {
            int stripes = 0;
            int cloth = 0;
            each_pixel(chest_of(with.truth[i]), [&](int x, int y) {
                const Colour a = colour_at(with, x, y);
                const Colour b = colour_at(without, x, y);
                if (vividness(b) < 80.0) return;
                if (vividness(a) >= 80.0) ++cloth;
                if (vividness(a) < 40.0 && a[1] > 90.0) ++stripes;
            });
            EXPECT_GT(stripes, cloth / 12) << "place " << i << ", turn " << turn;
            EXPECT_LT(stripes, cloth / 2) << "place " << i << ", turn " << turn;
        }
    }
}

TEST(Vest, IsYellowOrOrange) {
    int yellow = 0;
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const sim::Look look = in_vest(standing(1, 0.0, 0.0, 1.7), seed).look;
        const Rgb c = look.vest_colour;
        ASSERT_NE(look.vest, Vest::kNone);
        EXPECT_LT(c.b, 70);
        if (look.vest == Vest::kYellow) {
            ++yellow;
            EXPECT_GT(c.g, c.r);
        } else {
            EXPECT_GT(c.r, 2 * c.g - 20);
        }
    }
    EXPECT_GT(yellow, 100);
    EXPECT_LT(yellow, 160);
}

TEST(Vest, HardlyMovesTheSurface) {
    const Pose pose = standing(1, 0.3, 0.2, 1.7);
    const Frame plain = picture_of({pose});
    const Frame vest = picture_of({in_vest(pose, 3)});
    int moved = 0;
    for (std::size_t i = 0; i < plain.raw_mm.size(); ++i) {
        if (plain.raw_mm[i] == 0 || vest.raw_mm[i] == 0) continue;
        moved += std::abs(plain.raw_mm[i] - vest.raw_mm[i]) > 30 ? 1 : 0;
    }
    EXPECT_LT(moved, 40);
}

struct Counted {
    std::set<int> all, staff, vivid, loaded_staff;
};

Counted count_people(const sim::WalkerPlan& plan, int frames) {
    const auto world = sim::make_walkers(plan, 5.0, 11);
    Counted counted;
    std::vector<Pose> people;
    for (int i = 0; i < frames; ++i) {
        world->step(people);
        for (const Pose& p : people) {
            counted.all.insert(p.id);
            const bool staff = p.look.vest != Vest::kNone;
            if (staff) counted.staff.insert(p.id);
            if (staff && p.load != sim::Load::kNone) counted.loaded_staff.insert(p.id);
            if (p.look.top.r > p.look.top.b + 115) counted.vivid.insert(p.id);
        }
    }
    return counted;
}

TEST(Vest, StaffHaveTheirShareOfTheArrivals) {
    sim::WalkerPlan plan;
    plan.arrivals_per_s = 1.0;
    plan.max_people = 12;
    plan.half_width_m = 1.5;
    plan.staff = 0.3;
    plan.bags = 0.5;
    plan.vivid_tops = 0.4;
    const Counted counted = count_people(plan, 5 * 1200);
    const double all = static_cast<double>(counted.all.size());
    ASSERT_GT(all, 500.0);
    // Four standard deviations of a share of 500: 0.08.
    EXPECT_NEAR(static_cast<double>(counted.staff.size()) / all, 0.3, 0.08);
    EXPECT_NEAR(static_cast<double>(counted.vivid.size()) / (0.7 * all), 0.4, 0.1);
    EXPECT_TRUE(counted.loaded_staff.empty());
}

TEST(Vest, NobodyIsStaffUnlessThePlanSaysSo) {
    for (const char* name : {"doorway", "shop", "crowd"}) {
        sim::Simulator simulator = sim::make_scene(name, 1);
        Frame frame;
        int seen = 0;
        for (int i = 0; i < 600 && simulator.next_truth(frame); ++i) {
            for (const sim::PersonTruth& t : frame.truth) {
                EXPECT_FALSE(t.staff);
                ++seen;
            }
        }
        EXPECT_GT(seen, 100) << name;
    }
}

}  // namespace
