// Bodies from ellipsoids and capsules, sized by body height (standard segment proportions: hip
// 0.52, shoulder 0.82, elbow 0.63, fingertips 0.38 of the height).
#include "sim/body.h"

#include "sim/builder.h"
#include "sim/things.h"

namespace sim {
namespace {

struct Sizes {
    double height;      // m
    double scale;       // height / 1.70 m
    double shoulder;    // height of the shoulder joints
    double half_width;  // from the middle to a shoulder joint
    double back;        // the trunk stands this far behind the head
};

Sizes sizes_of(const Look& look) {
    Sizes s{};
    s.height = look.height_m;
    s.scale = look.height_m / 1.70;
    s.shoulder = 0.815 * look.height_m;
    s.half_width = 0.5 * 0.26 * look.height_m * look.girth - 0.052 * s.scale;
    s.back = 0.035 * s.scale;
    return s;
}

bool is_dark(Rgb c) {
    return c.r + c.g + c.b < 130;
}

// The surfaces of the trunk. The first two are between neck and shoulders.
struct Trunk {
    Vec3 centre;
    Vec3 radii;
};

std::array<Trunk, 3> trunk_of(const Sizes& s) {
    const double k = s.scale;
    return {
        Trunk{v3(-s.back, 0, s.shoulder + 0.015 * k),
              v3(0.085 * k, 0.80 * s.half_width, 0.085 * k)},
        Trunk{v3(-s.back, 0, s.shoulder - 0.085 * k), v3(0.115 * k, 1.02 * s.half_width, 0.12 * k)},
        Trunk{v3(-s.back, 0, 0.66 * s.height), v3(0.12 * k, 0.92 * s.half_width, 0.24 * k)}};
}

// Children's heads are nearly as large as adults'.
double head_scale(const Sizes& s) {
    return 0.55 + 0.45 * s.scale;
}

void add_head(Builder& b, const Sizes& s, const Look& look, int skin, int hair) {
    const double k = head_scale(s);
    const double top = s.height;
    b.ellipsoid(v3(0.012 * k, 0, top - 0.125 * k), v3(0.095 * k, 0.076 * k, 0.118 * k), skin, 0.12);
    b.ellipsoid(v3(0.108 * k, 0, top - 0.145 * k), v3(0.020 * k, 0.013 * k, 0.024 * k), skin);
    b.ellipsoid(v3(0, 0.078 * k, top - 0.135 * k), v3(0.022 * k, 0.013 * k, 0.03 * k), skin);
    b.ellipsoid(v3(0, -0.078 * k, top - 0.135 * k), v3(0.022 * k, 0.013 * k, 0.03 * k), skin);
    if (look.bald) {
        b.ellipsoid(v3(0, 0, top - 0.100 * k), v3(0.096 * k, 0.080 * k, 0.100 * k), skin);
        return;
    }
    b.ellipsoid(v3(-0.012 * k, 0, top - 0.105 * k), v3(0.100 * k, 0.087 * k, 0.105 * k), hair);
    if (look.long_hair) {
        b.ellipsoid(v3(-0.055 * k, 0, top - 0.190 * k), v3(0.062 * k, 0.088 * k, 0.145 * k), hair);
    }
}

void add_shoulders(Builder& b, const Sizes& s, int skin, int top) {
    const double k = s.scale;
    b.bar(v3(-0.02, 0, s.shoulder - 0.02 * k), v3(0, 0, s.height - 0.16 * k), f(0.055 * k), skin);
    const Vec3 left = v3(-s.back, -s.half_width, s.shoulder);
    const Vec3 right = v3(-s.back, s.half_width, s.shoulder);
    b.bar(left, right, f(0.060 * k), top);
    b.ball(left, f(0.062 * k), top);
    b.ball(right, f(0.062 * k), top);
    // The slope from neck to shoulders, and the chest below it.
    const std::array<Trunk, 3> trunk = trunk_of(s);
    b.ellipsoid(trunk[0].centre, trunk[0].radii, top);
    b.ellipsoid(trunk[1].centre, trunk[1].radii, top);
}

// A stripe on a surface of the trunk, across or up (axis 1 or 2) from its middle. The ellipse that
// is cut out there has the other radii times sqrt(1 - (offset / radius)^2).
void add_stripe(Builder& b, const Trunk& trunk, std::size_t axis, double offset, int material) {
    constexpr double kHalfWidth_m = 0.025;
    constexpr double kLift_m = 0.006;  // above the cloth, even where the surface curves
    const double part = offset / trunk.radii[axis];
    if (part <= -1.0 || part >= 1.0) return;
    const double shrink = std::sqrt(1.0 - part * part);
    Vec3 centre = trunk.centre;
    centre[axis] += f(offset);
    Vec3 radii;
    for (std::size_t i = 0; i < 3; ++i)
        radii[i] = f(trunk.radii[i] * shrink + kLift_m);
    radii[axis] = 0.15f;  // hardly curved within the width
    b.band(centre, radii, axis, f(kHalfWidth_m), material);
}

// Two stripes over the shoulders, down to the waist in front and behind, and two around the body.
void add_reflective_stripes(Builder& b, const Sizes& s) {
    const int grey = b.material({204, 207, 209});
    const std::array<Trunk, 3> trunk = trunk_of(s);
    const Trunk shoulders{v3(-s.back, 0, s.shoulder), v3(0.060 * s.scale, 1.0, 0.060 * s.scale)};
    for (const double side : {-1.0, 1.0}) {
        const double across = side * 0.66 * s.half_width;
        add_stripe(b, shoulders, 1, across, grey);
        for (const Trunk& part : trunk)
            add_stripe(b, part, 1, across, grey);
    }
    add_stripe(b, trunk[2], 2, 0.04 * s.scale, grey);
    add_stripe(b, trunk[2], 2, -0.09 * s.scale, grey);
}

struct Arm {
    Vec3 elbow;
    Vec3 wrist;
};

// side is -1 for left, 1 for right.
Arm arm_of(const Sizes& s, const Pose& pose, double side) {
    const double k = s.scale;
    const double joint = side * s.half_width;
    if (is_pushed(pose.load)) {
        return {v3(0.10 * k, joint + side * 0.05 * k, s.shoulder - 0.25 * k),
                v3(0.34, side * 0.20, 1.02 < s.shoulder ? 1.02 : s.shoulder)};
    }
    // Each arm swings opposite to the leg on its side.
    double swing = -0.42 * side * pose.stride * sine(pose.phase);
    if (pose.load == Load::kSuitcase && side > 0.0) swing = -0.35;
    const double bent = swing + 0.18 + 0.25 * pose.stride;
    const double upper = 0.29 * k;
    const double lower = 0.25 * k;
    const Vec3 elbow = v3(-s.back + upper * sine(swing), joint + side * 0.045 * k,
                          s.shoulder - upper * cosine(swing));
    const Vec3 wrist = v3(elbow[0] + lower * sine(bent), elbow[1] + side * 0.01 * k,
                          elbow[2] - lower * cosine(bent));
    return {elbow, wrist};
}

void add_upper_arm(Builder& b, const Sizes& s, const Arm& arm, double side, int material) {
    b.limb(v3(-s.back, side * s.half_width, s.shoulder), arm.elbow, f(0.048 * s.scale), material);
}

void add_forearm(Builder& b, const Sizes& s, const Arm& arm, int sleeve, int skin) {
    b.bar(arm.elbow, arm.wrist, f(0.038 * s.scale), sleeve);
    b.ellipsoid(v3(arm.wrist[0] + 0.02 * s.scale, arm.wrist[1], arm.wrist[2] - 0.04 * s.scale),
                v3(0.045 * s.scale, 0.03 * s.scale, 0.07 * s.scale), skin);
}

void add_leg(Builder& b, const Sizes& s, const Pose& pose, double side, int trousers, int shoes) {
    const double k = s.scale;
    const double swing = 0.48 * side * pose.stride * sine(pose.phase);
    // The leg that is moving forward is bent at the knee.
    const double lift = side * cosine(pose.phase);
    const double bend = 0.10 + 0.65 * pose.stride * (lift > 0.0 ? lift : 0.0);
    const double thigh = 0.42 * k;
    const double shank = 0.42 * k;
    const double across = side * 0.085 * k;
    const Vec3 hip = v3(-s.back, across, 0.525 * s.height);
    const Vec3 knee = v3(hip[0] + thigh * sine(swing), across, hip[2] - thigh * cosine(swing));
    const double shin = swing - bend;
    const Vec3 ankle = v3(knee[0] + shank * sine(shin), across, knee[2] - shank * cosine(shin));
    b.limb(hip, knee, f(0.078 * k), trousers);
    b.limb(knee, ankle, f(0.055 * k), trousers);
    b.ellipsoid(v3(ankle[0] + 0.06 * k, across * 1.1, ankle[2] - 0.03 * k),
                v3(0.135 * k, 0.05 * k, 0.05 * k), shoes);
}

// A wire shopping trolley: basket of bars, frame, handle, some goods.
void add_trolley(Builder& b, const Look& look) {
    const int steel = b.material({168, 172, 178});
    const int handle = b.material(look.load);
    const double back = kTrolleyAhead_m - 0.42;
    const double front = kTrolleyAhead_m + 0.45;
    const double half = 0.27;
    for (const double up : {0.55, 0.95}) {
        const double inset = up < 0.9 ? 0.05 : 0.0;
        const double l = -half + inset;
        b.bar(v3(back, l, up), v3(front, l + 0.05, up), 0.010f, steel);
        b.bar(v3(back, -l, up), v3(front, -l - 0.05, up), 0.010f, steel);
        b.bar(v3(front, l + 0.05, up), v3(front, -l - 0.05, up), 0.010f, steel);
        b.bar(v3(back, l, up), v3(back, -l, up), 0.010f, steel);
    }
    for (int i = 1; i <= 5; ++i) {
        const double across = -half + 0.05 + i * (2.0 * half - 0.10) / 6.0;
        b.bar(v3(back, across, 0.55), v3(front, across, 0.55), 0.006f, steel);
    }
    for (int i = 0; i <= 6; ++i) {
        const double along = back + i * (front - back) / 6.0;
        b.bar(v3(along, -half + 0.05, 0.55), v3(along, half - 0.05, 0.55), 0.006f, steel);
        b.bar(v3(along, -half + 0.05, 0.55), v3(along, -half + 0.02, 0.95), 0.006f, steel);
        b.bar(v3(along, half - 0.05, 0.55), v3(along, half - 0.02, 0.95), 0.006f, steel);
    }
    b.bar(v3(back - 0.08, -half, 1.02), v3(back - 0.08, half, 1.02), 0.018f, handle);
    b.bar(v3(back - 0.08, -half, 1.02), v3(back + 0.05, -half, 0.20), 0.012f, steel);
    b.bar(v3(back - 0.08, half, 1.02), v3(back + 0.05, half, 0.20), 0.012f, steel);
    b.brick(v3(kTrolleyAhead_m, 0, 0.18), v3(0.40, 0.24, 0.02), steel);
    b.brick(v3(front - 0.22, 0.06, 0.66), v3(0.13, 0.09, 0.10), b.material({196, 150, 92}));
    b.ellipsoid(v3(back + 0.25, -0.08, 0.63), v3(0.12, 0.10, 0.08), b.material({210, 206, 196}));
    b.ball(v3(back + 0.2, 0.12, 0.62), 0.06f, b.material({184, 52, 40}));
}

void add_cart(Builder& b, const Look& look) {
    b.brick(v3(kTrolleyAhead_m + 0.02, 0, 0.52), v3(0.42, 0.27, 0.40), b.material(look.load));
    const int dark = b.material({60, 62, 66});
    b.brick(v3(kTrolleyAhead_m + 0.02, 0, 0.94), v3(0.39, 0.24, 0.03), dark);
    b.bar(v3(0.36, -0.25, 1.02), v3(0.36, 0.25, 1.02), 0.016f, dark);
}

void add_load(Builder& b, const Sizes& s, const Pose& pose, const Arm& right) {
    const double k = s.scale;
    switch (pose.load) {
        case Load::kNone:
            break;
        case Load::kHandbag:
            b.brick(v3(right.wrist[0], right.wrist[1] + 0.05, right.wrist[2] - 0.28 * k),
                    v3(0.16, 0.06, 0.13), b.material(pose.look.load));
            break;
        case Load::kBackpack:
            b.ellipsoid(v3(-s.back - 0.17 * k, 0, s.shoulder - 0.17 * k),
                        v3(0.12 * k, 0.15 * k, 0.23 * k), b.material(pose.look.load));
            break;
        case Load::kSuitcase: {
            const int body = b.material(pose.look.load);
            const double right_of = right.wrist[1];
            b.bar(right.wrist, v3(-0.48, right_of, 0.58), 0.012f, b.material({120, 122, 126}));
            b.brick(v3(-0.60, right_of, 0.36), v3(0.12, 0.20, 0.29), body, 0.35);
            break;
        }
        case Load::kTrolley:
            add_trolley(b, pose.look);
            break;
        case Load::kCart:
            add_cart(b, pose.look);
            break;
        case Load::kPram:
            add_pram(b, pose.look);
            break;
        case Load::kDog:
            add_dog_on_lead(b, right.wrist, pose.phase, pose.look);
            break;
        case Load::kUmbrella:
            add_umbrella(b, right.wrist, pose.look);
            break;
    }
}

Rgb pick(Rng& rng, std::initializer_list<Rgb> choice) {
    const Rgb base = *(choice.begin() + rng.below(static_cast<int>(choice.size())));
    const double lighter = rng.uniform(-12.0, 12.0);
    const auto vary = [&rng, lighter](std::uint8_t c) {
        const double value = c + lighter + rng.uniform(-4.0, 4.0);
        return static_cast<std::uint8_t>(clamp(value, 8.0, 246.0));
    };
    const std::uint8_t r = vary(base.r);
    const std::uint8_t g = vary(base.g);
    const std::uint8_t b = vary(base.b);
    return {r, g, b};
}

}  // namespace

void put_on_vest(Rng& rng, Look& look) {
    look.vest = rng.chance(0.65) ? Vest::kYellow : Vest::kOrange;
    look.vest_colour =
        look.vest == Vest::kYellow ? pick(rng, {{212, 236, 44}}) : pick(rng, {{238, 104, 32}});
}

Rgb random_vivid_top(Rng& rng) {
    return pick(rng, {{226, 196, 44}, {232, 222, 84}, {214, 108, 40}, {226, 138, 58}});
}

double random_adult_height(Rng& rng) {
    return clamp(1.70 + 0.09 * rng.normal(), 1.50, 1.95);
}

Look random_look(Rng& rng, double height_m) {
    Look look;
    look.height_m = height_m;
    look.girth = clamp(1.0 + 0.05 * rng.normal(), 0.9, 1.12);
    look.skin = pick(rng, {{224, 178, 150}, {205, 155, 125}, {160, 112, 84}, {98, 66, 50}});
    const Rgb young =
        pick(rng, {{30, 26, 24}, {44, 34, 28}, {72, 50, 34}, {110, 80, 52}, {176, 142, 92}});
    const Rgb grey = pick(rng, {{150, 148, 144}, {196, 194, 190}});
    const bool child = height_m < 1.45;
    look.hair = rng.chance(0.15) && !child ? grey : young;
    look.top = pick(rng, {{44, 54, 84},
                          {150, 40, 44},
                          {206, 202, 194},
                          {60, 64, 68},
                          {58, 98, 70},
                          {108, 128, 158},
                          {190, 160, 96},
                          {92, 64, 96},
                          {34, 36, 42},
                          {176, 178, 184}});
    look.trousers =
        pick(rng, {{44, 52, 78}, {36, 36, 40}, {96, 86, 70}, {70, 78, 96}, {128, 122, 110}});
    look.shoes = pick(rng, {{32, 30, 30}, {84, 58, 40}, {206, 204, 200}});
    look.load = pick(rng, {{150, 46, 40}, {40, 44, 52}, {46, 92, 132}, {120, 86, 52}});
    look.short_sleeves = rng.chance(0.35);
    look.long_hair = rng.chance(0.4);
    look.bald = !look.long_hair && !child && rng.chance(0.1);
    return look;
}

Outline add_person(const Camera& camera, const Pose& pose, Model& model) {
    const Frame3 frame(camera, pose.x_m, pose.y_m, pose.dir_x, pose.dir_y);
    Builder b(camera, frame, model);
    const Look& look = pose.look;
    const Sizes s = sizes_of(look);
    const int skin = b.material(look.skin);
    const int hair = b.material(look.hair, is_dark(look.hair));
    const int top = b.material(look.top);
    const int trousers = b.material(look.trousers);
    const int shoes = b.material(look.shoes);
    const int trunk = look.vest == Vest::kNone ? top : b.material(look.vest_colour);
    const Arm left = arm_of(s, pose, -1.0);
    const Arm right = arm_of(s, pose, 1.0);

    Outline outline;
    outline.first = b.quadric_count();
    add_head(b, s, look, skin, hair);
    add_shoulders(b, s, skin, trunk);
    outline.box = b.quadric(outline.first).rect;
    for (std::size_t i = outline.first; i < b.quadric_count(); ++i) {
        outline.box = unite(outline.box, b.quadric(i).rect);
    }
    outline.count = b.quadric_count() - outline.first;
    for (const double side : {-1.0, 1.0}) {
        const Vec3& elbow = side < 0.0 ? left.elbow : right.elbow;
        const Vec3 middle = v3(0.5 * (elbow[0] - s.back), 0.5 * (elbow[1] + side * s.half_width),
                               0.5 * (elbow[2] + s.shoulder));
        const Vec3 centre = frame.at(middle[0], middle[1], middle[2]);
        outline.box = unite(outline.box, make_sphere(camera, centre, f(0.048 * s.scale), 0).rect);
    }

    add_upper_arm(b, s, left, -1.0, top);
    add_upper_arm(b, s, right, 1.0, top);
    add_forearm(b, s, left, look.short_sleeves ? skin : top, skin);
    add_forearm(b, s, right, look.short_sleeves ? skin : top, skin);
    const double k = s.scale;
    b.ellipsoid(trunk_of(s)[2].centre, trunk_of(s)[2].radii, trunk);
    if (look.vest != Vest::kNone) add_reflective_stripes(b, s);
    b.ellipsoid(v3(-s.back, 0, 0.53 * s.height), v3(0.115 * k, 0.165 * k, 0.12 * k), trousers);
    add_leg(b, s, pose, -1.0, trousers, shoes);
    add_leg(b, s, pose, 1.0, trousers, shoes);
    add_load(b, s, pose, right);
    return outline;
}

}  // namespace sim
