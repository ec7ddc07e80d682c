// Prams, dogs, umbrellas, chairs and doors from the surfaces that bodies are made of too.
#include "sim/things.h"

#include "sim/builder.h"

namespace sim {
namespace {

constexpr Rgb kSteel{168, 172, 178};

// Withers at 0.66 m and the head at 0.8 m: as large as dogs come into shops.
void add_dog(Builder& b, const Vec3& at, double phase, int coat) {
    const auto place = [&at](double forward, double right, double up) {
        return v3(at[0] + forward, at[1] + right, up);
    };
    b.ellipsoid(place(0.0, 0.0, 0.52), v3(0.38, 0.13, 0.15), coat);
    b.limb(place(0.30, 0.0, 0.58), place(0.46, 0.0, 0.70), 0.075f, coat);
    b.ellipsoid(place(0.55, 0.0, 0.71), v3(0.14, 0.075, 0.085), coat);
    b.bar(place(-0.36, 0.0, 0.58), place(-0.58, 0.0, 0.70), 0.025f, coat);
    for (const double side : {-1.0, 1.0}) {
        const double swing = 0.16 * side * sine(phase);
        b.limb(place(0.26, side * 0.08, 0.45), place(0.26 + swing, side * 0.08, 0.04), 0.04f, coat);
        b.limb(place(-0.26, side * 0.08, 0.45), place(-0.26 - swing, side * 0.08, 0.04), 0.045f,
               coat);
    }
}

void add_chair(Builder& b) {
    const int cloth = b.material({52, 60, 86});
    const int steel = b.material(kSteel);
    b.brick(v3(0.0, 0.0, 0.47), v3(0.23, 0.24, 0.04), cloth);
    b.brick(v3(-0.24, 0.0, 0.70), v3(0.03, 0.22, 0.20), cloth);
    for (const double side : {-1.0, 1.0}) {
        b.brick(v3(0.0, side * 0.27, 0.66), v3(0.14, 0.03, 0.015), steel);
        b.bar(v3(0.0, side * 0.27, 0.45), v3(0.0, side * 0.27, 0.65), 0.015f, steel);
    }
    b.bar(v3(0.0, 0.0, 0.10), v3(0.0, 0.0, 0.45), 0.03f, steel);
    for (int i = 0; i < 5; ++i) {
        const double angle = 2.0 * kPi * i / 5.0;
        b.bar(v3(0.0, 0.0, 0.10), v3(0.30 * cosine(angle), 0.30 * sine(angle), 0.06), 0.02f, steel);
    }
}

void add_door(Builder& b) {
    b.brick(v3(0.45, 0.0, 1.0), v3(0.45, 0.02, 1.0), b.material({214, 206, 190}));
    b.bar(v3(0.82, -0.07, 1.05), v3(0.82, 0.07, 1.05), 0.012f, b.material(kSteel));
}

}  // namespace

void add_pram(Builder& b, const Look& look) {
    const int cloth = b.material(look.load);
    const int steel = b.material(kSteel);
    const double middle = kTrolleyAhead_m;
    b.brick(v3(middle, 0, 0.60), v3(0.38, 0.20, 0.12), cloth);
    // The hood is at the end that is pushed.
    b.ellipsoid(v3(middle - 0.17, 0, 0.76), v3(0.24, 0.22, 0.26), cloth);
    b.ellipsoid(v3(middle + 0.16, 0, 0.72), v3(0.20, 0.17, 0.06), b.material({222, 214, 200}));
    b.bar(v3(0.36, -0.22, 1.02), v3(0.36, 0.22, 1.02), 0.016f, steel);
    for (const double side : {-0.22, 0.22}) {
        b.bar(v3(0.36, side, 1.02), v3(middle - 0.1, side, 0.50), 0.012f, steel);
        b.bar(v3(middle - 0.32, side, 0.12), v3(middle + 0.1, side, 0.50), 0.012f, steel);
        for (const double along : {-0.32, 0.34})
            b.ball(v3(middle + along, side, 0.12), 0.11f, b.material({50, 50, 54}));
    }
}

void add_dog_on_lead(Builder& b, const Vec3& hand, double phase, const Look& look) {
    const Vec3 dog = v3(0.25, 0.55, 0.0);
    add_dog(b, dog, 1.7 * phase, b.material(look.load));
    b.bar(hand, v3(dog[0] + 0.40, dog[1], 0.66), 0.006f, b.material({60, 40, 30}));
}

void add_umbrella(Builder& b, const Vec3& hand, const Look& look) {
    constexpr double kOverHead_m = 0.28;
    const double top = look.height_m + kOverHead_m;
    const int cloth = b.material(look.load);
    b.ellipsoid(v3(0.02, 0.05, top - 0.17), v3(0.50, 0.50, 0.17), cloth);
    b.bar(hand, v3(0.04, 0.06, top + 0.04), 0.010f, b.material(kSteel));
}

void add_things(const Camera& camera, const Things& things, Model& model) {
    model.suns = things.suns;
    for (const Thing& thing : things.list) {
        const Frame3 frame(camera, thing.x_m, thing.y_m, thing.dir_x, thing.dir_y);
        Builder b(camera, frame, model);
        switch (thing.kind) {
            case Thing::Kind::kChair:
                add_chair(b);
                break;
            case Thing::Kind::kDog:
                add_dog(b, v3(0, 0, 0), thing.phase, b.material({122, 88, 52}));
                break;
            case Thing::Kind::kDoor:
                add_door(b);
                break;
        }
    }
}

}  // namespace sim
