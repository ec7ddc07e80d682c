// Checks of a site that need more than one key of its file.
#include "host/settings/site_check.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "host/base/text.h"
#include "host/settings/line_checks.h"
#include "host/settings/site_map.h"

namespace host {
namespace {

constexpr double kSmallest_m = 0.1;  // between points of a line; at least a pixel of any camera
constexpr double kSmallestArea_m2 = 0.05;
constexpr double kStep_m = 0.05;    // between the places at which a line is looked at
constexpr double kAside_m = 0.25;   // people must be followed this far on both sides of a line
constexpr double kTouch_m2 = 0.01;  // less than this is no shared view

double in_centimetres(double value_m) {
    return std::round(100.0 * value_m) / 100.0;
}

std::string metres_text(const SitePoint& p) {
    return plain_number(in_centimetres(p.x_m)) + ", " + plain_number(in_centimetres(p.y_m));
}

double distance_m(const SitePoint& a, const SitePoint& b) {
    return std::hypot(a.x_m - b.x_m, a.y_m - b.y_m);
}

// Makes the checks for pixels usable for metres too.
std::vector<PicturePoint> as_picture(const std::vector<SitePoint>& points) {
    std::vector<PicturePoint> list;
    for (const SitePoint& p : points)
        list.push_back({p.x_m, p.y_m});
    return list;
}

template <typename Named>
void check_names(const std::vector<Named>& list, const char* what) {
    for (std::size_t i = 1; i < list.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (list[i].name != list[j].name) continue;
            throw InputError(list[i].place + " has the name of an earlier one; each " + what +
                             " needs a name of its own");
        }
    }
}

void check_roles(const Site& site, const std::string& file) {
    const SiteDevice* master = nullptr;
    for (const SiteDevice& device : site.devices) {
        if (!device.master) continue;
        if (master != nullptr) {
            throw InputError(device.place + " is a second master beside \"" + master->name +
                             "\"; one device is the master, the others are slaves");
        }
        master = &device;
    }
    if (master == nullptr) {
        throw InputError(file + " has no master; give one [[device]] the role \"master\"");
    }
    if (master->index >= 0) {
        throw InputError(master->place + " is the master and has an index; only slaves have one");
    }
}

void check_indices(const Site& site) {
    std::vector<const SiteDevice*> taken(kMostSlaves);
    for (const SiteDevice& device : site.devices) {
        if (device.master) continue;
        if (device.index < 0) {
            throw InputError(device.place + " is a slave without an index; give it one of 0 to 14");
        }
        const SiteDevice*& other = taken[static_cast<std::size_t>(device.index)];
        if (other != nullptr) {
            throw InputError(device.place + " has index " + std::to_string(device.index) +
                             " like \"" + other->name + "\"; each slave needs an index of its own");
        }
        other = &device;
    }
}

void check_area(const std::vector<SitePoint>& points, const std::string& place) {
    if (points.size() < 3 || points.size() > kMaxAreaPoints) {
        throw InputError(place + " has " + std::to_string(points.size()) +
                         (points.size() == 1 ? " point" : " points") + "; it needs 3 to 10");
    }
    if (area_px2(as_picture(points)) < kSmallestArea_m2) {
        throw InputError(place +
                         " encloses nothing; its corners must not lie on one straight line");
    }
}

// The library's products of coordinates do not overflow within this reach.
void check_reach(const Site& site, const std::vector<SitePoint>& points, const std::string& place) {
    for (const SitePoint& point : points) {
        const PicturePoint p = to_master(site, point);
        if (std::abs(p.x) < kFarthestPixel && std::abs(p.y) < kFarthestPixel) continue;
        const SiteDevice& master = master_of(site);
        const double reach = kFarthestPixel * master.height_mm / 1000.0 / master.focal_px;
        throw InputError(place + " is too far from the master \"" + master.name +
                         "\": " + plain_number(std::round(distance_m(point, master.at))) +
                         " m; the scene goes up to " + plain_number(std::floor(reach)) + " m");
    }
}

bool seen_by_any(const Site& site, const SitePoint& point) {
    return std::any_of(site.devices.begin(), site.devices.end(),
                       [&](const SiteDevice& d) { return sees(d, point, head_height_m(d)); });
}

// Calls fn(point on the line, unit vector across) in small steps.
template <typename Fn>
void walk_along(const std::vector<SitePoint>& points, Fn fn) {
    for (std::size_t i = 1; i < points.size(); ++i) {
        const SitePoint& a = points[i - 1];
        const SitePoint way{points[i].x_m - a.x_m, points[i].y_m - a.y_m};
        const double length = std::hypot(way.x_m, way.y_m);
        const SitePoint across{way.y_m / length, -way.x_m / length};
        const int steps = static_cast<int>(std::ceil(length / kStep_m));
        for (int k = 0; k <= steps; ++k) {
            const double t = static_cast<double>(k) / steps;
            fn(SitePoint{a.x_m + t * way.x_m, a.y_m + t * way.y_m}, across);
        }
    }
}

struct Coverage {
    int places = 0;
    int seen = 0;
    std::optional<SitePoint> hidden;  // the first place that nobody sees
};

Coverage coverage_of(const Site& site, const SiteLine& line) {
    Coverage result;
    walk_along(line.points, [&](const SitePoint& p, const SitePoint& across) {
        const SitePoint to{p.x_m + kAside_m * across.x_m, p.y_m + kAside_m * across.y_m};
        const SitePoint from{p.x_m - kAside_m * across.x_m, p.y_m - kAside_m * across.y_m};
        const bool seen = seen_by_any(site, to) && seen_by_any(site, from);
        ++result.places;
        result.seen += seen ? 1 : 0;
        if (!seen && !result.hidden) result.hidden = p;
    });
    return result;
}

Coverage coverage_of(const Site& site, const SiteRegion& region) {
    Coverage result;
    const std::vector<PicturePoint> polygon = as_picture(region.points);
    const auto [left, right] = std::minmax_element(
        polygon.begin(), polygon.end(), [](const auto& a, const auto& b) { return a.x < b.x; });
    const auto [top, bottom] = std::minmax_element(
        polygon.begin(), polygon.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
    constexpr int kSteps = 64;
    for (int i = 0; i < kSteps * kSteps; ++i) {
        const PicturePoint p{left->x + (i % kSteps + 0.5) / kSteps * (right->x - left->x),
                             top->y + (i / kSteps + 0.5) / kSteps * (bottom->y - top->y)};
        if (!is_inside(polygon, p)) continue;
        const bool seen = seen_by_any(site, {p.x, p.y});
        ++result.places;
        result.seen += seen ? 1 : 0;
        if (!seen && !result.hidden) result.hidden = SitePoint{p.x, p.y};
    }
    return result;
}

void check_line(const Site& site, const SiteLine& line) {
    const std::vector<SitePoint>& points = line.points;
    if (points.size() < 2 || points.size() > kMaxLinePoints) {
        throw InputError(line.place + " has " + std::to_string(points.size()) +
                         (points.size() == 1 ? " point" : " points") +
                         "; a counting line needs 2 to 5");
    }
    for (std::size_t i = 1; i < points.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (distance_m(points[i], points[j]) >= kSmallest_m) continue;
            throw InputError(line.place + " passes " + metres_text(points[i]) +
                             " twice; its points lie at least 0.1 m apart");
        }
    }
    check_reach(site, points, line.place);
    if (coverage_of(site, line).seen == 0) {
        throw InputError(line.place +
                         " lies outside the view of every camera; nobody can be "
                         "counted there");
    }
    if (line.uturn_area.empty()) return;
    const std::string area = line.place + ": its U-turn area";
    if (!line.uturn_filter) {
        throw InputError(area + " is only used with uturn = true; add that to the line");
    }
    check_area(line.uturn_area, area);
    check_reach(site, line.uturn_area, area);
    check_area_on_line(as_picture(line.uturn_area), as_picture(points), area);
}

void check_region(const Site& site, const SiteRegion& region) {
    check_area(region.points, region.place);
    check_reach(site, region.points, region.place);
    if (coverage_of(site, region).seen == 0) {
        throw InputError(region.place +
                         " lies outside the view of every camera; nobody can be "
                         "counted there");
    }
}

std::string hidden_text(const std::string& place, const Coverage& coverage) {
    const int percent = std::max(
        1, (100 * (coverage.places - coverage.seen) + coverage.places / 2) / coverage.places);
    return place + ": " + std::to_string(percent) +
           " % of it is out of every camera's view at head height, beginning at " +
           metres_text(*coverage.hidden) + "; people there are not counted";
}

void warn_of_lonely_devices(const Site& site, std::vector<std::string>& warnings) {
    if (site.devices.size() < 2) return;
    for (const SiteDevice& device : site.devices) {
        double best_m2 = 0.0;
        for (const SiteDevice& other : site.devices) {
            if (&other == &device) continue;
            const double plane_m = std::min(head_height_m(device), head_height_m(other));
            best_m2 = std::max(best_m2, shared_view_m2(device, other, plane_m));
        }
        if (best_m2 > kTouch_m2) continue;
        warnings.push_back(device.place +
                           " shares no view with another camera at head height; people on the way "
                           "to its view are lost and begin anew");
    }
}

std::string percent_text(double share) {
    return std::to_string(std::lround(100.0 * share)) + " %";
}

// Names of the devices that see at least a part of these places at head height.
template <typename Places>
std::string seen_by_text(const Site& site, const Places& places) {
    std::string text;
    for (const SiteDevice& device : site.devices) {
        const auto count = std::count_if(places.begin(), places.end(), [&](const SitePoint& p) {
            return sees(device, p, head_height_m(device));
        });
        if (count == 0) continue;
        text += (text.empty() ? "" : ", ") + device.name + " " +
                percent_text(static_cast<double>(count) / static_cast<double>(places.size()));
    }
    return text;
}

std::string device_text(const Site& site, const SiteDevice& device) {
    const double plane_m = head_height_m(device);
    const std::array<SitePoint, 4> view = view_outline(device, plane_m);
    std::string text = "  " + device.name + (device.master ? ", master" : ", slave ");
    if (!device.master) text += std::to_string(device.index);
    text += ": at " + metres_text(device.at) + ", turned " + plain_number(device.rotation_deg) +
            " degrees, " + plain_number(device.height_mm) + " mm high; sees " +
            plain_number(in_centimetres(distance_m(view[0], view[1]))) + " x " +
            plain_number(in_centimetres(distance_m(view[1], view[2]))) + " m at head height";
    for (const SiteDevice& other : site.devices) {
        if (&other == &device) continue;
        const double shared_m2 = shared_view_m2(device, other, plane_m);
        if (shared_m2 < kTouch_m2) continue;
        text += ", " + plain_number(std::round(10.0 * shared_m2) / 10.0) + " m2 with " + other.name;
    }
    return text + "\n";
}

std::string line_text(const Site& site, const SiteLine& line) {
    std::vector<SitePoint> places;
    double length_m = 0.0;
    walk_along(line.points, [&](const SitePoint& p, const SitePoint&) { places.push_back(p); });
    for (std::size_t i = 1; i < line.points.size(); ++i)
        length_m += distance_m(line.points[i - 1], line.points[i]);
    return "  line \"" + line.name + "\": " + plain_number(in_centimetres(length_m)) +
           " m, in view of " + seen_by_text(site, places) + "\n";
}

}  // namespace

