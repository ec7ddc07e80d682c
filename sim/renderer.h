// From a model of surfaces to the colour and depth images of one frame.
#pragma once

#include <vector>

#include "sim/body.h"
#include "sim/raster.h"
#include "sim/simulator.h"
#include "sim/tilt.h"

namespace sim {

class Renderer {
  public:
    // seed chooses the floor and the sensor noise.
    Renderer(const Camera& camera, const Turn& turn, std::uint64_t seed);

    // model is as turned as the camera; people gives the positions of shadows. Fills the four
    // images of the frame, bgr only on request; frame.index chooses the noise.
    void render(const Model& model, const std::vector<Pose>& people, bool with_bgr, Frame& frame);

    // Share of an outline's pixels inside the image that were unobstructed in the last render; 0
    // when none is inside the image.
    double visible_share(const Model& model, const Outline& outline) const;

  private:
    // The floor below the camera at a pixel, were it level, and how far one metre of the optical
    // axis reaches downwards there.
    struct FloorPlace {
        Point at;
        double down = 1.0;
    };
    FloorPlace floor_at(int u, int v) const;
    void make_floor();
    void make_noise();
    void cast_shadow(const Point& at);
    void resolve(const Model& model);
    void add_colour_noise(std::int64_t index);
    void measure_depth(const Model& model, Frame& frame) const;

    Camera camera_;
    Turn turn_;
    std::uint64_t seed_;
    std::vector<float> floor_z_;
    Planes floor_;
    std::vector<std::int8_t> colour_noise_;
    std::vector<float> depth_noise_;           // variance 1
    std::vector<std::uint16_t> depth_chance_;  // uniform
    Surface surface_;
    Planes planes_;
    std::vector<std::uint8_t> scratch_;
};

}  // namespace sim
