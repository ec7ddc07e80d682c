// Pictures of heat maps: where and how warm cells are drawn, the scale, and the files.
#include "host/draw/heat_picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "host/report/picture.h"
#include "tests/support/unique_path.h"
#include "vca/track.h"

namespace {

using host::HeatKind;
using Cells = std::vector<std::int32_t>;

Cells no_heat() {
    return Cells(std::size_t{VCA_HEAT_ROWS} * VCA_HEAT_COLS, 0);
}

// A square of 9 x 9 cells.
void heat_square(Cells& cells, int column, int row, std::int32_t value) {
    for (int r = row - 4; r <= row + 4; ++r) {
        for (int c = column - 4; c <= column + 4; ++c)
            cells[static_cast<std::size_t>(r * VCA_HEAT_COLS + c)] = value;
    }
}

// The picture's pixel in the middle of a cell.
cv::Point middle_of(int column, int row) {
    return {static_cast<int>((column + 0.5) * host::kHeatFloor.width / VCA_HEAT_COLS),
            host::kHeatFloor.y +
                static_cast<int>((row + 0.5) * host::kHeatFloor.height / VCA_HEAT_ROWS)};
}

cv::Mat checkered_floor() {
    cv::Mat floor(544, 960, CV_8UC3, cv::Scalar(90, 120, 150));
    floor(cv::Rect(0, 0, 480, 544)).setTo(cv::Scalar(200, 180, 40));
    return floor;
}

// Inferno goes from violet over red to a light yellow: light and red rise all the way.
int warmth(const cv::Vec3b& pixel) {
    return pixel[1] + pixel[2];
}

cv::Rect changed_area(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat difference;
    cv::absdiff(a, b, difference);
    cv::cvtColor(difference, difference, cv::COLOR_BGR2GRAY);
    return cv::boundingRect(difference > 0);
}

TEST(HeatPicture, CellsAreDrawnAtTheirPlaceAndNowhereElse) {
    Cells cells = no_heat();
    heat_square(cells, 30, 100, 5000);
    const cv::Mat cold = host::draw_heat(checkered_floor(), no_heat(), HeatKind::kDwell);
    const cv::Mat hot = host::draw_heat(checkered_floor(), cells, HeatKind::kDwell);
    const cv::Rect changed = changed_area(cold(host::kHeatFloor), hot(host::kHeatFloor));
    // 9 cells of 6 pixels, and up to 3 cells of fading at each side.
    const cv::Point middle = middle_of(30, 100) - host::kHeatFloor.tl();
    const cv::Rect nine(middle - cv::Point(26, 26), cv::Size(52, 52));
    const cv::Rect fifteen(middle - cv::Point(46, 46), cv::Size(92, 92));
    EXPECT_EQ(changed & nine, nine) << changed;
    EXPECT_EQ(changed & fifteen, changed) << changed;
}

TEST(HeatPicture, WarmerCellsLookWarmer) {
    Cells cells = no_heat();
    const std::int32_t values_ms[] = {400, 2000, 8000, 30000};
    for (int i = 0; i < 4; ++i)
        heat_square(cells, 30 + 50 * i, 60, values_ms[i]);
    const cv::Mat picture = host::draw_heat(checkered_floor(), cells, HeatKind::kDwell);
    int before = -1;
    for (int i = 0; i < 4; ++i) {
        const int here = warmth(picture.at<cv::Vec3b>(middle_of(30 + 50 * i, 60)));
        EXPECT_GT(here, before + 20) << i;
        before = here;
    }
}

TEST(HeatPicture, TheFloorIsSeenGreyAndDarker) {
    const cv::Mat picture = host::draw_heat(checkered_floor(), no_heat(), HeatKind::kMotion);
    const auto left = picture.at<cv::Vec3b>(middle_of(40, 60));
    const auto right = picture.at<cv::Vec3b>(middle_of(200, 60));
    for (const cv::Vec3b& pixel : {left, right}) {
        EXPECT_EQ(pixel[0], pixel[1]);
        EXPECT_EQ(pixel[1], pixel[2]);
        EXPECT_LT(pixel[1], 120);
    }
    EXPECT_GT(left[0], right[0]);  // lightness 138 and 127 of the floor
}

TEST(HeatPicture, CellsBelowZeroAreCold) {
    Cells cells = no_heat();
    heat_square(cells, 120, 60, std::numeric_limits<std::int32_t>::min());
    const cv::Mat cold = host::draw_heat({}, no_heat(), HeatKind::kMotion);
    const cv::Mat below = host::draw_heat({}, cells, HeatKind::kMotion);
    EXPECT_EQ(changed_area(cold, below).area(), 0);
}

TEST(HeatPicture, DwellIsInSecondsAndMotionInPassages) {
    Cells cells = no_heat();
    heat_square(cells, 120, 60, 3000);
    const cv::Mat dwell = host::draw_heat({}, cells, HeatKind::kDwell);
    const cv::Mat motion = host::draw_heat({}, cells, HeatKind::kMotion);
    const cv::Rect scale(host::kHeatFloor.width, host::kHeatFloor.y, 150, host::kHeatFloor.height);
    EXPECT_EQ(changed_area(dwell(host::kHeatFloor), motion(host::kHeatFloor)).area(), 0);
    EXPECT_GT(changed_area(dwell(scale), motion(scale)).area(), 0);
    for (std::int32_t& cell : cells)
        cell /= 1000;
    const cv::Mat few = host::draw_heat({}, cells, HeatKind::kMotion);
    EXPECT_GT(changed_area(motion(scale), few(scale)).area(), 0);
}

TEST(HeatPicture, OnlyAWholeGridIsDrawn) {
    EXPECT_THROW(host::draw_heat({}, Cells(100, 0), HeatKind::kDwell), std::runtime_error);
}

TEST(HeatScale, TicksGoFromNothingToTheGreatestValue) {
    const host::HeatScale scale = host::heat_scale(34.2, HeatKind::kDwell);
    EXPECT_THAT(scale.ticks, testing::ElementsAre(0.0, 0.1, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 34.2));
    EXPECT_DOUBLE_EQ(scale.share(0.0), 0.0);
    EXPECT_DOUBLE_EQ(scale.share(34.2 / 4.0), 0.5);
    EXPECT_DOUBLE_EQ(scale.share(34.2), 1.0);
    EXPECT_DOUBLE_EQ(scale.share(99.0), 1.0);
    EXPECT_DOUBLE_EQ(scale.share(-1.0), 0.0);
}

TEST(HeatScale, PassagesAreWhole) {
    EXPECT_THAT(host::heat_scale(3.0, HeatKind::kMotion).ticks,
                testing::ElementsAre(0.0, 1.0, 2.0, 3.0));
    EXPECT_THAT(host::heat_scale(0.0, HeatKind::kMotion).ticks, testing::ElementsAre(0.0));
    EXPECT_THAT(host::heat_scale(1.0, HeatKind::kMotion).ticks, testing::ElementsAre(0.0, 1.0));
}

TEST(HeatScale, TicksKeepApart) {
    for (const double most : {0.1, 0.7, 3.3, 12.0, 99.0, 4321.0, 2147483.0}) {
        const host::HeatScale scale = host::heat_scale(most, HeatKind::kDwell);
        EXPECT_DOUBLE_EQ(scale.ticks.back(), most);
        for (std::size_t i = 1; i < scale.ticks.size(); ++i) {
            EXPECT_GE(scale.share(scale.ticks[i]) - scale.share(scale.ticks[i - 1]), 0.05)
                << most << " " << i;
        }
    }
}

TEST(HeatScale, TextsHaveADecimalOnlyWhereItMatters) {
    EXPECT_EQ(host::tick_text(0.5), "0.5");
    EXPECT_EQ(host::tick_text(1.9), "1.9");
    EXPECT_EQ(host::tick_text(2.0), "2");
    EXPECT_EQ(host::tick_text(34.2), "34");
    EXPECT_EQ(host::tick_text(1234.0), "1234");
}

TEST(HeatScale, ColoursRiseInLightness) {
    double before = 0.0;
    for (int i = 0; i <= 10; ++i) {
        const cv::Scalar c = host::heat_colour(i / 10.0);
        const double lightness = 0.114 * c[0] + 0.587 * c[1] + 0.299 * c[2];
        EXPECT_GT(lightness, before) << i;
        before = lightness;
    }
}

class HeatFiles : public ::testing::Test {
  protected:
    void TearDown() override {
        std::filesystem::remove(dwell_);
        std::filesystem::remove(motion_);
    }

