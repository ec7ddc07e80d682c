// From a model of surfaces to the colour and depth images of one frame.
#pragma once

#include <memory>
#include <vector>

#include "sim/body.h"
#include "sim/raster.h"
#include "sim/sensor.h"
#include "sim/simulator.h"
#include "sim/tilt.h"

namespace sim {

class Renderer {
  public:
    // seed chooses the floor and the sensors' noise.
    Renderer(const Camera& camera, const Turn& turn, std::uint64_t seed, Noise noise);

    // model is as turned as the camera; people gives the positions of shadows. Fills the depth
    // images of the frame and those colour images that are asked for; frame.index chooses the
    // noise.
    void render(const Model& model, const std::vector<Pose>& people, Colours colours, Frame& frame);

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
    void make_noise(Noise noise);
    void cast_shadow(const Point& at);
    void draw_surfaces(const Model& model, const std::vector<Pose>& people);
    void paint(const Model& model, Colours colours, Frame& frame);
    void resolve(const Model& model);
    void find_sun(const Model& model);
    void brighten();
    void add_colour_noise(std::int64_t index);
    void view_depth(const Model& model);
    void measure_depth(const Model& model, Frame& frame);

    Camera camera_;
    Turn turn_;
    std::uint64_t seed_;
    std::vector<float> floor_z_;
    Planes floor_;
    std::vector<std::int8_t> colour_noise_;
    std::unique_ptr<DepthSensor> sensor_;
    DepthView view_;
    Surface surface_;
    Planes planes_;
    std::vector<std::uint8_t> sunlit_;  // 1 where the sun shines; empty: nowhere
    std::vector<std::uint8_t> scratch_;
};

}  // namespace sim
