// What people and the things they carry look like: from a pose to surfaces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sim/camera.h"
#include "sim/maths.h"
#include "sim/quadric.h"

namespace sim {

struct Rgb {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
};

struct Material {
    Rgb colour;
    bool swallows_infrared = false;  // black hair: the depth sensor gets little light back
};

// Staff wear one over their top: fluorescent, sleeveless, with grey reflective stripes.
enum class Vest { kNone, kYellow, kOrange };

enum class Load {
    kNone,
    kHandbag,
    kBackpack,
    kSuitcase,
    kTrolley,
    kCart,
    kPram,
    kDog,       // on a lead at the right
    kUmbrella,  // open, over the head
};

inline bool is_pushed(Load load) {
    return load == Load::kTrolley || load == Load::kCart || load == Load::kPram;
}

struct Look {
    double height_m = 1.7;
    double girth = 1.0;  // 1: shoulder width 0.26 of the height
    Rgb skin, hair, top, trousers, shoes, load;
    Vest vest = Vest::kNone;
    Rgb vest_colour;  // of the cloth, faded by washing and wear
    bool short_sleeves = false;
    bool long_hair = false;
    bool bald = false;
};

struct Pose {
    int id = 0;
    double x_m = 0.0;  // below the head
    double y_m = 0.0;
    double dir_x = 0.0;  // unit vector, the way the person faces
    double dir_y = 1.0;
    double phase = 0.0;   // of the gait, 2 pi for two steps
    double stride = 0.0;  // 0 standing to 1 walking briskly
    Load load = Load::kNone;
    Look look;
};

// Where the sun shines on the floor: an ellipse along the world's axes.
struct SunPatch {
    Point centre;
    double half_x_m = 0.0;
    double half_y_m = 0.0;
};

// Everything to be drawn in one frame. Material 0 is the floor.
struct Model {
    std::vector<Quadric> quadrics;
    std::vector<Brick> bricks;
    std::vector<Material> materials;
    std::vector<SunPatch> suns{};
};

// A person's head and shoulders: surfaces model.quadrics[first .. first + count), image rectangle.
struct Outline {
    std::size_t first = 0;
    std::size_t count = 0;
    Rect box;
};

Look random_look(Rng& rng, double height_m);

// Dresses a person as a member of staff.
void put_on_vest(Rng& rng, Look& look);

// A yellow or orange top of the kind visitors wear: without stripes.
Rgb random_vivid_top(Rng& rng);

// Adults N(1.70, 0.09) m, limited to 1.50 to 1.95.
double random_adult_height(Rng& rng);

// Distance from a person to the middle of the trolley or cart pushed.
inline constexpr double kTrolleyAhead_m = 0.85;

Outline add_person(const Camera& camera, const Pose& pose, Model& model);

}  // namespace sim
