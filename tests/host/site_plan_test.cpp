// The plan and the picture of the merged scene.
#include "host/draw/site_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "host/draw/canvas.h"
#include "host/report/site_picture.h"
#include "host/report/site_results.h"
#include "host/score/site_eval.h"
#include "host/settings/site_check.h"
#include "host/settings/site_map.h"
#include "tests/host/site_fixture.h"

namespace {

constexpr const char* kHall = VCA_EXAMPLES "/hall.toml";

class Png {
  public:
    explicit Png(const std::string& stem) : path_(test::unique_path(stem, ".png").string()) {}
    ~Png() { std::filesystem::remove(path_); }
    const std::string& path() const { return path_; }
    cv::Mat image() const { return cv::imread(path_); }

  private:
    std::string path_;
};

int pixels_of(const cv::Mat& image, const cv::Scalar& colour) {
    cv::Mat found;
    cv::inRange(image, colour, colour, found);
    return cv::countNonZero(found);
}

TEST(SitePlan, MetresHaveOneScaleAndOrigin) {
    const host::Site site = host::read_site_file(kHall);
    host::FloorPlan plan(site, {1400, 1000});
    EXPECT_LE(plan.image().cols, 1400);
    EXPECT_LE(plan.image().rows, 1000);
    const cv::Point2d origin = plan.at({0.0, 0.0});
    const cv::Point2d right = plan.at({1.0, 0.0}) - origin;
    const cv::Point2d down = plan.at({0.0, 1.0}) - origin;
    EXPECT_GT(right.x, 50.0);
    EXPECT_NEAR(right.y, 0.0, 1e-9);
    EXPECT_NEAR(down.y, right.x, 1e-9);
    for (const host::SiteDevice& device : site.devices) {
        for (const host::SitePoint& corner : host::view_outline(device, 0.0)) {
            const cv::Point2d p = plan.at(corner);
            EXPECT_TRUE(p.x > 0 && p.y > 0 && p.x < plan.image().cols && p.y < plan.image().rows);
        }
    }
}

TEST(SitePlan, ShowsCamerasLinesAndOverlap) {
    const host::Site site = host::read_site_file(kHall);
    host::FloorPlan plan(site, {1400, 1000});
    plan.draw_views();
    const auto colour_at = [&plan](double x_m, double y_m) {
        return plan.image().at<cv::Vec3b>(cv::Point(plan.at({x_m, y_m})));
    };
    // Off the grid's lines: in one view, in two, in none.
    const cv::Vec3b one = colour_at(0.2, 0.5);
    const cv::Vec3b two = colour_at(1.7, 0.5);
    const cv::Vec3b none = colour_at(0.2, 4.5);
    EXPECT_NE(one, two);
    EXPECT_NE(one, none);
    EXPECT_GT(one[0] - one[2], 0);  // bluish
    EXPECT_LT(two[0] - two[2], 0);  // orange
    plan.draw_lines();
    plan.draw_cameras();
    for (std::size_t i = 0; i < 2; ++i)
        EXPECT_GT(pixels_of(plan.image(), host::line_colour(i)), 500);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_GT(pixels_of(plan.image(), host::device_colour(i)), 500);
}

TEST(SitePlan, ArrowsPointToWhereTheDirectionsLead) {
    // From left to right: direction 1 leads up, direction 2 down; flipped the other way round.
    for (const bool flip : {false, true}) {
        host::Site site = test::two_cameras();
        site.lines.push_back({"g", {{-2.0, 0.0}, {2.0, 0.0}}, false, {}, flip, ""});
        host::FloorPlan plan(site, {1400, 1000});
        plan.draw_lines();
        // The arrow of direction 1 stands on the first fifth of the line.
        const cv::Point2d base = plan.at({-1.2, 0.0});
        const auto marked = [&](double rows_down) {
            const cv::Point at(static_cast<int>(base.x), static_cast<int>(base.y + rows_down));
            const cv::Vec3b c = plan.image().at<cv::Vec3b>(at);
            const cv::Scalar line = host::line_colour(0);
            return cv::Scalar(c[0], c[1], c[2]) == cv::Scalar(line[0], line[1], line[2]);
        };
        EXPECT_EQ(marked(-15.0), !flip);
        EXPECT_EQ(marked(15.0), flip);
    }
}

TEST(SitePlan, IsWritten) {
    const Png png("site-plan");
    const host::Site site = host::read_site_file(kHall);
    host::write_site_plan(site, png.path());
    const cv::Mat image = png.image();
    ASSERT_FALSE(image.empty());
    EXPECT_GT(image.cols, 1000);
    EXPECT_THROW(host::write_site_plan(site, "/nowhere/plan.png"), std::runtime_error);
}

TEST(SitePlan, ASiteOfAnySizeFits) {
    host::Site site = test::two_cameras();
    site.devices[1].at = {-120.0, 90.0};
    const Png png("site-plan");
    host::write_site_plan(site, png.path());
    EXPECT_FALSE(png.image().empty());
}

host::DeviceAccount slave(const std::string& name, std::int64_t sent, std::int64_t disconnected) {
    host::DeviceAccount account;
    account.name = name;
    account.link.sent = sent;
    account.link.disconnected = disconnected;
    return account;
}

// At 15 frames a second, what is on its way in the last second is no loss.
TEST(SiteLosses, AreWhatWasSentAndNotHeard) {
    host::Site site = test::two_cameras();
    site.frames_per_second.value = 15.0;
    host::DeviceAccount master;
    master.link.master = true;
    master.link.slaves.resize(3);
    const char* const names[] = {"a", "b", "c"};
    for (std::size_t i = 0; i < 3; ++i) {
        master.link.slaves[i].name = names[i];
        master.link.slaves[i].counters.received = 100;
    }
    EXPECT_TRUE(
        host::lost_messages(site, {master, slave("a", 100, 0), slave("b", 115, 0)}).empty());
    const auto lost = host::lost_messages(
        site, {master, slave("a", 116, 0), slave("b", 100, 7), slave("c", 9, 0)});
    ASSERT_EQ(lost.size(), 2u);
    EXPECT_EQ(lost[0].name, "a");
    EXPECT_EQ(lost[0].lost, 16);
    EXPECT_EQ(lost[1].lost, 7);
    EXPECT_EQ(lost[1].of, 107);
    EXPECT_EQ(host::loss_text({}, 0), "");
    EXPECT_NE(host::loss_text(lost, 2).find("16 of 116 messages of a were lost"),
              std::string::npos);
    EXPECT_NE(host::loss_text({}, 2).find("restarted 2 times"), std::string::npos);
}

TEST(LinkText, AFrameInFiftyIsNoSlowMachine) {
    host::DeviceAccount device = slave("west", 600, 0);
    device.pace = {600, 12, 80.0};
    EXPECT_EQ(host::link_text({device}), "");
    device.pace.late = 13;
    EXPECT_NE(host::link_text({device}).find("13 of 600 frames came late"), std::string::npos);
}

TEST(SitePicture, ShowsTheWaysOfMergedObjects) {
    const host::Site site = host::read_site_file(kHall);
    host::SiteResult result;
    result.truth = host::count_truth(site, {});
    result.merged = host::no_counts(site, "merged");
    const Png empty("site-empty");
    host::write_site_picture(site, result, empty.path());
    for (int k = 0; k < 60; ++k) {
        const host::SitePoint at{-4.0 + 0.1 * k, 1.0};
        host::SiteFrame frame{k, {{7, at, 1700.0, 1}}, {{12, host::to_master(site, at)}}};
        result.frames.push_back(frame);
    }
    result.frames[40].tracks.push_back({13, host::to_master(site, {0.0, -2.0})});
    const Png full("site-full");
    host::write_site_picture(site, result, full.path());
    const cv::Scalar way = host::track_colour(12);
    EXPECT_EQ(pixels_of(empty.image(), way), 0);
    EXPECT_GT(pixels_of(full.image(), way), 40);
}

}  // namespace
