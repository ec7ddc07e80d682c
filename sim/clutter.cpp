// People keep to the middle; chairs, a door, dogs and somebody who waits have the sides, over which
// the counting line runs too.
#include "sim/clutter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "sim/simulator.h"
#include "sim/things.h"
#include "sim/world.h"

namespace sim {
namespace {

constexpr double kOutside_m = 3.4;  // along the passage, out of view

// From 0 to 1 while t goes from `from` to `to`, starting and ending gently.
double ramp(double t, double from, double to) {
    const double x = clamp((t - from) / (to - from), 0.0, 1.0);
    return x * x * (3.0 - 2.0 * x);
}

double since(double t, double period) {
    return t - period * std::floor(t / period);
}

Thing turned(Thing thing, double angle) {
    thing.dir_x = cosine(angle);
    thing.dir_y = sine(angle);
    return thing;
}

// Three stay where they are but turn; the fourth is pushed over the line and back once a minute.
void put_chairs(double t, std::vector<Thing>& things) {
    constexpr std::array<Point, 3> kPlaces{{{-1.58, -0.75}, {-1.62, 0.02}, {-1.55, 0.80}}};
    for (std::size_t i = 0; i < kPlaces.size(); ++i) {
        const double turn = 0.9 * sine(t / (7.0 + static_cast<double>(i)));
        things.push_back(turned({Thing::Kind::kChair, kPlaces[i].x_m, kPlaces[i].y_m},
                                2.0 * static_cast<double>(i) + turn));
    }
    const double now = since(t, 60.0);
    const double pushed = ramp(now, 20.0, 23.0) - ramp(now, 45.0, 48.0);
    things.push_back(turned({Thing::Kind::kChair, -1.05, -0.70 + 1.40 * pushed}, 1.2 + pushed));
}

// A dog trots through at one side every 20 s, and stops on the line every other time.
void put_dog(double t, std::vector<Thing>& things) {
    constexpr double kPeriod_s = 20.0;
    constexpr double kSpeed = 1.5;  // m/s
    const double run = std::floor(t / kPeriod_s);
    const bool stops = std::fmod(run, 2.0) == 1.0;
    const double goal = std::fmod(run, 4.0) < 2.0 ? 1.0 : -1.0;
    double walked_s = since(t, kPeriod_s);
    const double half_s = kOutside_m / kSpeed;
    if (stops) walked_s = std::min(walked_s, half_s) + std::max(walked_s - half_s - 6.0, 0.0);
    if (walked_s > 2.0 * half_s) return;
    Thing dog{Thing::Kind::kDog, goal > 0.0 ? 0.95 : -0.95,
              goal * (kSpeed * walked_s - kOutside_m)};
    dog.dir_y = goal;
    dog.phase = 9.0 * walked_s;
    things.push_back(dog);
}

// The leaf hangs at the right edge of the picture and swings over the end of the line.
void put_door(double t, std::vector<Thing>& things) {
    const double now = since(t, 14.0);
    const double opened = ramp(now, 4.0, 5.2) - ramp(now, 8.5, 10.3);
    things.push_back(turned({Thing::Kind::kDoor, 2.0, 0.35}, kPi * (-0.5 - 0.5 * opened)));
}

SunPatch sun_at(double t) {
    return {{0.9 * sine(t / 240.0), 0.5 * sine(t / 370.0)}, 0.75, 0.45};
}

// Comes in at the far end, stands beside the line for ten minutes, shifts from foot to foot, and
// leaves the way it came.
class Waiting {
  public:
    explicit Waiting(std::uint64_t seed) : seed_(seed) {}

