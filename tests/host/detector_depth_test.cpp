// The depth detector on bare synthetic bodies.

#include <gtest/gtest.h>

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

TEST(DepthDetector, ChildBesideAnAdultIsFound) {
    Scene scene(3300.0f);
    scene.person(0.0f, 0.0f, 1750.0f);
    scene.person(450.0f, 0.0f, 1050.0f);
    scene.render(8.0f, 50);
    const auto boxes = scene.detect();
    EXPECT_EQ(boxes.size(), 2u);
    EXPECT_TRUE(any_at(boxes, scene, 450.0f, 0.0f, 1050.0f));
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
            EXPECT_TRUE(is_at(boxes[0], scene, x, 0.0f, 1700.0f)) << radius << " at " << x;
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

TEST(DepthDetector, BoxesStayInsideTheImage) {
    for (float x = -2200.0f; x <= 2200.0f; x += 55.0f) {
        Scene scene(3300.0f);
        scene.person(x, 0.4f * x, 1750.0f);
        scene.render(8.0f, 50);
        const auto boxes = scene.detect();
        EXPECT_LE(boxes.size(), 1u) << x;
        for (const Detection& box : boxes) {
            EXPECT_GE(box.x, 0);
            EXPECT_GE(box.y, 0);
            EXPECT_LE(box.x + box.w, host::kColourWidth);
            EXPECT_LE(box.y + box.h, host::kColourHeight);
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
