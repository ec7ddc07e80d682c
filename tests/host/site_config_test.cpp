// What the library of each device is told, and that the library takes it as it is meant.
#include "host/settings/site_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "host/settings/site_map.h"
#include "tests/host/site_fixture.h"

namespace {

using host::SiteRole;

host::Site with_lines() {
    host::Site site = test::two_cameras();
    site.lines.push_back({"near", {{0.0, -1.0}, {0.0, 1.0}}, false, {}, true, ""});
    site.lines.push_back({"far",
                          {{4.5, 0.0}, {4.5, 2.0}},
                          true,
                          {{4.0, 0.0}, {5.0, 0.0}, {5.0, 2.0}, {4.0, 2.0}},
                          false,
                          ""});
    site.regions.push_back({"desk", {{4.0, 0.5}, {5.0, 0.5}, {5.0, 1.5}, {4.0, 1.5}}, ""});
    return site;
}

TEST(SiteConfig, AMasterCountsForAll) {
    host::Site site = with_lines();
    site.group_counting = true;
    site.detect = host::DetectMode::kColour;
    const VCA_ALGO_CFG_S c = host::device_config(site, site.devices[0], SiteRole::kTogether);
    EXPECT_EQ(c.devWorkMode, 1);
    EXPECT_EQ(c.InstallHeight, 6000);
    EXPECT_EQ(c.TargetHeightMin, 800);
    EXPECT_EQ(c.TargetHeightMax, 2200);
    EXPECT_EQ(c.GroupEn, 1);
    EXPECT_EQ(c.GroupObjNumMin, 2);
    EXPECT_EQ(c.GroupObjNumMax, 6);
    EXPECT_EQ(c.ShowHistoryBox, 1);
    EXPECT_EQ(c.DetectModel, 1);
    const std::array<std::int32_t, 4> area = host::master_area(site);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(c.cscdMapSize[i], area[i]);
    const double px_per_m = host::kDefaultFocal_px / 6.0;
    EXPECT_EQ(c.line[0].LineEn, 1);
    EXPECT_EQ(c.line[0].Flip, 1);
    EXPECT_EQ(c.line[0].UturnEn, 0);
    EXPECT_EQ(c.line[0].pt[0].x, 480);
    EXPECT_EQ(c.line[0].pt[0].y, std::lround(272.0 - px_per_m));
    EXPECT_EQ(c.line[0].pt[2].en, 0);
    EXPECT_EQ(c.line[1].UturnEn, 1);
    EXPECT_EQ(c.line[1].uturn_pt[3].en, 1);
    EXPECT_EQ(c.line[1].uturn_pt[4].en, 0);
    EXPECT_EQ(c.line[1].pt[1].x, std::lround(480.0 + 4.5 * px_per_m));
    EXPECT_EQ(c.line[2].LineEn, 0);
    EXPECT_EQ(c.RgnEn, 1);
    EXPECT_EQ(c.rgn[0].used, 1);
    EXPECT_EQ(c.rgn[0].pt[2].x, std::lround(480.0 + 5.0 * px_per_m));
    EXPECT_EQ(c.rgn[0].pt[2].y, std::lround(272.0 + 1.5 * px_per_m));
    EXPECT_EQ(c.rgn[1].used, 0);
}

TEST(SiteConfig, ASlaveOnlyFollowsPeople) {
    const host::Site site = with_lines();
    const VCA_ALGO_CFG_S c = host::device_config(site, site.devices[1], SiteRole::kTogether);
    EXPECT_EQ(c.devWorkMode, 2);
    EXPECT_EQ(c.InstallHeight, 4000);
    EXPECT_EQ(c.RgnEn, 0);
    EXPECT_EQ(c.GroupEn, 0);
    for (const VCA_CFG_LINE_S& line : c.line)
        EXPECT_EQ(line.pt[0].en, 0);
    EXPECT_EQ(c.cscdMapSize[0], 0);
    EXPECT_EQ(c.cscdMapSize[3], 544);
}

TEST(SiteConfig, ACameraAloneCountsWhatItSees) {
    const host::Site site = with_lines();
    const VCA_ALGO_CFG_S c = host::device_config(site, site.devices[1], SiteRole::kAlone);
    EXPECT_EQ(c.devWorkMode, 0);
    EXPECT_EQ(c.StandAloneTrk, 1);
    EXPECT_EQ(c.cscdMapSize[1], 0);
    EXPECT_EQ(c.line[0].pt[0].en, 0);
    EXPECT_EQ(c.line[1].pt[0].en, 1);
    // Turned by a quarter: the site's y is the picture's x.
    const double px_per_m = host::kDefaultFocal_px / 4.0;
    EXPECT_EQ(c.line[1].pt[0].x, std::lround(480.0 - px_per_m));
    EXPECT_EQ(c.line[1].pt[0].y, std::lround(272.0 - 0.5 * px_per_m));
    EXPECT_EQ(c.line[1].pt[1].x, std::lround(480.0 + px_per_m));
    EXPECT_EQ(c.rgn[0].used, 1);
    const VCA_ALGO_CFG_S other = host::device_config(site, site.devices[0], SiteRole::kAlone);
    EXPECT_EQ(other.line[0].pt[0].en, 1);
    EXPECT_EQ(other.cscdMapSize[2], 960);
    EXPECT_EQ(other.rgn[0].used, 1);
    host::Site apart = with_lines();
    apart.regions[0].points[2].x_m = 7.0;
    EXPECT_EQ(host::device_config(apart, apart.devices[0], SiteRole::kAlone).rgn[0].used, 0);
    EXPECT_EQ(host::own_regions(apart, apart.devices[0]).at(0).name, "desk");
    EXPECT_EQ(host::master_regions(apart).at(0).points.size(), 4u);
}

std::vector<host::PicturePoint> own_points(std::vector<host::SitePoint> points) {
    host::Site site = test::two_cameras();
    site.lines.push_back({"l", std::move(points), false, {}, false, ""});
    return host::own_lines(site, site.devices[0]).at(0).points;
}

// The master sees heads up to 4.01 m to its left and right and 2.27 m up and down.
TEST(SiteConfig, LinesOfACameraAloneEndWithItsView) {
    const double half_x = 480.0 * 4.3 / 6.0;  // floor pixels from the middle
    const double half_y = 272.0 * 4.3 / 6.0;
    auto points = own_points({{-9.0, 0.0}, {9.0, 0.0}});
    ASSERT_EQ(points.size(), 2u);
    EXPECT_NEAR(points[0].x, 480.0 - half_x, 1e-6);
    EXPECT_NEAR(points[1].x, 480.0 + half_x, 1e-6);
    points = own_points({{0.0, 0.0}, {0.0, 9.0}, {1.0, 9.0}});
    ASSERT_EQ(points.size(), 2u);
    EXPECT_NEAR(points[0].y, 272.0, 1e-6);
    EXPECT_NEAR(points[1].y, 272.0 + half_y, 1e-6);
    // All of a bent line within the view stays, in its order.
    points = own_points({{1.0, 0.0}, {0.0, 1.0}, {-1.0, 0.0}});
    ASSERT_EQ(points.size(), 3u);
    EXPECT_GT(points[0].x, points[2].x);
    // Out of view in the middle: the longer end.
    points = own_points({{-1.0, 0.0}, {-1.0, 9.0}, {1.0, 9.0}, {1.0, -1.0}});
    ASSERT_EQ(points.size(), 2u);
    EXPECT_GT(points[1].x, 480.0);
    EXPECT_NEAR(points[0].y, 272.0 + half_y, 1e-6);
    EXPECT_NEAR(points[1].y, 272.0 - host::kDefaultFocal_px / 6.0, 1e-6);
}

TEST(SiteConfig, LinesOutOfViewOrHardlyInItAreNone) {
    EXPECT_TRUE(own_points({{9.0, 0.0}, {12.0, 0.0}}).empty());
    EXPECT_TRUE(own_points({{0.0, 3.0}, {3.0, 3.0}}).empty());
    EXPECT_TRUE(own_points({{3.6, 0.0}, {9.0, 0.0}}).empty());
    EXPECT_FALSE(own_points({{3.4, 0.0}, {9.0, 0.0}}).empty());
}

DET_OBJ_S square_at(const host::Site& site, const host::SitePoint& at) {
    const POINT_POS_S p = host::whole_pixel(host::to_master(site, at));
    DET_OBJ_S box{};
    box.x = p.x - 20;
    box.y = p.y - 20;
    box.w = 40;
    box.h = 40;
    return box;
}

bool in_mask(const host::Site& site, const VCA_MASK_S& mask, const host::SitePoint& at) {
    const DET_OBJ_S cells = cscd_map_box_to_mask(square_at(site, at));
    return mask.mask[cells.y + cells.h / 2][cells.x + cells.w / 2] != 0;
}

// Lines and areas that leave the master's picture on any side stay where they are on the floor.
TEST(SiteConfig, TheLibraryKeepsPlacesOutsideTheMastersPicture) {
    for (const double side : {-1.0, 1.0}) {
        host::Site site = test::two_cameras();
        site.devices[1].at = {side * 7.0, side * 3.0};
        const auto rectangle = [side](double x, double y, double w, double h) {
            return std::vector<host::SitePoint>{{side * x, side * y},
                                                {side * (x + w), side * y},
                                                {side * (x + w), side * (y + h)},
                                                {side * x, side * (y + h)}};
        };
        site.lines.push_back({"l",
                              {{side * 7.0, side * 2.0}, {side * 7.0, side * 4.0}},
                              true,
                              rectangle(6.5, 2.0, 1.0, 2.0),
                              false,
                              ""});
        site.regions.push_back({"r", rectangle(6.0, 3.0, 1.0, 1.0), ""});
        VCA_ALGO_CFG_S config = host::device_config(site, site.devices[0], SiteRole::kTogether);
        vca_algo_set_cfg_params(0, &config);
        const VCA_DEV_CFG_S& cfg = *dev_get_config();
        EXPECT_EQ(cfg.devWorkMode, 1);
        EXPECT_EQ(cfg.LineEn[0], 1);
        EXPECT_EQ(cfg.LineEn[1], 0);
        EXPECT_EQ(cfg.UturnRgnEn[0], 1);
        EXPECT_EQ(cfg.RgnEnable[0], 1);
        EXPECT_EQ(cfg.lineSeg[0][0].start.x, config.line[0].pt[0].x);
        EXPECT_EQ(cfg.lineSeg[0][0].end.y, config.line[0].pt[1].y);
        EXPECT_TRUE(side > 0 ? cfg.lineSeg[0][0].start.x > 960 : cfg.lineSeg[0][0].start.x < 0);
        for (double x = 5.2; x < 8.0; x += 0.1) {
            for (double y = 1.2; y < 5.0; y += 0.1) {
                // A cell of the mask is up to 0.07 m on the floor.
                const auto clear = [](double v, double from, double to) {
                    return std::abs(v - from) > 0.15 && std::abs(v - to) > 0.15;
                };
                if (!clear(x, 6.0, 7.0) || !clear(y, 3.0, 4.0)) continue;
                const bool inside = x > 6.0 && x < 7.0 && y > 3.0 && y < 4.0;
                EXPECT_EQ(in_mask(site, cfg.rgnMask[0], {side * x, side * y}), inside)
                    << side * x << ' ' << side * y;
            }
        }
        EXPECT_TRUE(in_mask(site, cfg.uturnMask[0], {side * 7.2, side * 2.5}));
        EXPECT_FALSE(in_mask(site, cfg.uturnMask[0], {side * 5.8, side * 2.5}));
    }
}

}  // namespace