    void write_both(const host::Evidence& evidence) const {
        host::write_heat_picture(evidence, host::HeatKind::kDwell, dwell_);
        host::write_heat_picture(evidence, host::HeatKind::kMotion, motion_);
    }

    std::string dwell_ = test::unique_path("vca-heat-dwell", ".png").string();
    std::string motion_ = test::unique_path("vca-heat-motion", ".png").string();
};

TEST_F(HeatFiles, EachMapGoesToItsOwnFile) {
    host::Evidence evidence;
    evidence.heat.emplace();
    evidence.heat->dwell_ms = evidence.heat->motion = no_heat();
    heat_square(evidence.heat->dwell_ms, 40, 60, 9000);
    heat_square(evidence.heat->motion, 200, 60, 9);
    write_both(evidence);
    const cv::Mat dwell = cv::imread(dwell_);
    const cv::Mat motion = cv::imread(motion_);
    ASSERT_EQ(dwell.size(), host::kHeatPicture);
    ASSERT_EQ(motion.size(), host::kHeatPicture);
    const cv::Point left = middle_of(40, 60);
    const cv::Point right = middle_of(200, 60);
    EXPECT_GT(warmth(dwell.at<cv::Vec3b>(left)), warmth(dwell.at<cv::Vec3b>(right)) + 100);
    EXPECT_GT(warmth(motion.at<cv::Vec3b>(right)), warmth(motion.at<cv::Vec3b>(left)) + 100);
}

TEST_F(HeatFiles, TheFloorIsTheRunsSnapshot) {
    host::Evidence evidence;
    evidence.colour_nv12.assign(960 * 544 * 3 / 2, 128);
    write_both(evidence);
    const cv::Mat grey = cv::imread(dwell_);
    std::fill_n(evidence.colour_nv12.begin(), 960 * 544, std::uint8_t{40});
    write_both(evidence);
    const cv::Point middle = middle_of(120, 60);
    EXPECT_GT(grey.at<cv::Vec3b>(middle)[0], cv::imread(dwell_).at<cv::Vec3b>(middle)[0] + 20);
}

TEST_F(HeatFiles, AFolderThatIsNotThereIsAnError) {
    EXPECT_THROW(host::write_heat_picture({}, host::HeatKind::kDwell, "/nonexistent/dwell.png"),
                 std::runtime_error);
}

}  // namespace
