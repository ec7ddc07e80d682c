// Simulated sites: cameras that show one moment of one floor, and its truth.
#include "host/score/site_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "host/settings/site_config.h"
#include "host/settings/site_map.h"

namespace {

using ::testing::HasSubstr;

host::Site hall() {
    return host::read_site_file(VCA_EXAMPLES "/hall.toml");
}

std::string error_of(const host::Site& site) {
    try {
        host::open_site_view(host::view_setup(site, site.devices[1]));
    } catch (const host::InputError& e) {
        return e.what();
    }
    return "";
}

TEST(SiteScene, ViewsAreThoseOfTheSimulatorsCameras) {
    const host::Site site = hall();
    host::SiteScene scene(site);
    std::vector<sim::Simulator> cameras;
    for (const host::SiteDevice& d : site.devices) {
        cameras.push_back(
            sim::make_site_view(site.scene.value, site.seed,
                                {d.height_mm / 1000.0, d.at.x_m, d.at.y_m, d.rotation_deg}));
    }
    int shared = 0;
    host::SiteFrame frame;
    for (int n = 0; n < 300; ++n) {
        ASSERT_TRUE(scene.next(frame));
        EXPECT_EQ(frame.number, n);
        std::map<int, int> views;
        for (sim::Simulator& camera : cameras) {
            sim::Frame seen;
            ASSERT_TRUE(camera.next_truth(seen));
            for (const sim::PersonTruth& person : seen.truth)
                views[person.id] += person.in_view ? 1 : 0;
        }
        for (const host::SitePerson& person : frame.people) {
            EXPECT_EQ(person.cameras, views[person.id]) << n << ' ' << person.id;
            shared += person.cameras > 1 ? 1 : 0;
        }
    }
    EXPECT_GT(shared, 100);
}

TEST(SiteScene, HeadsAreWhereTheGeometrySaysInEveryPicture) {
    const host::Site site = hall();
    for (const host::SiteDevice& d : site.devices) {
        sim::Simulator camera =
            sim::make_site_view(site.scene.value, site.seed,
                                {d.height_mm / 1000.0, d.at.x_m, d.at.y_m, d.rotation_deg});
        sim::Frame seen;
        ASSERT_TRUE(camera.next_truth(seen));
        ASSERT_FALSE(seen.truth.empty());
        for (const sim::PersonTruth& person : seen.truth) {
            const host::PicturePoint head =
                host::to_picture(d, {person.site.x_m, person.site.y_m}, person.height_mm / 1000.0);
            EXPECT_NEAR(head.x, person.head_u, 1e-6);
            EXPECT_NEAR(head.y, person.head_v, 1e-6);
        }
    }
}

TEST(SiteScene, SourcesGiveFramesWithoutTruth) {
    const host::Site site = hall();
    const auto source = host::open_site_view(host::view_setup(site, site.devices[1]));
    EXPECT_EQ(source->info().name, "west");
    EXPECT_EQ(source->info().camera.height_mm, 6000.0);
    EXPECT_FALSE(source->info().has_truth);
    host::SourceFrame frame;
    source->skip(3);
    ASSERT_TRUE(source->next(frame));
    EXPECT_EQ(frame.number, 3);
    EXPECT_NEAR(frame.time_s, 0.2, 1e-9);
    EXPECT_EQ(frame.planes.raw_mm.size(), 480u * 256u);
    EXPECT_EQ(frame.planes.colour_nv12.size(), 960u * 544u * 3u / 2u);
}

TEST(SiteScene, LastsAsLongAsTheSiteSaysButNotShorter) {
    host::Site site = hall();
    const auto duration_s = [&site] {
        return host::open_site_view(host::view_setup(site, site.devices[1]))->info().duration_s;
    };
    const double own_s = duration_s();
    site.seconds = own_s + 2.0;
    EXPECT_EQ(duration_s(), own_s + 2.0);
    host::SiteScene scene(site);
    host::SiteFrame frame;
    std::int64_t frames = 0;
    while (scene.next(frame))
        ++frames;
    EXPECT_EQ(frames, static_cast<std::int64_t>((own_s + 2.0) * site.frames_per_second.value));
    site.seconds = 30.0;
    EXPECT_EQ(duration_s(), own_s);
}

TEST(SiteScene, RefusesWhatTheSimulatorHasNot) {
    host::Site site = hall();
    EXPECT_EQ(error_of(site), "");
    site.scene = std::string("street");
    EXPECT_THAT(error_of(site),
                HasSubstr("the scene \"street\" is not known; write hall or station"));
    site = hall();
    site.frames_per_second = 10.0;
    EXPECT_THAT(error_of(site), HasSubstr("the scene \"hall\" has 15"));
    site = hall();
    site.devices[1].focal_px = 600.0;
    EXPECT_THAT(error_of(site), HasSubstr("simulated cameras have 514.737"));
    site = hall();
    site.devices[1].height_mm = 2000.0;
    EXPECT_THAT(error_of(site), HasSubstr("2.2 to 15 m"));
}

}  // namespace