void check_site(const Site& site, const std::string& file) {
    check_roles(site, file);
    check_names(site.devices, "device");
    check_indices(site);
    for (const SiteDevice& device : site.devices) {
        const std::array<SitePoint, 4> view = view_outline(device, 0.0);
        check_reach(site, {view.begin(), view.end()}, device.place);
        if (!device.is_simulated() && site.detect != DetectMode::kDepth) {
            throw InputError(device.place + " gives depth alone, and detect is \"" +
                             detect_mode_name(site.detect) + "\"; write detect = \"depth\"");
        }
    }
    if (site.lines.size() > kMaxLines) {
        throw InputError(site.lines[kMaxLines].place +
                         " is counting line 5; at most 4 can be counted");
    }
    if (site.regions.size() > kMaxRegions) {
        throw InputError(site.regions[kMaxRegions].place +
                         " is counting region 5; at most 4 can be watched");
    }
    check_names(site.lines, "line");
    check_names(site.regions, "region");
    for (const SiteLine& line : site.lines)
        check_line(site, line);
    for (const SiteRegion& region : site.regions)
        check_region(site, region);
}

std::vector<std::string> site_warnings(const Site& site) {
    std::vector<std::string> warnings;
    warn_of_lonely_devices(site, warnings);
    for (const SiteLine& line : site.lines) {
        const Coverage coverage = coverage_of(site, line);
        if (coverage.hidden) warnings.push_back(hidden_text(line.place, coverage));
    }
    for (const SiteRegion& region : site.regions) {
        const Coverage coverage = coverage_of(site, region);
        if (coverage.hidden) warnings.push_back(hidden_text(region.place, coverage));
    }
    if (site.lines.empty()) warnings.push_back("the site \"" + site.name + "\" counts no line");
    return warnings;
}

std::string describe_site(const Site& site) {
    std::string text = "site " + site.name + ", broker " + site.broker.host + ":" +
                       std::to_string(site.broker.port_or_usual()) + "\n";
    for (const SiteDevice& device : site.devices)
        text += device_text(site, device);
    for (const SiteLine& line : site.lines)
        text += line_text(site, line);
    for (const SiteRegion& region : site.regions) {
        text += "  region \"" + region.name + "\": in view of " +
                seen_by_text(site, region.points) + " of its corners\n";
    }
    const std::array<std::int32_t, 4> area = master_area(site);
    text += "  in the picture of " + master_of(site).name + " all of it is " +
            std::to_string(area[2]) + " x " + std::to_string(area[3]) + " pixels from " +
            std::to_string(area[0]) + ", " + std::to_string(area[1]) + "\n";
    for (const std::string& warning : site_warnings(site))
        text += "  warning: " + warning + "\n";
    return text;
}

}  // namespace host
