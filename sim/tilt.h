// A camera that hangs crooked: what it sees is what a level camera at the same place would see,
// turned about the optical centre.
#pragma once

#include <array>
#include <optional>

#include "sim/body.h"
#include "sim/camera.h"
#include "sim/quadric.h"

namespace sim {

class Turn {
  public:
    explicit Turn(const Tilt& tilt);

    // A direction or place of the level camera in the crooked camera's axes, and back.
    Vec3 operator()(const Vec3& level) const;
    Vec3 back(const Vec3& crooked) const;

    bool is_level() const { return is_level_; }

    // Where the crooked camera sees what the level one sees at a pixel; empty behind its back.
    std::optional<Pixel> pixel(const Camera& camera, const Pixel& level) const;

    // The surfaces as the crooked camera has them before it. What is not wholly in front of it,
    // which is out of its picture, loses its place in the picture.
    Model operator()(const Camera& camera, const Model& level) const;

    // The outline within a turned model.
    static Outline outline(const Outline& level, const Model& turned);

  private:
    void turn(const Camera& camera, Quadric& q) const;

    bool is_level_;
    std::array<std::array<double, 3>, 3> m_;  // rows
};

}  // namespace sim
