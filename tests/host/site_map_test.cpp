// Pixels, metres, and the master's picture.
#include "host/settings/site_map.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "sim/camera.h"
#include "tests/host/site_fixture.h"

namespace {

using test::make_device;
using test::two_cameras;

// What a device finds of somebody: the top of the head, and the foot point straight below it.
SLAVE_TRACK_S standing_at(const host::SiteDevice& device, const host::SitePoint& at,
                          float height_mm) {
    const double height_m = static_cast<double>(height_mm) / 1000.0;
    const host::PicturePoint middle = host::to_picture(device, at, height_m);
    const double shrink = 1.0 - static_cast<double>(height_mm) / device.height_mm;
    SLAVE_TRACK_S track{};
    track.height = height_mm;
    track.cx = static_cast<std::int32_t>(std::lround(middle.x));
    track.cy = static_cast<std::int32_t>(std::lround(middle.y));
    track.foot_x = static_cast<std::int32_t>(480.0 + shrink * (track.cx - 480));
    track.foot_y = static_cast<std::int32_t>(272.0 + shrink * (track.cy - 272));
    return track;
}

SLAVE_TRACK_S mapped(const host::Site& site, int slave, const SLAVE_TRACK_S& track) {
    SLAVE_MSG_S msg{};
    msg.count = 1;
    msg.tracks[0] = track;
    host::map_to_master(site, slave, msg);
    return msg.tracks[0];
}

TEST(SiteMap, AgreesWithTheSimulatorsCamera) {
    const host::SiteDevice device = make_device("c", -1, 0.0, 0.0, 0.0, 4200.0);
    const sim::Camera camera{4.2};
    for (const double plane_m : {0.0, 1.0, 1.7}) {
        const host::PicturePoint p = host::to_picture(device, {1.25, -0.5}, plane_m);
        const sim::Pixel expected = camera.project(1.25, -0.5, plane_m);
        EXPECT_NEAR(p.x, expected.u, 1e-9);
        EXPECT_NEAR(p.y, expected.v, 1e-9);
    }
}

TEST(SiteMap, RotationTurnsFromXTowardsY) {
    const host::SiteDevice device = make_device("c", -1, 2.0, 3.0, 90.0, 4000.0);
    const host::SitePoint right = host::to_site(device, {960.0, 272.0}, 0.0);
    EXPECT_NEAR(right.x_m, 2.0, 1e-9);
    EXPECT_GT(right.y_m, 3.0);
    const host::SitePoint below = host::to_site(device, {480.0, 544.0}, 0.0);
    EXPECT_LT(below.x_m, 2.0);
    EXPECT_NEAR(below.y_m, 3.0, 1e-9);
}

TEST(SiteMap, PixelsComeBackFromEveryPlane) {
    const host::SiteDevice device = make_device("c", -1, -7.5, 12.25, 33.0, 5100.0);
    for (const double plane_m : {0.0, 1.7, 4.0}) {
        const host::SitePoint at = host::to_site(device, {17.0, 500.0}, plane_m);
        const host::PicturePoint back = host::to_picture(device, at, plane_m);
        EXPECT_NEAR(back.x, 17.0, 1e-9);
        EXPECT_NEAR(back.y, 500.0, 1e-9);
    }
}

TEST(SiteMap, SeesItsPictureAlone) {
    const host::SiteDevice device = make_device("c", -1, 10.0, 0.0, 180.0, 4000.0);
    EXPECT_TRUE(host::sees(device, {10.0, 0.0}, 1.7));
    EXPECT_FALSE(host::sees(device, {0.0, 0.0}, 1.7));
    const std::array<host::SitePoint, 4> view = host::view_outline(device, 0.0);
    EXPECT_NEAR(view[0].x_m, 10.0 + 480.0 * 4.0 / host::kDefaultFocal_px, 1e-9);
    EXPECT_NEAR(view[0].y_m, 272.0 * 4.0 / host::kDefaultFocal_px, 1e-9);
    // People at the edge are seen by their feet, not by their heads.
    const host::SitePoint edge{10.0 + 3.5, 0.0};
    EXPECT_TRUE(host::sees(device, edge, 0.0));
    EXPECT_FALSE(host::sees(device, edge, 1.7));
}

TEST(SiteMap, SharedViewIsTheAreaOfTheOverlap) {
    const host::SiteDevice a = make_device("a", -1, 0.0, 0.0, 0.0, 4000.0);
    const double w = 960.0 * 4.0 / host::kDefaultFocal_px;
    const double h = 544.0 * 4.0 / host::kDefaultFocal_px;
    EXPECT_NEAR(host::shared_view_m2(a, a, 0.0), w * h, 1e-9);
    const host::SiteDevice moved = make_device("b", 0, 3.0, 1.0, 180.0, 4000.0);
    EXPECT_NEAR(host::shared_view_m2(a, moved, 0.0), (w - 3.0) * (h - 1.0), 1e-9);
    const host::SiteDevice across = make_device("b", 0, 0.0, 0.0, 90.0, 4000.0);
    EXPECT_NEAR(host::shared_view_m2(a, across, 0.0), h * h, 1e-9);
    const host::SiteDevice far = make_device("b", 0, 20.0, 0.0, 45.0, 4000.0);
    EXPECT_EQ(host::shared_view_m2(a, far, 0.0), 0.0);
}

TEST(SiteMap, OnePersonHasOneFootPointWhicheverCameraSeesHim) {
    std::mt19937 random(4);
    std::uniform_real_distribution<double> share(-1.0, 1.0);
    int seen = 0;
    for (int i = 0; i < 5000; ++i) {
        host::Site site;
        site.devices = {make_device("m", -1, 4.0 * share(random), 4.0 * share(random),
                                    360.0 * share(random), 5000.0 + 2000.0 * share(random)),
                        make_device("s", 0, 4.0 * share(random), 4.0 * share(random),
                                    360.0 * share(random), 5000.0 + 2000.0 * share(random))};
        const auto height_mm = static_cast<float>(1500.0 + 400.0 * share(random));
        const double middle_m = static_cast<double>(height_mm) / 1000.0;
        const host::SitePoint at =
            host::to_site(site.devices[1],
                          {480.0 + 480.0 * share(random), 272.0 + 272.0 * share(random)}, middle_m);
        if (!host::sees(site.devices[0], at, middle_m)) continue;
        ++seen;
        const SLAVE_TRACK_S of_slave = mapped(site, 0, standing_at(site.devices[1], at, height_mm));
        const SLAVE_TRACK_S of_master = standing_at(site.devices[0], at, height_mm);
        // Half a pixel for the slave's box and for its mapped foot, half a pixel for the master's
        // box, a whole one for its foot.
        const double scale = site.devices[1].height_mm / site.devices[0].height_mm;
        const double off =
            std::hypot(of_slave.foot_x - of_master.foot_x, of_slave.foot_y - of_master.foot_y);
        ASSERT_LE(off, std::sqrt(0.5) * (scale + 4.0));
    }
    EXPECT_GT(seen, 1000);
}

TEST(SiteMap, CentresKeepTheirDistanceFromTheFeetInMetres) {
    const host::Site site = two_cameras();
    const SLAVE_TRACK_S track = mapped(site, 3, standing_at(site.devices[1], {4.8, 2.1}, 1800.0f));
    // The head of somebody at (0.8, 1.1) m from the slave covers the floor 4 / (4 - 1.8) times as
    // far from it.
    const host::PicturePoint middle =
        host::to_master(site, {4.0 + 0.8 * 4.0 / 2.2, 1.0 + 1.1 * 4.0 / 2.2});
    EXPECT_NEAR(track.cx, middle.x, 1.0);
    EXPECT_NEAR(track.cy, middle.y, 1.0);
}

// What both cameras take for the box of somebody in the middle between them averages out.
TEST(SiteMap, CentresOfTwoCamerasMeetOverTheFeet) {
    host::Site site = two_cameras();
    site.devices[1] = make_device("side", 3, 4.0, 0.0, 180.0, 6000.0);
    const host::SitePoint at{2.0, 0.5};
    const SLAVE_TRACK_S own = standing_at(site.devices[0], at, 1700.0f);
    const SLAVE_TRACK_S track = mapped(site, 3, standing_at(site.devices[1], at, 1700.0f));
    EXPECT_NEAR(0.5 * (own.cx + track.cx), host::to_master(site, at).x, 1.0);
}

TEST(SiteMap, PeopleBesideTheMastersViewLeaveItsPicture) {
    host::Site site = two_cameras();
    for (const double x_m : {10.0, -10.0, 8.0}) {
        site.devices[1].at = {x_m, 0.0};
        const SLAVE_TRACK_S track =
            mapped(site, 3, standing_at(site.devices[1], {x_m, 0.0}, 1700.0f));
        const double floor = 480.0 + x_m * host::kDefaultFocal_px / 6.0;
        EXPECT_EQ(track.foot_x, std::lround(floor));
        EXPECT_EQ(track.foot_y, 272);
        EXPECT_EQ(track.cx, std::lround(floor));  // straight below the slave
    }
}

TEST(SiteMap, AHeightThatCannotBeIsATypicalOne) {
    const host::Site site = two_cameras();
    SLAVE_TRACK_S track = standing_at(site.devices[1], {4.8, 2.1}, 1700.0f);
    const SLAVE_TRACK_S typical = mapped(site, 3, track);
    for (const float height : {0.0f, 499.0f, -1700.0f, std::numeric_limits<float>::quiet_NaN()}) {
        track.height = height;
        EXPECT_EQ(mapped(site, 3, track).foot_x, typical.foot_x);
        EXPECT_EQ(mapped(site, 3, track).foot_y, typical.foot_y);
    }
    track.height = 1000.0f;
    EXPECT_NE(mapped(site, 3, track).foot_x, typical.foot_x);
    // Never above the lower of the two lenses.
    track.height = 2800.0f;
    const SLAVE_TRACK_S highest = mapped(site, 3, track);
    track.height = 1e9f;
    EXPECT_EQ(mapped(site, 3, track).foot_x, highest.foot_x);
}

TEST(SiteMap, NothingButCoordinatesOfCountedTracksChanges) {
    const host::Site site = two_cameras();
    SLAVE_MSG_S msg;
    std::memset(&msg, 0x5A, sizeof msg);
    msg.count = 2;
    SLAVE_MSG_S expected = msg;
    host::map_to_master(site, 3, msg);
    for (int i = 0; i < 2; ++i) {
        expected.tracks[i].foot_x = msg.tracks[i].foot_x;
        expected.tracks[i].foot_y = msg.tracks[i].foot_y;
        expected.tracks[i].cx = msg.tracks[i].cx;
        expected.tracks[i].cy = msg.tracks[i].cy;
    }
    EXPECT_EQ(std::memcmp(&msg, &expected, sizeof msg), 0);
    EXPECT_NE(msg.tracks[1].foot_x, msg.tracks[2].foot_x);
}

TEST(SiteMap, AnUnknownSlaveIsLeftAsItIs) {
    const host::Site site = two_cameras();
    SLAVE_MSG_S msg{};
    msg.count = 1;
    msg.tracks[0].foot_x = 100;
    for (const int slave : {-1, 0, 4, 15, INT_MAX}) {
        host::map_to_master(site, slave, msg);
        EXPECT_EQ(msg.tracks[0].foot_x, 100);
    }
}

TEST(SiteMap, HostileNumbersStayInRange) {
    const host::Site site = two_cameras();
    const float kInf = std::numeric_limits<float>::infinity();
    const float kNan = std::numeric_limits<float>::quiet_NaN();
    for (const std::int32_t count : {-1, 0, 90, 91, INT_MAX, INT_MIN}) {
        for (const float height : {kNan, kInf, -kInf, 0.0f, 4000.0f}) {
            for (const std::int32_t value : {INT_MIN, INT_MAX, 0, -1, 1 << 30}) {
                SLAVE_MSG_S msg{};
                msg.count = count;
                for (SLAVE_TRACK_S& track : msg.tracks) {
                    track.height = height;
                    track.cx = track.foot_y = value;
                    track.cy = track.foot_x = -(value / 2);
                }
                host::map_to_master(site, 3, msg);
                EXPECT_EQ(msg.count, count);
                const int used = count < 0 ? 0 : std::min(count, VCA_SLAVE_TRACK_MAX);
                for (int i = 0; i < used; ++i) {
                    const SLAVE_TRACK_S& track = msg.tracks[i];
                    for (const std::int32_t c : {track.cx, track.cy, track.foot_x, track.foot_y}) {
                        ASSERT_LE(std::abs(c), host::kFarthestPixel);
                    }
                }
            }
        }
    }
}

TEST(SiteMap, WholePixelsRoundAwayFromZeroAndSaturate) {
    EXPECT_EQ(host::whole_pixel({0.49, 0.5}).x, 0);
    EXPECT_EQ(host::whole_pixel({0.49, 0.5}).y, 1);
    EXPECT_EQ(host::whole_pixel({-0.5, -0.49}).x, -1);
    EXPECT_EQ(host::whole_pixel({-0.5, -0.49}).y, 0);
    EXPECT_EQ(host::whole_pixel({1e300, -1e300}).x, 15359);
    EXPECT_EQ(host::whole_pixel({1e300, -1e300}).y, -15359);
    EXPECT_EQ(host::whole_pixel({std::nan(""), 1.0}).x, 0);
}

TEST(SiteMap, TheAreaOfAMasterAloneIsItsPicture) {
    host::Site site = two_cameras();
    site.devices.resize(1);
    EXPECT_EQ(host::master_area(site), (std::array<std::int32_t, 4>{0, 0, 960, 544}));
}

TEST(SiteMap, TheAreaHoldsWhatEveryDeviceSeesOfTheFloor) {
    const host::Site site = two_cameras();
    const std::array<std::int32_t, 4> area = host::master_area(site);
    // Turned by a quarter the slave reaches 480 * 4 / 6 = 320 pixels up and down, 181.33 sideways.
    const double px_per_m = host::kDefaultFocal_px / 6.0;
    EXPECT_EQ(area[0], 0);
    EXPECT_EQ(area[1], 0);
    EXPECT_EQ(area[2], std::ceil(480.0 + 4.0 * px_per_m + 272.0 * 4.0 / 6.0));
    EXPECT_EQ(area[3], std::ceil(272.0 + px_per_m + 320.0));
    for (const host::SiteDevice& device : site.devices) {
        for (const host::SitePoint& corner : host::view_outline(device, 0.0)) {
            const host::PicturePoint p = host::to_master(site, corner);
            EXPECT_GE(p.x, area[0] - 1e-6);
            EXPECT_GE(p.y, area[1] - 1e-6);
            EXPECT_LE(p.x, area[0] + area[2] + 1e-6);
            EXPECT_LE(p.y, area[1] + area[3] + 1e-6);
        }
    }
}

}  // namespace
