// Surfaces in the local axes of a person or a thing.
#pragma once

#include <cmath>
#include <cstddef>

#include "sim/body.h"

namespace sim {

// Local axes: forward, right, up; the camera's z axis points down.
class Frame3 {
  public:
    Frame3(const Camera& camera, double x, double y, double dir_x, double dir_y)
        : camera_(camera), x_(x), y_(y), fx_(dir_x), fy_(dir_y) {}

    Vec3 at(double forward, double right, double up) const {
        return {static_cast<float>(x_ + forward * fx_ - right * fy_),
                static_cast<float>(y_ + forward * fy_ + right * fx_),
                static_cast<float>(camera_.height_m - up)};
    }

    // Forward, right, up, each tilted forwards by a small angle's sine.
    std::array<Vec3, 3> axes(double tilt = 0.0) const {
        const double c = std::sqrt(1.0 - tilt * tilt);
        const auto f = [](double v) { return static_cast<float>(v); };
        return {Vec3{f(c * fx_), f(c * fy_), f(tilt)}, Vec3{f(-fy_), f(fx_), 0.0f},
                Vec3{f(tilt * fx_), f(tilt * fy_), f(-c)}};
    }

  private:
    const Camera& camera_;
    double x_, y_, fx_, fy_;
};

class Builder {
  public:
    Builder(const Camera& camera, const Frame3& frame, Model& model)
        : camera_(camera), frame_(frame), model_(model) {}

    int material(Rgb colour, bool swallows_infrared = false) {
        model_.materials.push_back({colour, swallows_infrared});
        return static_cast<int>(model_.materials.size()) - 1;
    }

    // Centre and radii as forward, right, up.
    void ellipsoid(const Vec3& c, const Vec3& radii, int material, double tilt = 0.0) {
        model_.quadrics.push_back(make_ellipsoid(camera_, frame_.at(c[0], c[1], c[2]),
                                                 frame_.axes(tilt), radii, material));
    }

    // The part of an ellipsoid's surface within 'half' of its centre along one of its axes.
    void band(const Vec3& c, const Vec3& radii, std::size_t axis, float half, int material) {
        const std::array<Vec3, 3> axes = frame_.axes();
        Quadric q = make_ellipsoid(camera_, frame_.at(c[0], c[1], c[2]), axes, radii, material);
        q.axis = axes[axis];
        q.half_length = half;
        model_.quadrics.push_back(q);
    }

    void ball(const Vec3& c, float radius, int material) {
        model_.quadrics.push_back(
            make_sphere(camera_, frame_.at(c[0], c[1], c[2]), radius, material));
    }

    void bar(const Vec3& a, const Vec3& b, float radius, int material) {
        model_.quadrics.push_back(make_bar(camera_, frame_.at(a[0], a[1], a[2]),
                                           frame_.at(b[0], b[1], b[2]), radius, material));
    }

    void limb(const Vec3& a, const Vec3& b, float radius, int material) {
        bar(a, b, radius, material);
        ball(b, radius, material);
    }

    void brick(const Vec3& c, const Vec3& half, int material, double tilt = 0.0) {
        model_.bricks.push_back(
            make_brick(camera_, frame_.at(c[0], c[1], c[2]), frame_.axes(tilt), half, material));
    }

    std::size_t quadric_count() const { return model_.quadrics.size(); }
    const Quadric& quadric(std::size_t i) const { return model_.quadrics[i]; }

  private:
    const Camera& camera_;
    const Frame3& frame_;
    Model& model_;
};

inline float f(double value) {
    return static_cast<float>(value);
}

inline Vec3 v3(double forward, double right, double up) {
    return {f(forward), f(right), f(up)};
}

}  // namespace sim
