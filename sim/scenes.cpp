// The built-in scenes.
#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "sim/clutter.h"
#include "sim/simulator.h"
#include "sim/walkers.h"

namespace sim {
namespace {

struct Scene {
    SceneInfo info;
    WalkerPlan plan;
    std::vector<Clutter> clutter{};
};

Camera camera_at(double height_m) {
    return {height_m, kDefaultFocalPx};
}

CountingLine across_line(const char* name, double half_m) {
    return {name, {{-half_m, 0.0}, {half_m, 0.0}}, {}};
}

CountingRegion rectangle(const char* name, const Point& low, const Point& high) {
    return {name, {low, {high.x_m, low.y_m}, high, {low.x_m, high.y_m}}};
}

Scene doorway() {
    Scene s;
    s.info = {"doorway",
              "A door 1.6 m wide, few people both ways, camera at 3.0 m",
              camera_at(3.0),
              15.0,
              75.0,
              {across_line("door", 1.0)},
              {rectangle("inside", {-1.0, -0.65}, {1.0, -0.1}),
               rectangle("outside", {-1.0, 0.1}, {1.0, 0.65})},
              1.6,
              false,
              false};
    s.plan.half_length_m = 2.6;
    s.plan.half_width_m = 0.72;
    s.plan.arrivals_per_s = 0.8;
    s.plan.max_people = 4;
    return s;
}

Scene entrance() {
    Scene s;
    s.info = {"entrance",
              "A wide entrance with steady flow both ways, camera at 3.8 m",
              camera_at(3.8),
              15.0,
              70.0,
              {across_line("entrance", 1.85)},
              {rectangle("inside", {-1.8, -1.05}, {1.8, -0.2}),
               rectangle("outside", {-1.8, 0.2}, {1.8, 1.05})},
              1.6,
              false,
              false};
    s.plan.half_length_m = 3.2;
    s.plan.half_width_m = 1.6;
    s.plan.arrivals_per_s = 1.4;
    s.plan.max_people = 10;
    s.plan.children = 0.06;
    s.plan.stops = 0.05;
    return s;
}

Scene uturn() {
    Scene s;
    CountingLine line = across_line("gate", 1.6);
    line.uturn_area = {{-1.6, -0.95}, {1.6, -0.95}, {1.6, 0.95}, {-1.6, 0.95}};
    s.info = {"uturn",
              "People who step over the line and turn back among people who go through",
              camera_at(4.4),
              15.0,
              90.0,
              {line},
              {{"gate", line.uturn_area}},
              1.6,
              false,
              false};
    s.plan.half_length_m = 3.6;
    s.plan.half_width_m = 1.4;
    s.plan.arrivals_per_s = 0.8;
    s.plan.max_people = 6;
    s.plan.uturns = 0.5;
    return s;
}

Scene groups() {
    Scene s;
    s.info = {"groups",
              "Groups of two to four and families with children, camera at 3.8 m",
              camera_at(3.8),
              15.0,
              90.0,
              {across_line("entrance", 1.85)},
              {rectangle("lobby", {-1.8, -1.05}, {1.8, -0.2})},
              1.6,
              false,
              true};
    s.plan.half_length_m = 3.4;
    s.plan.half_width_m = 1.6;
    s.plan.arrivals_per_s = 0.55;
    s.plan.max_people = 10;
    s.plan.children = 0.3;
    s.plan.groups = 0.5;
    s.plan.groups_in_file = 0.25;
    return s;
}

Scene shop() {
    Scene s;
    s.info = {"shop",
              "An aisle with trolleys, bags, people who stop, and children, camera at 4 m",
              camera_at(4.0),
              15.0,
              90.0,
              {{"aisle", {{0.0, -1.1}, {0.0, 1.1}}, {}}},
              {rectangle("shelf", {-1.7, -1.15}, {-0.3, -0.2}),
               rectangle("offers", {0.3, 0.2}, {1.7, 1.15})},
              1.6,
              false,
              false};
    s.plan.along_x = true;
    s.plan.half_length_m = 5.2;
    s.plan.half_width_m = 0.95;
    s.plan.arrivals_per_s = 0.55;
    s.plan.max_people = 8;
    s.plan.children = 0.15;
    s.plan.trolleys = 0.3;
    s.plan.bags = 0.4;
    s.plan.stops = 0.3;
    return s;
}

Scene crowd() {
    Scene s;
    s.info = {"crowd",
              "A dense crowd, up to 1.2 persons per square metre, both ways, camera at 5 m",
              camera_at(5.0),
              15.0,
              60.0,
              {across_line("passage", 2.9)},
              {rectangle("left", {-2.9, -1.5}, {-1.2, 1.5}),
               rectangle("right", {1.2, -1.5}, {2.9, 1.5}),
               {"middle",
                {{-0.5, -1.2},
                 {0.5, -1.2},
                 {1.1, -0.5},
                 {1.1, 0.5},
                 {0.5, 1.2},
                 {-0.5, 1.2},
                 {-1.1, 0.5},
                 {-1.1, -0.5}}}},
              1.6,
              true,
              false};
    s.plan.half_length_m = 3.6;
    s.plan.half_width_m = 2.75;
    s.plan.arrivals_per_s = 40.0;
    s.plan.max_people = 45;
    s.plan.children = 0.04;
    s.plan.warm_up_s = 10.0;
    return s;
}

// The exhibits stand well between the doors' lines, so that nobody looking at them sways over a
// line.
Scene gallery() {
    Scene s;
    s.info = {"gallery",
              "A museum room, visitors who stop at exhibits, staff in vests, camera at 4.2 m",
              camera_at(4.2),
              15.0,
              120.0,
              {{"left door", {{-1.2, -1.15}, {-1.2, 1.15}}, {}},
               {"right door", {{1.2, -1.15}, {1.2, 1.15}}, {}}},
              {rectangle("painting", {-1.05, -1.2}, {-0.05, -0.35}),
               rectangle("showcase", {0.05, -1.2}, {1.05, -0.35}),
               rectangle("statue", {-0.5, 0.35}, {0.5, 1.2})},
              1.6,
              false,
              false};
    s.plan.along_x = true;
    s.plan.half_length_m = 4.4;
    s.plan.half_width_m = 1.05;
    s.plan.arrivals_per_s = 0.3;
    s.plan.max_people = 6;
    s.plan.stops = 0.75;
    s.plan.stop_least_s = 4.0;
    s.plan.stop_most_s = 12.0;
    s.plan.stop_places = {{-0.55, -0.8}, {0.55, -0.8}, {0.0, 0.8}};
    s.plan.returns = 0.2;
    s.plan.staff = 0.25;
    s.plan.vivid_tops = 0.25;
    return s;
}

Scene clutter() {
    Scene s;
    s.info = {"clutter",
              "Chairs, prams, trolleys, dogs, umbrellas, a door, sun, a person waiting, camera at "
              "3.8 m",
              camera_at(3.8),
              15.0,
              120.0,
              {across_line("passage", 1.85)},
              {rectangle("inside", {-1.8, -1.05}, {1.8, -0.2})},
              1.6,
              false,
              false};
    s.plan.half_length_m = 3.4;
    s.plan.half_width_m = 0.65;
    s.plan.arrivals_per_s = 0.25;
    s.plan.max_people = 4;
    s.plan.burdened = 0.6;
    s.clutter = all_clutter();
    return s;
}

constexpr double kClearing_s = 10.0;  // a walk over a line takes this long

constexpr std::array kScenes = {doorway, entrance, uturn, groups, shop, crowd, gallery, clutter};

Scene find_scene(const std::string& name) {
    std::string known;
    for (const auto make : kScenes) {
        Scene s = make();
        if (s.info.name == name) return s;
        known += (known.empty() ? "" : ", ") + s.info.name;
    }
    throw std::invalid_argument("unknown scene \"" + name + "\"; known scenes: " + known);
}

Simulator make(Scene s, std::uint64_t seed, std::optional<double> seconds,
               const CaptureOptions& capture) {
    s.info.noise = capture.noise;
    s.info.fps = capture.fps.value_or(s.info.fps);
    s.info.duration_s = settle_length(s.plan, s.info.duration_s, kClearing_s, seconds);
    const double fps = s.info.fps;
    if (s.clutter.empty()) return {std::move(s.info), make_walkers(s.plan, fps, seed), seed};
    s.plan.burdens = burdens_of(s.clutter);
    return {std::move(s.info), make_cluttered(s.clutter, s.plan, fps, seed), seed};
}

}  // namespace

std::vector<std::string> scene_names() {
    std::vector<std::string> names;
    for (const auto make : kScenes)
        names.push_back(make().info.name);
    return names;
}

SceneInfo scene_info(const std::string& name) {
    return find_scene(name).info;
}

Simulator make_scene(const std::string& name, std::uint64_t seed, std::optional<double> seconds,
                     const CaptureOptions& capture) {
    return make(find_scene(name), seed, seconds, capture);
}

Simulator make_clutter(const std::vector<std::string>& kinds, std::uint64_t seed,
                       std::optional<double> seconds, const CaptureOptions& capture) {
    Scene s = clutter();
    s.clutter.clear();
    for (const std::string& kind : kinds)
        s.clutter.push_back(clutter_from(kind));
    return make(std::move(s), seed, seconds, capture);
}

Simulator make_siting_scene(const Camera& camera, std::uint64_t seed,
                            const CaptureOptions& capture) {
    constexpr double kHead_m = 1.7;
    constexpr double kMargin_m = 0.15;      // of the line, from the edge of the picture
    constexpr double kBesideLine_m = 0.15;  // heads keep this away from its ends
    constexpr double kPeople_per_m2 = 0.3;
    constexpr double kPeople_per_m_s = 0.3;  // through a metre of width
    const Point half = camera.half_view(kHead_m);
    const double line_m = std::max(half.x_m - kMargin_m, 0.1);
    Scene s;
    s.info.name = "siting";
    s.info.description = "A passage as wide as the picture";
    s.info.camera = camera;
    s.info.line_height_m = std::min(s.info.line_height_m, 0.7 * camera.height_m);
    s.info.lines = {across_line("passage", line_m)};
    s.plan.half_length_m = camera.half_view(0.0).y_m + 1.0;
    s.plan.half_width_m = std::max(line_m - kBesideLine_m, 0.05);
    s.plan.arrivals_per_s = std::max(2.0 * line_m * kPeople_per_m_s, 0.3);
    s.plan.max_people = static_cast<int>(4.0 * s.plan.half_length_m * line_m * kPeople_per_m2) + 2;
    return make(std::move(s), seed, {}, capture);
}

}  // namespace sim
