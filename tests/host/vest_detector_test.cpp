// The vest detector on painted people seen from above: with and without a vest, and with what only
// looks like one.
#include "host/inference/vest_detector.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "tests/host/crop_image.h"

namespace {

const cv::Scalar kVestYellow = test::rgb(212, 236, 44);
const cv::Scalar kVestOrange = test::rgb(238, 104, 32);
const cv::Scalar kShirtYellow = test::rgb(226, 196, 44);
const cv::Scalar kStripe = test::rgb(204, 207, 209);
const cv::Scalar kDark = test::rgb(44, 34, 28);
const cv::Scalar kGreyHair = test::rgb(196, 194, 190);
const cv::Scalar kGreyFloor = test::rgb(176, 178, 182);
const cv::Scalar kBrownFloor = test::rgb(150, 128, 104);

// Shoulders lie across the crop, the head in front of their middle. A stripe is 22 pixels wide.
class Painter {
  public:
    explicit Painter(const cv::Scalar& floor) : picture_(224, 224, CV_8UC3, floor) {}

    Painter& trunk(const cv::Scalar& colour) {
        cv::ellipse(picture_, {112, 112}, {95, 50}, 0, 0, 360, colour, cv::FILLED);
        return *this;
    }
    Painter& stripes(const cv::Scalar& colour) {
        for (const int x : {57, 145})
            cv::rectangle(picture_, {x, 70}, {x + 22, 153}, colour, cv::FILLED);
        return *this;
    }
    Painter& head(const cv::Scalar& colour) {
        cv::ellipse(picture_, {112, 100}, {36, 42}, 0, 0, 360, colour, cv::FILLED);
        return *this;
    }
    // An arm along the trunk, with a wedge of floor between them.
    Painter& arm(const cv::Scalar& colour) {
        cv::rectangle(picture_, {20, 150}, {130, 176}, colour, cv::FILLED);
        cv::rectangle(picture_, {110, 120}, {135, 176}, colour, cv::FILLED);
        return *this;
    }
    // Floor in the crook of an arm, with no way to the floor around.
    Painter& gap(const cv::Scalar& floor) {
        cv::ellipse(picture_, {60, 132}, {26, 9}, 0, 0, 360, floor, cv::FILLED);
        return *this;
    }
    Painter& bag(const cv::Scalar& colour) {
        cv::rectangle(picture_, {150, 130}, {210, 190}, colour, cv::FILLED);
        return *this;
    }
    // Grey bars left and right, the picture squeezed between them.
    Painter& letterboxed() {
        cv::Mat narrow;
        cv::resize(picture_, narrow, {150, 224}, 0, 0, cv::INTER_AREA);
        picture_.setTo(test::rgb(130, 130, 130));  // luma 128
        narrow.copyTo(picture_(cv::Rect(38, 0, 150, 224)));
        return *this;
    }

    host::StaffAnswer answer() {
        // A crop is an enlarged part of a noisy picture.
        cv::Mat noise(picture_.size(), CV_8UC3);
        cv::RNG random(3);
        random.fill(noise, cv::RNG::NORMAL, 4.0, 2.0);
        cv::Mat seen;
        cv::GaussianBlur(picture_, seen, {5, 5}, 0.0);
        seen += noise;
        test::Nv12Image image(224, 224);
        image.paint(seen);
        return *host::VestDetector().detect(image.crop());
    }

  private:
    cv::Mat picture_;
};

void expect_staff(const host::StaffAnswer& answer) {
    EXPECT_TRUE(answer.staff);
    EXPECT_GE(answer.score, 0.5f);
    EXPECT_LE(answer.score, 1.0f);
}

void expect_visitor(const host::StaffAnswer& answer) {
    EXPECT_FALSE(answer.staff);
    EXPECT_GE(answer.score, 0.0f);
    EXPECT_LT(answer.score, 0.5f);
}

TEST(VestDetector, FindsTheVestInBothColoursOnAnyFloor) {
    for (const cv::Scalar& floor : {kGreyFloor, kBrownFloor}) {
        for (const cv::Scalar& vest : {kVestYellow, kVestOrange}) {
            for (const cv::Scalar& hair : {kDark, kGreyHair})
                expect_staff(Painter(floor).trunk(vest).stripes(kStripe).head(hair).answer());
        }
    }
}

TEST(VestDetector, FindsTheVestBetweenBars) {
    expect_staff(
        Painter(kGreyFloor).trunk(kVestOrange).stripes(kStripe).head(kDark).letterboxed().answer());
}

TEST(VestDetector, AVestWithoutStripesIsAShirt) {
    for (const cv::Scalar& shirt : {kVestYellow, kVestOrange, kShirtYellow}) {
        expect_visitor(Painter(kGreyFloor).trunk(shirt).head(kDark).answer());
        expect_visitor(Painter(kBrownFloor).trunk(shirt).head(kGreyHair).answer());
    }
}

TEST(VestDetector, FloorBetweenArmAndTrunkIsNoStripe) {
    for (const cv::Scalar& shirt : {kVestOrange, kShirtYellow}) {
        expect_visitor(Painter(kGreyFloor).trunk(shirt).arm(shirt).head(kDark).answer());
        expect_visitor(
            Painter(kGreyFloor).trunk(shirt).arm(shirt).head(kDark).letterboxed().answer());
    }
}

TEST(VestDetector, FloorInTheCrookOfAnArmIsNoStripe) {
    for (const int grey : {116, 122, 126, 130, 140, 160, 178}) {
        const cv::Scalar floor = test::rgb(grey, grey, grey);
        expect_visitor(Painter(floor).trunk(kShirtYellow).gap(floor).head(kDark).answer());
    }
}

TEST(VestDetector, StripesOnOtherColoursAreNoVest) {
    expect_visitor(
        Painter(kGreyFloor).trunk(test::rgb(44, 54, 84)).stripes(kStripe).head(kDark).answer());
    expect_visitor(
        Painter(kGreyFloor).trunk(test::rgb(150, 40, 44)).stripes(kStripe).head(kDark).answer());
}

TEST(VestDetector, AnOrangeBagIsNoVest) {
    expect_visitor(
        Painter(kGreyFloor).trunk(test::rgb(60, 64, 68)).head(kDark).bag(kVestOrange).answer());
    expect_visitor(
        Painter(kGreyFloor).trunk(test::rgb(206, 202, 194)).head(kDark).bag(kVestOrange).answer());
}

TEST(VestDetector, AnEmptyCropIsNobody) {
    expect_visitor(Painter(kGreyFloor).answer());
    test::Nv12Image black(224, 224);
    expect_visitor(*host::VestDetector().detect(black.crop()));
}

}  // namespace
