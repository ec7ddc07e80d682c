// The pinhole camera: where points land, and back.
#include "sim/camera.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using sim::Camera;
using sim::Pixel;
using sim::Point;

TEST(Camera, PointBelowLandsInTheCentre) {
    const Pixel p = Camera{}.project(0.0, 0.0, 1.0);
    EXPECT_DOUBLE_EQ(p.u, 480.0);
    EXPECT_DOUBLE_EQ(p.v, 272.0);
}

TEST(Camera, AxesOfTheWorldAreAxesOfTheImage) {
    const Camera camera{3.0, 500.0};
    const Pixel p = camera.project(0.5, -0.25, 1.0);  // 2 m below the camera: 250 px a metre
    EXPECT_DOUBLE_EQ(p.u, 605.0);
    EXPECT_DOUBLE_EQ(p.v, 209.5);
}

TEST(Camera, SeesEightySixDegreesAcross) {
    const Camera camera;
    const Point edge = camera.unproject(960.0, 272.0);
    EXPECT_NEAR(2.0 * std::atan(edge.x_m / camera.height_m) * 180.0 / 3.14159265358979, 86.0, 1e-3);
}

TEST(Camera, HigherPointsMoveOutwards) {
    const Camera camera;
    EXPECT_GT(camera.project(0.4, 0.0, 1.7).u, camera.project(0.4, 0.0, 0.0).u);
    EXPECT_LT(camera.project(-0.4, 0.0, 1.7).u, camera.project(-0.4, 0.0, 0.0).u);
}

TEST(Camera, UnprojectUndoesProject) {
    const Camera camera{4.2, 514.737};
    for (const double height : {0.0, 1.1, 1.75}) {
        for (const double x : {-1.3, 0.0, 0.8}) {
            for (const double y : {-0.7, 0.2}) {
                const Pixel p = camera.project(x, y, height);
                const Point back = camera.unproject(p.u, p.v, height);
                EXPECT_NEAR(back.x_m, x, 1e-12);
                EXPECT_NEAR(back.y_m, y, 1e-12);
            }
        }
    }
}

TEST(Camera, HalfViewIsTheImageCorner) {
    const Camera camera;
    const Point half = camera.half_view(1.7);
    const Pixel corner = camera.project(half.x_m, half.y_m, 1.7);
    EXPECT_NEAR(corner.u, 960.0, 1e-9);
    EXPECT_NEAR(corner.v, 544.0, 1e-9);
    EXPECT_FALSE(sim::in_image(corner));
    EXPECT_TRUE(sim::in_image({corner.u - 0.01, corner.v - 0.01}));
    EXPECT_FALSE(sim::in_image({-0.01, 10.0}));
}

}  // namespace
