// The library's configuration, byte by byte: from plain settings, from a site and its devices.
#include "host/settings/library_config.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "host/settings/site_config.h"
#include "host/settings/site_map.h"
#include "tests/host/site_fixture.h"

namespace {

void set(POINT12& point, int x, int y) {
    point.en = 1;
    point.x = x;
    point.y = y;
}

// Names the first byte that differs; fields lie where vca/config.h puts them.
void expect_same(const VCA_ALGO_CFG_S& is, const VCA_ALGO_CFG_S& should) {
    const auto* a = reinterpret_cast<const unsigned char*>(&is);
    const auto* b = reinterpret_cast<const unsigned char*>(&should);
    for (std::size_t i = 0; i < sizeof is; ++i)
        ASSERT_EQ(int{a[i]}, int{b[i]}) << "byte " << i;
}

// What every device is told.
VCA_ALGO_CFG_S plain(int mode, int height_mm) {
    VCA_ALGO_CFG_S config{};
    config.devWorkMode = mode;
    config.InstallHeight = height_mm;
    config.TargetHeightMin = 800;
    config.TargetHeightMax = 2200;
    config.StandAloneTrk = 1;
    config.DetectModel = VCA_DETECT_DEPTH;
    config.cscdMapSize[2] = 960;
    config.cscdMapSize[3] = 544;
    return config;
}

// What every device that counts is told.
VCA_ALGO_CFG_S counting(int mode, int height_mm) {
    VCA_ALGO_CFG_S config = plain(mode, height_mm);
    config.GroupObjNumMin = 2;
    config.GroupObjNumMax = 6;
    config.HtmpEn = 1;
    config.ShowHistoryBox = 1;
    return config;
}

host::LibrarySettings full() {
    host::LibrarySettings s;
    s.height_mm = 3499.5;
    s.target_min_mm = 1000;
    s.target_max_mm = 2000;
    s.foot_point = false;
    s.detect = host::DetectMode::kColour;
    s.group_counting = true;
    s.group_min = 3;
    s.group_max = 5;
    s.gender = true;
    s.staff = true;
    s.area = {-5, 6, 700, 800};
    s.lines = {{"a", {{1.5, 2.4}, {30.0, 40.0}}, true, {{0, 0}, {50, 0}, {0, 50}}, true},
               {"none", {}, true, {{0, 0}, {50, 0}, {0, 50}}, true},
               {"b", {{-1.5, 7.0}, {8.0, 9.0}, {1e9, -1e9}}, false, {}, false}};
    s.regions = {{"none", {}}, {"r", {{10, 20}, {30, 20}, {30, 40}}}};
    s.exclusions = {{{0, 0}, {9, 0}, {9, 9.5}}};
    return s;
}

TEST(LibraryConfig, HasEverySettingInItsField) {
    VCA_ALGO_CFG_S should = counting(VCA_WORK_ALONE, 3500);
    should.TargetHeightMin = 1000;
    should.TargetHeightMax = 2000;
    should.StandAloneTrk = 0;
    should.DetectModel = VCA_DETECT_COLOUR;
    should.GroupEn = 1;
    should.GroupObjNumMin = 3;
    should.GroupObjNumMax = 5;
    should.GenderRecognize = 1;
    should.StaffDetection = 1;
    const int area[] = {-5, 6, 700, 800};
    std::memcpy(should.cscdMapSize, area, sizeof area);
    VCA_CFG_LINE_S& a = should.line[0];
    a.LineEn = a.UturnEn = a.Flip = 1;
    set(a.pt[0], 2, 2);
    set(a.pt[1], 30, 40);
    set(a.uturn_pt[0], 0, 0);
    set(a.uturn_pt[1], 50, 0);
    set(a.uturn_pt[2], 0, 50);
    VCA_CFG_LINE_S& b = should.line[2];
    b.LineEn = 1;
    set(b.pt[0], -2, 7);
    set(b.pt[1], 8, 9);
    set(b.pt[2], 15359, -15359);
    should.RgnEn = 1;
    should.rgn[1].used = should.rgn[1].en_a = 1;
    set(should.rgn[1].pt[0], 10, 20);
    set(should.rgn[1].pt[1], 30, 20);
    set(should.rgn[1].pt[2], 30, 40);
    should.ExclTotalEn = 1;
    should.excl[0].type = VCA_CFG_EXCL_DETECTIONS;
    set(should.excl[0].pt[0], 0, 0);
    set(should.excl[0].pt[1], 9, 0);
    set(should.excl[0].pt[2], 9, 10);
    expect_same(host::library_config(full()), should);
}

TEST(LibraryConfig, OfNothingCountsNothing) {
    host::LibrarySettings settings;
    settings.height_mm = 3000.0;
    expect_same(host::library_config(settings), counting(VCA_WORK_ALONE, 3000));
}

TEST(LibraryConfig, ASlaveIsOnlyToldWhatFollowingNeeds) {
    host::LibrarySettings settings = full();
    settings.mode = VCA_WORK_SLAVE;
    VCA_ALGO_CFG_S should = plain(VCA_WORK_SLAVE, 3500);
    should.TargetHeightMin = 1000;
    should.TargetHeightMax = 2000;
    should.StandAloneTrk = 0;
    should.DetectModel = VCA_DETECT_COLOUR;
    const int area[] = {-5, 6, 700, 800};
    std::memcpy(should.cscdMapSize, area, sizeof area);
    expect_same(host::library_config(settings), should);
}

TEST(LibraryConfig, TakesNoMoreThanFits) {
    host::LibrarySettings settings;
    const std::vector<host::PicturePoint> many(12, {1.0, 2.0});
    settings.lines.assign(5, {"l", many, true, many, false});
    settings.regions.assign(5, {"r", many});
    settings.exclusions.assign(5, many);
    const VCA_ALGO_CFG_S config = host::library_config(settings);
    EXPECT_EQ(config.line[3].pt[4].en, 1);
    EXPECT_EQ(config.line[3].uturn_pt[9].en, 1);
    EXPECT_EQ(config.excl[3].pt[9].en, 1);
    EXPECT_EQ(config.cscdMapSize[0], 0) << "what follows the regions";
}

TEST(LibraryConfig, OfASitesDevices) {
    host::Site site = test::two_cameras();
    site.lines.push_back({"near", {{0.0, -1.0}, {0.0, 1.0}}, false, {}, true, ""});
    site.regions.push_back({"out of the slave's view", {{0, 0}, {1, 0}, {1, 1}}, ""});
    const double px_per_m = host::kDefaultFocal_px / 6.0;
    const auto pixel = [px_per_m](double metres, double middle) {
        return static_cast<int>(std::lround(middle + metres * px_per_m));
    };
    VCA_ALGO_CFG_S should = counting(VCA_WORK_MASTER, 6000);
    const std::array<std::int32_t, 4> area = host::master_area(site);
    std::memcpy(should.cscdMapSize, area.data(), sizeof area);
    should.line[0].LineEn = should.line[0].Flip = 1;
    set(should.line[0].pt[0], 480, pixel(-1.0, 272.0));
    set(should.line[0].pt[1], 480, pixel(1.0, 272.0));
    should.RgnEn = 1;
    should.rgn[0].used = should.rgn[0].en_a = 1;
    set(should.rgn[0].pt[0], 480, 272);
    set(should.rgn[0].pt[1], pixel(1.0, 480.0), 272);
    set(should.rgn[0].pt[2], pixel(1.0, 480.0), pixel(1.0, 272.0));
    using host::SiteRole;
    expect_same(host::device_config(site, site.devices[0], SiteRole::kTogether), should);
    expect_same(host::device_config(site, site.devices[1], SiteRole::kTogether),
                plain(VCA_WORK_SLAVE, 4000));
    VCA_ALGO_CFG_S alone = counting(VCA_WORK_ALONE, 4000);
    alone.RgnEn = 1;
    expect_same(host::device_config(site, site.devices[1], SiteRole::kAlone), alone);
}

}  // namespace