    void add_to(double t, std::vector<Pose>& people) const {
        constexpr double kStay_s = 600.0;
        constexpr double kWalk_s = 2.6;
        constexpr double kPeriod_s = 620.0;
        const double now = since(t, kPeriod_s) - 2.0;
        if (now < 0.0 || now > kStay_s + 2.0 * kWalk_s) return;
        const auto nth = static_cast<std::uint64_t>(std::floor(t / kPeriod_s));
        Rng rng(seed_ ^ mix64(nth + 77));
        Pose pose;
        pose.id = 2 * static_cast<int>(nth) + 1;  // walkers have the even ones
        pose.look = random_look(rng, random_adult_height(rng));
        const double side = rng.chance(0.5) ? 1.0 : -1.0;
        const double off_m = rng.uniform(0.62, 0.85);
        const double here =
            ramp(now, 0.0, kWalk_s) - ramp(now, kWalk_s + kStay_s, 2.0 * kWalk_s + kStay_s);
        const bool walks = here > 0.0 && here < 1.0;
        const double away_m = kOutside_m + (off_m - kOutside_m) * here;
        const double coming = now < 0.5 * kStay_s ? -1.0 : 1.0;
        pose.x_m = 1.35 + 0.03 * sine(now / 2.3) * here;
        pose.y_m = side * (away_m + 0.02 * sine(now / 3.1) * here);
        pose.dir_y = walks ? coming * side : -side;
        pose.stride = walks ? 0.9 : 0.0;
        pose.phase = walks ? 7.0 * now : 0.0;
        people.push_back(pose);
    }

  private:
    std::uint64_t seed_;
};

class ClutteredWorld final : public World {
  public:
    ClutteredWorld(std::vector<Clutter> kinds, const WalkerPlan& plan, double fps,
                   std::uint64_t seed)
        : kinds_(std::move(kinds)),
          frame_s_(1.0 / fps),
          walkers_(make_walkers(plan, fps, seed)),
          waiting_(seed) {}

    void step(std::vector<Pose>& people) override {
        time_s_ = static_cast<double>(frame_++) * frame_s_;
        walkers_->step(people);
        if (!has(Clutter::kStanding)) return;
        for (Pose& walker : people)
            walker.id *= 2;
        waiting_.add_to(time_s_, people);
        std::sort(people.begin(), people.end(),
                  [](const Pose& a, const Pose& b) { return a.id < b.id; });
    }

    Things things() const override {
        Things things;
        if (has(Clutter::kChairs)) put_chairs(time_s_, things.list);
        if (has(Clutter::kDogs)) put_dog(time_s_, things.list);
        if (has(Clutter::kDoors)) put_door(time_s_, things.list);
        if (has(Clutter::kSun)) things.suns.push_back(sun_at(time_s_));
        return things;
    }

  private:
    bool has(Clutter kind) const {
        return std::find(kinds_.begin(), kinds_.end(), kind) != kinds_.end();
    }

    std::vector<Clutter> kinds_;
    double frame_s_;
    std::unique_ptr<World> walkers_;
    Waiting waiting_;
    std::int64_t frame_ = 0;
    double time_s_ = 0.0;
};

constexpr std::array kNames = std::to_array<std::string_view>(
    {"chairs", "prams", "trolleys", "dogs", "umbrellas", "doors", "sun", "standing"});

}  // namespace

std::vector<std::string> clutter_names() {
    return {kNames.begin(), kNames.end()};
}

Clutter clutter_from(const std::string& name) {
    const auto* const found = std::find(kNames.begin(), kNames.end(), name);
    if (found == kNames.end()) throw std::invalid_argument("no such clutter: \"" + name + "\"");
    return static_cast<Clutter>(found - kNames.begin());
}

std::vector<Clutter> all_clutter() {
    std::vector<Clutter> all;
    for (std::size_t i = 0; i < kNames.size(); ++i)
        all.push_back(static_cast<Clutter>(i));
    return all;
}

std::vector<Load> burdens_of(const std::vector<Clutter>& kinds) {
    std::vector<Load> loads;
    for (const Clutter kind : kinds) {
        if (kind == Clutter::kPrams) loads.push_back(Load::kPram);
        if (kind == Clutter::kDogs) loads.push_back(Load::kDog);
        if (kind == Clutter::kUmbrellas) loads.push_back(Load::kUmbrella);
        if (kind == Clutter::kTrolleys) loads.insert(loads.end(), {Load::kTrolley, Load::kCart});
    }
    return loads;
}

std::unique_ptr<World> make_cluttered(const std::vector<Clutter>& kinds, const WalkerPlan& plan,
                                      double fps, std::uint64_t seed) {
    return std::make_unique<ClutteredWorld>(kinds, plan, fps, seed);
}

}  // namespace sim
