// The built-in sites, and what one of several cameras sees of them.
#include <algorithm>
#include <array>
#include <bit>
#include <stdexcept>

#include "sim/simulator.h"
#include "sim/walkers.h"

namespace sim {
namespace {

constexpr double kLowestCamera_m = 2.2;  // clear of the tallest heads
constexpr double kHighestCamera_m = 15.0;
constexpr double kTypicalHead_m = 1.7;
constexpr double kClearing_s = 20.0;  // walking through a hall or a crowd takes this long

struct Site {
    const char* name;
    const char* description;
    Point half;  // of the floor, in metres; the middle is the origin
    double fps;
    double duration_s;
    std::vector<CountingRegion> regions;
    WalkerPlan plan;
};

std::vector<Point> square(const Point& middle, double half_m) {
    return {{middle.x_m - half_m, middle.y_m - half_m},
            {middle.x_m + half_m, middle.y_m - half_m},
            {middle.x_m + half_m, middle.y_m + half_m},
            {middle.x_m - half_m, middle.y_m + half_m}};
}

Site hall() {
    const std::vector<StopPlace> kiosks = {{-5.5, -2.6}, {-1.5, 2.4}, {2.0, -2.4}, {6.0, 2.6}};
    Site s{"hall",     "A hall of 18 x 8 m that people walk through from end to end",
           {9.0, 4.0}, 15.0,
           120.0,      {},
           {}};
    for (std::size_t i = 0; i < kiosks.size(); ++i) {
        s.regions.push_back(
            {"kiosk " + std::to_string(i + 1), square({kiosks[i].along, kiosks[i].across}, 0.8)});
    }
    s.plan.along_x = true;
    s.plan.half_length_m = 11.0;  // people appear and vanish outside the hall
    s.plan.half_width_m = 3.6;
    s.plan.arrivals_per_s = 0.8;
    s.plan.max_people = 28;
    s.plan.groups = 0.1;
    s.plan.uturns = 0.04;
    s.plan.stops = 0.4;
    s.plan.stop_least_s = 2.0;
    s.plan.stop_most_s = 8.0;
    s.plan.stop_places = kiosks;
    s.plan.returns = 0.15;
    s.plan.staff = 0.15;
    s.plan.vivid_tops = 0.1;
    s.plan.warm_up_s = 20.0;
    return s;
}

// As full as it can be with walkers still able to pass one another, until some 200 people have come
// through.
Site station() {
    Site s{
        "station",  "A passage of 16 x 8 m that a crowd of some 200 people walks through both ways",
        {8.0, 4.0}, 15.0,
        88.0,       {},
        {}};
    s.plan.along_x = true;
    s.plan.half_length_m = 8.0;
    s.plan.half_width_m = 3.6;
    s.plan.arrivals_per_s = 5.0;
    s.plan.max_people = 54;
    s.plan.groups = 0.08;
    s.plan.stops = 0.15;
    s.plan.staff = 0.03;
    s.plan.vivid_tops = 0.1;
    return s;
}

constexpr std::array kSites = {hall, station};

Site find_site(const std::string& name) {
    std::string known;
    for (const auto make : kSites) {
        Site s = make();
        if (s.name == name) return s;
        known += (known.empty() ? "" : ", ") + std::string(s.name);
    }
    throw std::invalid_argument("unknown site \"" + name + "\"; known sites: " + known);
}

// Across the site below the camera, as far as heads are in view at any turn of the camera.
CountingLine line_below(const Site& site, const CameraPlace& place, const Camera& camera) {
    constexpr double kMargin_m = 0.05;
    const double reach = camera.half_view(kTypicalHead_m).y_m - kMargin_m;
    const double top = std::max(place.y_m - reach, -site.half.y_m);
    const double bottom = std::min(place.y_m + reach, site.half.y_m);
    return {"below the camera",
            {to_camera(place, {place.x_m, top}), to_camera(place, {place.x_m, bottom})},
            {}};
}

std::vector<CountingRegion> regions_in_view(const Site& site, const CameraPlace& place,
                                            const Camera& camera) {
    std::vector<CountingRegion> seen;
    for (CountingRegion region : site.regions) {
        bool whole = true;
        for (Point& p : region.points) {
            p = to_camera(place, p);
            whole = whole && in_image(camera.project(p.x_m, p.y_m, kTypicalHead_m));
        }
        if (whole) seen.push_back(region);
    }
    return seen;
}

std::uint64_t seed_of(std::uint64_t seed, const CameraPlace& place) {
    for (const double value : {place.height_m, place.x_m, place.y_m, place.turn_deg})
        seed = mix64(seed ^ std::bit_cast<std::uint64_t>(value + 0.0));  // -0 becomes 0
    return seed;
}

}  // namespace

std::vector<std::string> site_names() {
    std::vector<std::string> names;
    for (const auto make : kSites)
        names.emplace_back(make().name);
    return names;
}

Simulator make_site_view(const std::string& name, std::uint64_t seed, const CameraPlace& place,
                         std::optional<double> seconds) {
    Site site = find_site(name);
    if (!(place.height_m >= kLowestCamera_m && place.height_m <= kHighestCamera_m)) {
        throw std::invalid_argument("a camera over a site must hang at 2.2 to 15 m");
    }
    SceneInfo info;
    info.name = site.name;
    info.description = site.description;
    info.camera.height_m = place.height_m;
    info.fps = site.fps;
    info.duration_s = settle_length(site.plan, site.duration_s, kClearing_s, seconds);
    info.line_height_m = std::min(info.line_height_m, 0.7 * place.height_m);
    info.lines = {line_below(site, place, info.camera)};
    info.regions = regions_in_view(site, place, info.camera);
    info.place = place;
    return {std::move(info), make_walkers(site.plan, site.fps, seed), seed_of(seed, place)};
}

}  // namespace sim
