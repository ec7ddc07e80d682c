// The depth detector on bare synthetic bodies.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "detector_test_scene.h"
#include "host/inference/depth_detector.h"

namespace {

using host::Detection;
using test_scene::Scene;

bool is_at(const Detection& box, const Scene& scene, float x_mm, float y_mm, float height_mm,
           bool shoulders_along_y = false) {
    return host::box_iou(box, scene.truth(x_mm, y_mm, height_mm, shoulders_along_y)) >= 0.5f;
}

bool any_at(const std::vector<Detection>& boxes, const Scene& scene, float x_mm, float y_mm,
            float height_mm) {
    for (const Detection& box : boxes) {
        if (is_at(box, scene, x_mm, y_mm, height_mm)) return true;
    }
    return false;
}

class OnePerson : public testing::TestWithParam<float> {};

TEST_P(OnePerson, IsFoundWhereTheHeadIsAllOverTheView) {
    const float camera_height = GetParam();
    for (const float height : {950.0f, 1300.0f, 1700.0f, 1950.0f}) {
        const float z_mm = camera_height - height;
        const float reach_x = 180.0f / test_scene::camera_at(1.0f).fx * z_mm;
        const float reach_y = 85.0f / test_scene::camera_at(1.0f).fy * z_mm;
        for (const float sx : {-1.0f, 0.0f, 0.6f}) {
            for (const float sy : {-1.0f, 0.0f, 0.7f}) {
                Scene scene(camera_height);
                scene.person(sx * reach_x, sy * reach_y, height, sx < 0.0f);
                scene.render(8.0f, 50);
                const auto boxes = scene.detect();
                ASSERT_EQ(boxes.size(), 1u) << height << " at " << sx << ", " << sy;
                EXPECT_GE(boxes[0].score, 0.8f) << height << " at " << sx << ", " << sy;
                EXPECT_EQ(boxes[0].class_id, host::kClassPerson);
                EXPECT_NEAR(boxes[0].head->x_mm, sx * reach_x, 10.0f) << height;
                EXPECT_NEAR(boxes[0].head->y_mm, sy * reach_y, 10.0f) << height;
                EXPECT_TRUE(is_at(boxes[0], scene, sx * reach_x, sy * reach_y, height, sx < 0.0f))
                    << height << " at " << sx << ", " << sy;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(CameraHeights, OnePerson,
                         testing::Values(2600.0f, 3300.0f, 4500.0f, 6000.0f));

TEST(DepthDetector, BoxHoldsHeadAndShoulders) {
    Scene scene(3300.0f);
    scene.person(0.0f, 0.0f, 1700.0f);
    scene.render();
    const auto boxes = scene.detect();
    ASSERT_EQ(boxes.size(), 1u);
    // Shoulders 0.45 m wide and 0.24 m deep, about 1.9 m below the lens.
    const float px_per_mm = test_scene::kFocalColour_px / 1900.0f;
    EXPECT_NEAR(static_cast<float>(boxes[0].w), 450.0f * px_per_mm, 25.0f);
    EXPECT_NEAR(static_cast<float>(boxes[0].h), 260.0f * px_per_mm, 25.0f);
}

TEST(DepthDetector, EmptyFloorHasNobody) {
    Scene scene(3300.0f);
    scene.render(20.0f, 10);
    EXPECT_TRUE(scene.detect().empty());
}

TEST(DepthDetector, MissingImageHasNobody) {
    Scene scene(3300.0f);
    EXPECT_TRUE(scene.detect().empty()) << "an image of zeros";
}

TEST(DepthDetector, TwoSideBySideAreTwo) {
    for (const float camera_height : {3000.0f, 4000.0f, 6000.0f}) {
        Scene scene(camera_height);
        scene.person(-250.0f, 100.0f, 1750.0f);
        scene.person(250.0f, 120.0f, 1650.0f);
        scene.render(8.0f, 50);
        const auto boxes = scene.detect();
        EXPECT_EQ(boxes.size(), 2u) << camera_height;
        EXPECT_TRUE(any_at(boxes, scene, -250.0f, 100.0f, 1750.0f)) << camera_height;
        EXPECT_TRUE(any_at(boxes, scene, 250.0f, 120.0f, 1650.0f)) << camera_height;
    }
}

TEST(DepthDetector, HeadsThatTouchAreFoundOneByOne) {
    for (const float camera_height : {3000.0f, 4000.0f, 6000.0f}) {
        Scene scene(camera_height);
        scene.person(-200.0f, 300.0f, 1720.0f, true);
        scene.person(0.0f, 300.0f, 1700.0f, true);
        scene.person(210.0f, 310.0f, 1740.0f, true);
        scene.render(8.0f, 50);
        const auto boxes = scene.detect();
        EXPECT_EQ(boxes.size(), 3u) << camera_height;
        for (const float x : {-200.0f, 0.0f, 210.0f}) {
            EXPECT_TRUE(std::any_of(
                boxes.begin(), boxes.end(),
                [x](const Detection& box) { return std::fabs(box.head->x_mm - x) < 35.0f; }))
                << x << " at " << camera_height;
        }
    }
}

TEST(DepthDetector, ChildBesideAnAdultIsFound) {
    Scene scene(3300.0f);
    scene.person(0.0f, 0.0f, 1750.0f);
    scene.person(450.0f, 0.0f, 1050.0f);
    scene.render(8.0f, 50);
    const auto boxes = scene.detect();
    EXPECT_EQ(boxes.size(), 2u);
    EXPECT_TRUE(any_at(boxes, scene, 450.0f, 0.0f, 1050.0f));
}

TEST(DepthDetector, SmallChildrenAreFoundAndBacksOfChairsAreNot) {
    for (const float x : {0.0f, 700.0f, -1200.0f}) {
        for (const float height : {930.0f, 1000.0f, 1100.0f}) {
            for (const bool turned : {false, true}) {
                Scene child(3300.0f);
                child.person(x, 200.0f, height, turned);
                child.render(8.0f, 50);
                const auto boxes = child.detect();
                ASSERT_EQ(boxes.size(), 1u) << height << " at " << x;
                EXPECT_GT(boxes[0].score, 0.7f) << height << " at " << x;
            }
        }
        // As thick as a stereo camera sees them.
        for (const float thick : {35.0f, 45.0f, 55.0f}) {
            Scene chair(3300.0f);
            chair.brick({x, 200.0f, 220.0f, 220.0f, 450.0f});
            chair.brick({x, 400.0f, 125.0f, thick, 910.0f});
            chair.render(8.0f, 50);
            EXPECT_TRUE(chair.detect().empty()) << thick << " at " << x;
        }
    }
}

TEST(DepthDetector, CrowdOnARasterIsCountedExactly) {
    Scene scene(6000.0f);
    int people = 0;
    for (int row = -2; row <= 2; ++row) {
        for (int col = -5; col <= 5; ++col, ++people) {
            scene.person(560.0f * static_cast<float>(col), 520.0f * static_cast<float>(row),
                         1560.0f + 37.0f * static_cast<float>((row * 7 + col * 13 + 200) % 11));
        }
    }
    scene.render(8.0f, 50);
    EXPECT_EQ(scene.detect().size(), static_cast<std::size_t>(people));
}

TEST(DepthDetector, ThingsAreNobody) {
    for (const float x : {0.0f, 700.0f, -1200.0f}) {
        Scene trolley(3300.0f);
        trolley.brick({x, 0.0f, 275.0f, 450.0f, 1000.0f});
        trolley.render(8.0f, 50);
        EXPECT_TRUE(trolley.detect().empty()) << "trolley at " << x;
        Scene suitcase(3300.0f);
        suitcase.brick({x, 200.0f, 225.0f, 130.0f, 700.0f});
        suitcase.render(8.0f, 50);
        EXPECT_TRUE(suitcase.detect().empty()) << "suitcase at " << x;
        Scene table(3300.0f);
        table.brick({x, 0.0f, 700.0f, 500.0f, 1100.0f});
        table.render(8.0f, 50);
        EXPECT_TRUE(table.detect().empty()) << "table at " << x;
    }
}

TEST(DepthDetector, PersonBehindATrolleyIsOne) {
    Scene scene(3300.0f);
    scene.person(0.0f, 400.0f, 1700.0f);
    scene.brick({0.0f, -300.0f, 275.0f, 450.0f, 1000.0f});
    scene.render(8.0f, 50);
    const auto boxes = scene.detect();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_TRUE(is_at(boxes[0], scene, 0.0f, 400.0f, 1700.0f));
}

TEST(DepthDetector, OutstretchedArmNeitherSplitsNorMoves) {
    Scene scene(3300.0f);
    scene.person(0.0f, 0.0f, 1700.0f);
    scene.ellipsoid({450.0f, 0.0f, 1350.0f, 300.0f, 50.0f, 50.0f});
    scene.ellipsoid({700.0f, 0.0f, 1420.0f, 90.0f, 50.0f, 60.0f});
    scene.render(8.0f, 50);
    const auto boxes = scene.detect();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_TRUE(is_at(boxes[0], scene, 0.0f, 0.0f, 1700.0f));
}

TEST(DepthDetector, HairWithoutAnEchoLosesNobody) {
    for (const float radius : {50.0f, 75.0f, 110.0f}) {
        for (const float x : {0.0f, 800.0f}) {
            Scene scene(3300.0f);
            scene.person(x, 0.0f, 1700.0f);
            scene.render(8.0f, 50);
            scene.swallow(x, 0.0f, radius, 1500.0f);
            const auto boxes = scene.detect();
            ASSERT_EQ(boxes.size(), 1u) << radius << " at " << x;
            // Of a head that is missing altogether only the shoulders tell, of which more is seen
            // on the side of the camera.
            EXPECT_NEAR(boxes[0].head->x_mm, x, 80.0f) << radius;
            EXPECT_NEAR(boxes[0].head->y_mm, 0.0f, 30.0f) << radius;
            if (radius > 100.0f) continue;
            EXPECT_TRUE(is_at(boxes[0], scene, x, 0.0f, 1700.0f)) << radius << " at " << x;
        }
    }
}

TEST(DepthDetector, SomebodyIsUnderAnUmbrellaButNotUnderABoard) {
    for (const float camera : {3300.0f, 4500.0f, 6000.0f}) {
        for (const float x : {0.0f, 600.0f}) {
            Scene umbrella(camera);
            umbrella.person(x, 0.0f, 1700.0f);
            umbrella.ellipsoid({x, 0.0f, 1810.0f, 500.0f, 500.0f, 170.0f});
            umbrella.render(8.0f, 50);
            const auto boxes = umbrella.detect();
            ASSERT_EQ(boxes.size(), 1u) << x << " at " << camera;
            EXPECT_NEAR(boxes[0].head->x_mm, x, 60.0f) << camera;
            EXPECT_NEAR(boxes[0].head->y_mm, 0.0f, 60.0f) << camera;
            EXPECT_NEAR(boxes[0].head->top_mm, 1730.0f, 60.0f) << camera;
            for (const float half_mm : {300.0f, 450.0f}) {
                Scene board(camera);
                board.brick({x, 0.0f, half_mm, half_mm, 1900.0f});
                board.render(8.0f, 50);
                EXPECT_TRUE(board.detect().empty()) << half_mm << " at " << camera;
            }
        }
    }
}

TEST(DepthDetector, HeadOutsideTheImageIsNotReported) {
    Scene scene(3300.0f);
    const float edge_mm = 240.0f / scene.camera().fx * 1600.0f;
    scene.person(edge_mm + 60.0f, 0.0f, 1700.0f);
    scene.render(8.0f, 50);
    EXPECT_TRUE(scene.detect().empty());
}

TEST(DepthDetector, BoxesHaveTheirMiddleInTheImage) {
    for (float x = -2200.0f; x <= 2200.0f; x += 55.0f) {
        Scene scene(3300.0f);
        scene.person(x, 0.4f * x, 1750.0f);
        scene.render(8.0f, 50);
        const auto boxes = scene.detect();
        EXPECT_LE(boxes.size(), 1u) << x;
        for (const Detection& box : boxes) {
            EXPECT_GT(box.x + box.w / 2, 0);
            EXPECT_GT(box.y + box.h / 2, 0);
            EXPECT_LT(box.x + box.w / 2, host::kColourWidth);
            EXPECT_LT(box.y + box.h / 2, host::kColourHeight);
            EXPECT_GE(box.w, 20) << x;
            EXPECT_GE(box.h, 20) << x;
            EXPECT_GE(box.score, 0.0f);
            EXPECT_LE(box.score, 1.0f);
        }
    }
}

TEST(DepthDetector, NoiseAloneMovesABoxByFewPixels) {
    Detection first;
    for (unsigned seed = 1; seed <= 20; ++seed) {
        Scene scene(3300.0f);
        scene.person(500.0f, -200.0f, 1720.0f);
        scene.render(10.0f, 30, seed);
        const auto boxes = scene.detect();
        ASSERT_EQ(boxes.size(), 1u);
        if (seed == 1) first = boxes[0];
        EXPECT_GE(host::box_iou(first, boxes[0]), 0.9f);
    }
}

TEST(DepthDetector, RandomImagesDoNoHarm) {
    std::mt19937 random(5);
    std::vector<std::uint16_t> image(static_cast<std::size_t>(host::kDepthWidth) *
                                     host::kDepthHeight);
    for (const float height : {0.0f, 500.0f, 3300.0f, 12000.0f}) {
        host::DepthDetector detector(test_scene::camera_at(height).model());
        for (auto& pixel : image)
            pixel = static_cast<std::uint16_t>(random());
        EXPECT_LE(detector.detect(image.data(), host::kDepthWidth).size(), host::kMaxDetections);
        for (auto& pixel : image)
            pixel = static_cast<std::uint16_t>(1000 + random() % 2000);
        EXPECT_LE(detector.detect(image.data(), host::kDepthWidth).size(), host::kMaxDetections);
    }
}

// ---- Where people are expected ----

// A bare head of a person whose shoulders are out of sight: by itself nobody.
void add_bare_head(Scene& scene, float x, float y, float height) {
    scene.ellipsoid({x, y, height - 120.0f, 80.0f, 95.0f, 120.0f});
}

std::vector<Detection> seen_again(Scene& scene, const std::vector<host::ExpectedHead>& expected) {
    host::DepthDetector detector(scene.camera().model());
    return detector.detect(scene.render(8.0f, 50).data(), host::kDepthWidth, expected);
}

TEST(SecondLook, TwoHeadsAsOneAreTwoWhereTwoAreExpected) {
    Scene scene(4000.0f);
    scene.person(-80.0f, 300.0f, 1700.0f, true);
    scene.person(80.0f, 300.0f, 1700.0f, true);
    const auto boxes =
        seen_again(scene, {{{-70.0f, 310.0f, 1700.0f}, 0.1f}, {{90.0f, 290.0f, 1700.0f}, 0.1f}});
    ASSERT_EQ(boxes.size(), 2u);
    const float apart = std::fabs(boxes[0].head->x_mm - boxes[1].head->x_mm);
    EXPECT_NEAR(apart, 160.0f, 40.0f);
}

TEST(SecondLook, ThreeInARowStayThree) {
    for (const float apart : {180.0f, 220.0f}) {
        Scene scene(4000.0f);
        std::vector<host::ExpectedHead> expected;
        for (const float y : {-apart, 0.0f, apart}) {
            scene.person(100.0f, y, 1700.0f, false);
            expected.push_back({{110.0f, y + 20.0f, 1700.0f}, 0.1f});
        }
        const auto boxes = seen_again(scene, expected);
        ASSERT_EQ(boxes.size(), 3u) << apart;
        for (const host::ExpectedHead& head : expected) {
            EXPECT_TRUE(std::any_of(boxes.begin(), boxes.end(), [&](const Detection& box) {
                return std::hypot(box.head->x_mm - 100.0f, box.head->y_mm - head.at.y_mm + 20.0f) <
                       40.0f;
            })) << head.at.y_mm;
        }
    }
}

TEST(SecondLook, AShoulderIsNobodyForLong) {
    Scene scene(4000.0f);
    scene.person(300.0f, 0.0f, 1800.0f, true);
    const host::HeadPlace shoulder{300.0f, 180.0f, 1500.0f};
    EXPECT_EQ(seen_again(scene, {{shoulder, 0.0f, 2.0f}}).size(), 1u);
}

TEST(SecondLook, OnePersonIsNeverTwo) {
    for (const float apart : {40.0f, 100.0f, 160.0f, 220.0f}) {
        Scene scene(4000.0f);
        scene.person(500.0f, 200.0f, 1750.0f);
        const auto boxes = seen_again(
            scene, {{{500.0f, 200.0f, 1750.0f}, 0.1f}, {{500.0f + apart, 200.0f, 1750.0f}, 0.1f}});
        EXPECT_EQ(boxes.size(), 1u) << apart;
    }
}

TEST(SecondLook, FindsAHeadThatDoesNotLookLikeAPerson) {
    Scene scene(4000.0f);
    add_bare_head(scene, 300.0f, -200.0f, 1700.0f);
    EXPECT_TRUE(seen_again(scene, {}).empty());
    const auto boxes = seen_again(scene, {{{320.0f, -180.0f, 1700.0f}, 0.1f}});
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_TRUE(boxes[0].head_seen);
    EXPECT_LT(boxes[0].score, 0.5f) << "enough to go on with, not to begin";
    EXPECT_NEAR(boxes[0].head->x_mm, 300.0f, 25.0f);
}

TEST(SecondLook, WhatIsLowAndAloneAndNeverLooksLikeAPersonIsAThing) {
    const host::HeadPlace low{300.0f, -200.0f, 950.0f};
    Scene scene(4000.0f);
    add_bare_head(scene, low.x_mm, low.y_mm, low.top_mm);
    EXPECT_EQ(seen_again(scene, {{low, 0.0f, 0.1f}}).size(), 1u);
    EXPECT_TRUE(seen_again(scene, {{low, 0.0f, 2.0f}}).empty());
    scene.person(300.0f, 200.0f, 1700.0f);  // who may hide the shoulders
    EXPECT_EQ(seen_again(scene, {{low, 0.0f, 2.0f}}).size(), 2u);
    Scene adult(4000.0f);
    add_bare_head(adult, low.x_mm, low.y_mm, 1700.0f);
    EXPECT_EQ(seen_again(adult, {{{low.x_mm, low.y_mm, 1700.0f}, 0.0f, 2.0f}}).size(), 1u);
}

TEST(SecondLook, WhoIsHiddenBehindSomebodyTallerIsWaitedForAMoment) {
    // The taller one's trunk lies in the ray to the shorter one's head.
    Scene scene(3000.0f);
    scene.person(900.0f, 0.0f, 1900.0f);
    const host::HeadPlace hidden{1180.0f, 0.0f, 1450.0f};
    const auto waited = seen_again(scene, {{{900.0f, 0.0f, 1900.0f}, 0.1f}, {hidden, 0.5f}});
    ASSERT_EQ(waited.size(), 2u);
    EXPECT_FALSE(waited.back().head_seen);
    EXPECT_FLOAT_EQ(waited.back().head->x_mm, hidden.x_mm);
    EXPECT_EQ(seen_again(scene, {{{900.0f, 0.0f, 1900.0f}, 0.1f}, {hidden, 1.5f}}).size(), 1u);
}

TEST(SecondLook, NobodyIsSeenWhereNothingStands) {
    Scene empty(3300.0f);
    EXPECT_TRUE(seen_again(empty, {{{200.0f, 100.0f, 1700.0f}, 0.1f}}).empty());
    Scene chair(3300.0f);
    chair.brick({200.0f, 100.0f, 220.0f, 220.0f, 900.0f});
    EXPECT_TRUE(seen_again(chair, {{{200.0f, 100.0f, 1700.0f}, 0.1f}}).empty());
    Scene next_to_somebody(3300.0f);
    next_to_somebody.person(600.0f, 100.0f, 1700.0f);
    EXPECT_EQ(seen_again(next_to_somebody, {{{200.0f, 100.0f, 1700.0f}, 0.1f}}).size(), 1u);
}

TEST(Boxes, ShrinkAboutTheirMiddle) {
    Detection box;
    box.set_box(0.0f, 60.0f, 100.0f, 140.0f);
    ASSERT_TRUE(host::shrink_inside(box, {960, 540, 20, 10, 0}));
    EXPECT_EQ(box.x, 20);
    EXPECT_EQ(box.w, 20);
    EXPECT_EQ(box.y, 100);
    EXPECT_EQ(box.h, 40);
    const Detection before = box;
    EXPECT_FALSE(host::shrink_inside(box, {960, 540, 26, 10, 0})) << "too little would be left";
    EXPECT_EQ(box.w, before.w);
    box.set_box(900.0f, 960.0f, 480.0f, 540.0f);
    ASSERT_TRUE(host::shrink_inside(box, {960, 540, 20, 10, 0}));
    EXPECT_EQ(box.x + box.w, 940);
    EXPECT_EQ(box.y + box.h, 520);
}

TEST(Boxes, AMiddleALittleTooFarOutIsMovedIn) {
    const host::BoxLimits limits{960, 540, 20, 26, 8};
    Detection box;
    box.set_box(900.0f, 970.0f, 0.0f, 100.0f);
    ASSERT_EQ(box.x + box.w / 2, 935);
    ASSERT_TRUE(host::shrink_inside(box, limits));
    EXPECT_EQ(box.x + box.w / 2, 927);
    EXPECT_EQ(box.w, 26);
    EXPECT_EQ(box.y + box.h / 2, 50);
    box.set_box(902.0f, 972.0f, 0.0f, 100.0f);
    EXPECT_FALSE(host::shrink_inside(box, limits));
    EXPECT_EQ(box.x + box.w / 2, 937) << "unchanged";
    box.set_box(400.0f, 460.0f, 0.0f, 52.0f);
    ASSERT_TRUE(host::shrink_inside(box, limits));
    EXPECT_EQ(box.y + box.h / 2, 33);
}

TEST(Boxes, OverlapOfBoxes) {
    const Detection a{1, 0.9f, 0, 0, 10, 10};
    EXPECT_FLOAT_EQ(host::box_iou(a, a), 1.0f);
    EXPECT_FLOAT_EQ(host::box_iou(a, {1, 0.9f, 5, 0, 10, 10}), 50.0f / 150.0f);
    EXPECT_FLOAT_EQ(host::box_iou(a, {1, 0.9f, 10, 0, 10, 10}), 0.0f);
    EXPECT_FLOAT_EQ(host::box_iou(a, {1, 0.9f, 0, 0, 0, 10}), 0.0f);
}

TEST(Boxes, TheBetterOfTwoOverlappingBoxesIsKept) {
    std::vector<Detection> boxes = {
        {1, 0.5f, 2, 0, 10, 10}, {1, 0.9f, 0, 0, 10, 10}, {1, 0.4f, 50, 0, 10, 10}};
    host::suppress_overlaps(boxes, 0.3f);
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_EQ(boxes[0].x, 0);
    EXPECT_EQ(boxes[1].x, 50);
    std::vector<Detection> many;
    for (int i = 0; i < 300; ++i)
        many.push_back({1, 0.5f, 20 * i, 0, 10, 10});
    host::suppress_overlaps(many, 0.3f);
    EXPECT_EQ(many.size(), host::kMaxDetections);
}

}  // namespace
