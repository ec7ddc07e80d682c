// From metres to the configuration messages of the devices.
#include "host/settings/site_config.h"

#include <algorithm>
#include <cmath>

#include "host/base/picture.h"
#include "host/settings/library_config.h"
#include "host/settings/site_map.h"

namespace host {
namespace {

constexpr double kShortestLine_m = 0.5;

double length_m(const std::vector<SitePoint>& points) {
    double sum = 0.0;
    for (std::size_t i = 1; i < points.size(); ++i) {
        sum += std::hypot(points[i].x_m - points[i - 1].x_m, points[i].y_m - points[i - 1].y_m);
    }
    return sum;
}

// The part of a path inside a picture, as shares of the path.
struct Piece {
    double from = 0.0;
    double to = 1.0;

    // Leaves out where value + t * change is outside 0 to `size`.
    void limit(double value, double change, double size) {
        if (change == 0.0) {
            if (value < 0.0 || value > size) to = from;
            return;
        }
        const double a = -value / change;
        const double b = (size - value) / change;
        from = std::max(from, std::min(a, b));
        to = std::min(to, std::max(a, b));
    }

    bool empty() const { return !(from < to); }
};

SitePoint between(const SitePoint& a, const SitePoint& b, double t) {
    return {a.x_m + t * (b.x_m - a.x_m), a.y_m + t * (b.y_m - a.y_m)};
}

// The longest unbroken part of a line along which heads are in the picture.
std::vector<SitePoint> seen_part(const SiteDevice& device, const std::vector<SitePoint>& points) {
    const double plane_m = head_height_m(device);
    std::vector<SitePoint> best;
    std::vector<SitePoint> part;
    for (std::size_t i = 1; i < points.size(); ++i) {
        const PicturePoint a = to_picture(device, points[i - 1], plane_m);
        const PicturePoint b = to_picture(device, points[i], plane_m);
        Piece piece;
        piece.limit(a.x, b.x - a.x, kColourWidth);
        piece.limit(a.y, b.y - a.y, kColourHeight);
        if (piece.empty()) {
            part.clear();
            continue;
        }
        if (piece.from > 0.0) part.clear();
        if (part.empty()) part.push_back(between(points[i - 1], points[i], piece.from));
        part.push_back(between(points[i - 1], points[i], piece.to));
        if (length_m(part) > length_m(best)) best = part;
        if (piece.to < 1.0) part.clear();
    }
    return best;
}

std::vector<PicturePoint> on_floor(const SiteDevice& device, const std::vector<SitePoint>& points) {
    std::vector<PicturePoint> list;
    for (const SitePoint& p : points)
        list.push_back(to_picture(device, p, 0.0));
    return list;
}

CountingLine as_seen(const SiteDevice& device, const SiteLine& line,
                     const std::vector<SitePoint>& points) {
    return {line.name, on_floor(device, points), line.uturn_filter,
            on_floor(device, line.uturn_area), line.flip};
}

bool sees_floor(const SiteDevice& device, const SiteRegion& region) {
    return std::all_of(region.points.begin(), region.points.end(),
                       [&](const SitePoint& p) { return sees(device, p, 0.0); });
}

}  // namespace

std::vector<CountingLine> master_lines(const Site& site) {
    std::vector<CountingLine> lines;
    for (const SiteLine& line : site.lines)
        lines.push_back(as_seen(master_of(site), line, line.points));
    return lines;
}

std::vector<CountingLine> own_lines(const Site& site, const SiteDevice& device) {
    std::vector<CountingLine> lines;
    for (const SiteLine& line : site.lines) {
        std::vector<SitePoint> part = seen_part(device, line.points);
        if (length_m(part) < kShortestLine_m) part.clear();
        lines.push_back(as_seen(device, line, part));
    }
    return lines;
}

std::vector<CountingRegion> master_regions(const Site& site) {
    std::vector<CountingRegion> regions;
    for (const SiteRegion& region : site.regions)
        regions.push_back({region.name, on_floor(master_of(site), region.points)});
    return regions;
}

std::vector<CountingRegion> own_regions(const Site& site, const SiteDevice& device) {
    std::vector<CountingRegion> regions;
    for (const SiteRegion& region : site.regions) {
        regions.push_back({region.name, {}});
        if (sees_floor(device, region)) regions.back().points = on_floor(device, region.points);
    }
    return regions;
}

VCA_ALGO_CFG_S device_config(const Site& site, const SiteDevice& device, SiteRole role) {
    LibrarySettings settings;
    settings.height_mm = device.height_mm;
    settings.target_min_mm = site.target_min_mm;
    settings.target_max_mm = site.target_max_mm;
    settings.detect = site.detect;
    settings.group_counting = site.group_counting;
    settings.group_min = site.group_min;
    settings.group_max = site.group_max;
    if (role == SiteRole::kAlone) {
        settings.lines = own_lines(site, device);
        settings.regions = own_regions(site, device);
    } else if (device.master) {
        settings.mode = VCA_WORK_MASTER;
        settings.area = master_area(site);
        settings.lines = master_lines(site);
        settings.regions = master_regions(site);
    } else {
        settings.mode = VCA_WORK_SLAVE;
    }
    return library_config(settings);
}

SiteViewSetup view_setup(const Site& site, const SiteDevice& device) {
    SiteViewSetup setup;
    setup.name = device.name;
    setup.place = device.place;
    setup.scene = site.scene;
    setup.seed = site.seed;
    setup.camera = {device.height_mm / 1000.0, device.at.x_m, device.at.y_m, device.rotation_deg};
    setup.focal_px = device.focal_px;
    setup.frames_per_second = site.frames_per_second;
    setup.seconds = site.seconds;
    return setup;
}

}  // namespace host
