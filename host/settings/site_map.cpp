// Pinhole geometry of cameras that look straight down on one floor.
#include "host/settings/site_map.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "host/base/picture.h"

namespace host {
namespace {

constexpr double kCentreU = kColourWidth / 2.0;
constexpr double kCentreV = kColourHeight / 2.0;

struct Turn {
    double c;
    double s;
};

Turn turn_of(const SiteDevice& device) {
    const double angle = device.rotation_deg * std::numbers::pi / 180.0;
    return {std::cos(angle), std::sin(angle)};
}

double lens_m(const SiteDevice& device) {
    return device.height_mm / 1000.0;
}

double metres_per_pixel(const SiteDevice& device, double plane_m) {
    return (lens_m(device) - plane_m) / device.focal_px;
}

// The reported height of a person, or a typical one where it cannot be true.
double person_height_m(double height_mm, double lowest_lens_m) {
    constexpr double kLeast_m = 0.5;
    const double height_m = height_mm / 1000.0;
    return std::min(height_m >= kLeast_m ? height_m : kHead_m, 0.7 * lowest_lens_m);
}

using Polygon = std::vector<SitePoint>;

double cross(const SitePoint& a, const SitePoint& b, const SitePoint& p) {
    return (b.x_m - a.x_m) * (p.y_m - a.y_m) - (b.y_m - a.y_m) * (p.x_m - a.x_m);
}

// The part of a polygon on the inner side of the edge from a to b.
Polygon cut(const Polygon& polygon, const SitePoint& a, const SitePoint& b) {
    Polygon rest;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const SitePoint& p = polygon[i];
        const SitePoint& q = polygon[(i + 1) % polygon.size()];
        const double dp = cross(a, b, p);
        const double dq = cross(a, b, q);
        if (dp >= 0.0) rest.push_back(p);
        if ((dp >= 0.0) == (dq >= 0.0)) continue;
        const double t = dp / (dp - dq);
        rest.push_back({p.x_m + t * (q.x_m - p.x_m), p.y_m + t * (q.y_m - p.y_m)});
    }
    return rest;
}

double area_m2(const Polygon& polygon) {
    double twice = 0.0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const SitePoint& p = polygon[i];
        const SitePoint& q = polygon[(i + 1) % polygon.size()];
        twice += p.x_m * q.y_m - q.x_m * p.y_m;
    }
    return 0.5 * std::abs(twice);
}

}  // namespace

SitePoint to_site(const SiteDevice& device, const PicturePoint& pixel, double plane_m) {
    const double scale = metres_per_pixel(device, plane_m);
    const double x = (pixel.x - kCentreU) * scale;
    const double y = (pixel.y - kCentreV) * scale;
    const Turn t = turn_of(device);
    return {device.at.x_m + t.c * x - t.s * y, device.at.y_m + t.s * x + t.c * y};
}

PicturePoint to_picture(const SiteDevice& device, const SitePoint& point, double plane_m) {
    const double scale = metres_per_pixel(device, plane_m);
    const double x = point.x_m - device.at.x_m;
    const double y = point.y_m - device.at.y_m;
    const Turn t = turn_of(device);
    return {kCentreU + (t.c * x + t.s * y) / scale, kCentreV + (t.c * y - t.s * x) / scale};
}

double head_height_m(const SiteDevice& device) {
    return std::min(kHead_m, 0.7 * device.height_mm / 1000.0);
}

bool sees(const SiteDevice& device, const SitePoint& point, double plane_m) {
    const PicturePoint p = to_picture(device, point, plane_m);
    return p.x >= 0.0 && p.y >= 0.0 && p.x < kColourWidth && p.y < kColourHeight;
}

std::array<SitePoint, 4> view_outline(const SiteDevice& device, double plane_m) {
    const double w = kColourWidth;
    const double h = kColourHeight;
    return {to_site(device, {0.0, 0.0}, plane_m), to_site(device, {w, 0.0}, plane_m),
            to_site(device, {w, h}, plane_m), to_site(device, {0.0, h}, plane_m)};
}

double shared_view_m2(const SiteDevice& a, const SiteDevice& b, double plane_m) {
    const std::array<SitePoint, 4> of_a = view_outline(a, plane_m);
    const std::array<SitePoint, 4> of_b = view_outline(b, plane_m);
    Polygon shared(of_a.begin(), of_a.end());
    for (std::size_t i = 0; i < of_b.size() && !shared.empty(); ++i)
        shared = cut(shared, of_b[i], of_b[(i + 1) % of_b.size()]);
    return area_m2(shared);
}

POINT_POS_S whole_pixel(const PicturePoint& p) {
    return {whole_coordinate(p.x), whole_coordinate(p.y)};
}

PicturePoint to_master(const Site& site, const SitePoint& point) {
    return to_picture(master_of(site), point, 0.0);
}

SitePoint of_master(const Site& site, const PicturePoint& floor) {
    return to_site(master_of(site), floor, 0.0);
}

void map_to_master(const Site& site, int slave, SLAVE_MSG_S& msg) {
    const SiteDevice* device = find_slave(site, slave);
    if (device == nullptr) return;
    const double lowest_lens_m = std::min(lens_m(*device), lens_m(master_of(site)));
    const int count = std::clamp(msg.count, 0, VCA_SLAVE_TRACK_MAX);
    for (int i = 0; i < count; ++i) {
        SLAVE_TRACK_S& track = msg.tracks[i];
        const PicturePoint middle{static_cast<double>(track.cx), static_cast<double>(track.cy)};
        const double height_m = person_height_m(track.height, lowest_lens_m);
        const POINT_POS_S foot = whole_pixel(to_master(site, to_site(*device, middle, height_m)));
        const POINT_POS_S centre = whole_pixel(to_master(site, to_site(*device, middle, 0.0)));
        track.foot_x = foot.x;
        track.foot_y = foot.y;
        track.cx = centre.x;
        track.cy = centre.y;
    }
}

std::array<std::int32_t, 4> master_area(const Site& site) {
    double left = 0.0;
    double top = 0.0;
    double right = kColourWidth;
    double bottom = kColourHeight;
    for (const SiteDevice& device : site.devices) {
        for (const SitePoint& corner : view_outline(device, 0.0)) {
            const PicturePoint p = to_master(site, corner);
            left = std::min(left, p.x);
            top = std::min(top, p.y);
            right = std::max(right, p.x);
            bottom = std::max(bottom, p.y);
        }
    }
    // Corners that lie on a whole pixel, apart from rounding, stay there.
    constexpr double kRounding_px = 1e-6;
    const int x = whole_coordinate(std::floor(left + kRounding_px));
    const int y = whole_coordinate(std::floor(top + kRounding_px));
    return {x, y, whole_coordinate(std::ceil(right - kRounding_px)) - x,
            whole_coordinate(std::ceil(bottom - kRounding_px)) - y};
}

}  // namespace host
