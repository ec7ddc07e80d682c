// Geometry of places that count wrong.
#include "host/settings/place_warnings.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "host/base/text.h"
#include "host/base/turn.h"
#include "host/settings/line_checks.h"

namespace host {
namespace {

constexpr int kSamples = 8;  // along a piece, and across a region

// How far past a line people have to come before they count, and how far from the edge the middle
// of a fully visible person stays; both approximate, in pixels of the 960 x 544 picture.
constexpr double kPast_px = 26.0;
constexpr double kHalfPerson_px = 20.0;

constexpr double kTypical_mm = 1700.0;  // tall

using Points = std::vector<PicturePoint>;
using Test = std::function<bool(const PicturePoint&)>;

PicturePoint between(const PicturePoint& a, const PicturePoint& b, double part) {
    return {a.x + part * (b.x - a.x), a.y + part * (b.y - a.y)};
}

bool everywhere_on_line(const Points& line, const Test& test) {
    for (std::size_t i = 1; i < line.size(); ++i) {
        for (int k = 0; k <= kSamples; ++k) {
            if (!test(between(line[i - 1], line[i], 1.0 * k / kSamples))) return false;
        }
    }
    return true;
}

bool everywhere_in_region(const Points& region, const Test& test) {
    const auto [left, right] = std::minmax_element(
        region.begin(), region.end(), [](const auto& a, const auto& b) { return a.x < b.x; });
    const auto [top, bottom] = std::minmax_element(
        region.begin(), region.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
    for (int row = 0; row < 2 * kSamples; ++row) {
        for (int column = 0; column < 2 * kSamples; ++column) {
            const PicturePoint p{left->x + (right->x - left->x) * (column + 0.5) / (2 * kSamples),
                                 top->y + (bottom->y - top->y) * (row + 0.5) / (2 * kSamples)};
            if (is_inside(region, p) && !test(p)) return false;
        }
    }
    return true;
}

// Whether two pieces that are not neighbours cross; `closed` adds a piece from the last point to
// the first.
bool crosses_itself(const Points& points, bool closed) {
    const std::size_t pieces = closed ? points.size() : points.size() - 1;
    const auto end = [&](std::size_t i) { return points[(i + 1) % points.size()]; };
    for (std::size_t i = 0; i < pieces; ++i) {
        for (std::size_t j = i + 2; j < pieces; ++j) {
            if (closed && i == 0 && j == pieces - 1) continue;
            if (pieces_cut(points[i], end(i), points[j], end(j))) return true;
        }
    }
    return false;
}

double length_of(const Points& line) {
    double length = 0.0;
    for (std::size_t i = 1; i < line.size(); ++i)
        length += std::hypot(line[i].x - line[i - 1].x, line[i].y - line[i - 1].y);
    return length;
}

// A head is seen farther from the middle of the picture than the feet below it, by this factor.
double outwards(const CameraModel& camera, bool foot_point) {
    const double height_mm = camera.height_mm.value_or(0.0);
    return foot_point && height_mm > 1.2 * kTypical_mm ? height_mm / (height_mm - kTypical_mm)
                                                       : 1.0;
}

// Where people stand whose heads are in the picture.
struct SeenArea {
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;
};

SeenArea seen_area(int width, int height, const CameraModel& camera, bool foot_point) {
    const double part = 1.0 / outwards(camera, foot_point);
    const PicturePoint below = TakenPicture(camera, Tilt{}).below();
    const PicturePoint least = between(below, {0.0, 0.0}, part);
    const PicturePoint most = between(below, {1.0 * width, 1.0 * height}, part);
    return {least.x, least.y, most.x, most.y};
}

// How far a way from a place in this direction, 1 long, stays in the area, in pixels.
double way_inside(const PicturePoint& p, double x, double y, const SeenArea& area) {
    double way = std::numeric_limits<double>::infinity();
    if (x != 0.0) way = std::min(way, ((x > 0.0 ? area.right : area.left) - p.x) / x);
    if (y != 0.0) way = std::min(way, ((y > 0.0 ? area.bottom : area.top) - p.y) / y);
    return std::max(way, 0.0);
}

// How far people can go to both sides of a line where they can go farthest, in pixels.
double way_past(const Points& line, const SeenArea& area) {
    double farthest = 0.0;
    for (std::size_t i = 1; i < line.size(); ++i) {
        const PicturePoint& a = line[i - 1];
        const PicturePoint& b = line[i];
        const double length = std::max(std::hypot(b.x - a.x, b.y - a.y), 1.0);
        const double x = (b.y - a.y) / length;
        const double y = -(b.x - a.x) / length;
        for (int k = 0; k <= kSamples; ++k) {
            const PicturePoint p = between(a, b, 1.0 * k / kSamples);
            farthest = std::max(farthest,
                                std::min(way_inside(p, x, y, area), way_inside(p, -x, -y, area)));
        }
    }
    return farthest;
}

// Of a level floor; 0 when the height is not known.
double floor_mm_per_pixel(const CameraModel& camera) {
    if (camera.fx <= 0.0) return 0.0;
    return camera.height_mm.value_or(0.0) / camera.fx * kDepthWidth / kColourWidth;
}

// "0.2 m", rounded down: what is too little must not look like enough.
double tenths_m(double pixels, double mm_per_pixel) {
    return std::floor(pixels * mm_per_pixel / 100.0) / 10.0;
}

PlaceWarning edge_warning(const std::string& line, double way_px, double mm_per_pixel) {
    PlaceWarning warning{
        "line_near_edge",
        "the line \"" + line +
            "\" runs along the edge of the picture; nobody can come far enough past "
            "it to be counted"};
    if (mm_per_pixel <= 0.0) return warning;
    const double beyond_m = tenths_m(way_px, mm_per_pixel);
    if (beyond_m <= 0.0) {
        return {"line_unseen", "on the line \"" + line +
                                   "\" people's heads are hardly in the picture; nobody is counted "
                                   "there"};
    }
    warning.beyond_m = beyond_m;
    warning.needed_m = tenths_m(kPast_px, mm_per_pixel) + 0.1;
    warning.text = format_text(
        "the line \"%s\" is too near the edge: people are seen only %.1f m "
        "beyond it, %.1f m are needed",
        line.c_str(), *warning.beyond_m, *warning.needed_m);
    return warning;
}

}  // namespace

std::vector<std::string> texts_of(const std::vector<PlaceWarning>& warnings) {
    std::vector<std::string> texts;
    for (const PlaceWarning& warning : warnings)
        texts.push_back(warning.text);
    return texts;
}

std::vector<PlaceWarning> place_warnings(const CountedPlaces& places) {
    const auto excluded = [&](const PicturePoint& p) {
        return std::any_of(places.exclusions.begin(), places.exclusions.end(),
                           [&](const Points& area) { return is_inside(area, p); });
    };
    std::vector<PlaceWarning> warnings;
    for (const CountingLine& line : places.lines) {
        if (line.points.empty()) continue;
        const std::string name = "the line \"" + line.name + "\"";
        if (!is_closed(line.points) && crosses_itself(line.points, false))
            warnings.push_back(
                {"crosses_itself",
                 name + " crosses itself; anyone who walks over both parts is counted twice"});
        if (length_of(line.points) < kHalfPerson_px)
            warnings.push_back(
                {"line_short", name + " is shorter than people are wide; hardly anybody meets it"});
        const bool partly =
            !everywhere_on_line(line.points, [&](const PicturePoint& p) { return !excluded(p); });
        if (everywhere_on_line(line.points, excluded))
            warnings.push_back(
                {"excluded", name + " lies entirely in exclusion areas; nobody is counted there"});
        else if (partly)
            warnings.push_back({"line_excluded",
                                name + " lies partly in exclusion areas; nobody is counted there"});
    }
    for (const CountingRegion& region : places.regions) {
        if (region.points.empty()) continue;
        const std::string name = "the region \"" + region.name + "\"";
        if (crosses_itself(region.points, true))
            warnings.push_back({"region_crosses_itself",
                                name + " crosses itself; people in parts of it are not counted"});
        if (everywhere_in_region(region.points, excluded))
            warnings.push_back(
                {"excluded", name + " lies entirely in exclusion areas; nobody is counted there"});
    }
    return warnings;
}

std::vector<PlaceWarning> line_edge_warnings(const CountedPlaces& places, int width, int height,
                                             const CameraModel& camera, bool foot_point) {
    const SeenArea area = seen_area(width, height, camera, foot_point);
    std::vector<PlaceWarning> warnings;
    for (const CountingLine& line : places.lines) {
        if (line.points.empty()) continue;
        const double way_px = way_past(line.points, area);
        if (way_px < kPast_px)
            warnings.push_back(edge_warning(line.name, way_px, floor_mm_per_pixel(camera)));
    }
    return warnings;
}

std::vector<PicturePoint> counting_zone(const std::vector<PicturePoint>& line) {
    // To the left of each piece, 1 long.
    Points left;
    Points corners;
    for (const PicturePoint& p : line) {
        if (!corners.empty()) {
            const PicturePoint& a = corners.back();
            const double length = std::hypot(p.x - a.x, p.y - a.y);
            if (!std::isfinite(length)) return {};
            if (length < 1.0) continue;
            left.push_back({(p.y - a.y) / length, -(p.x - a.x) / length});
        }
        corners.push_back(p);
    }
    if (left.empty()) return {};
    constexpr double kLongest = 3.0;  // of a sharp corner, times the width
    Points zone;
    Points other;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const PicturePoint& before = left[i > 0 ? i - 1 : 0];
        const PicturePoint& after = left[std::min(i, left.size() - 1)];
        const PicturePoint sum{before.x + after.x, before.y + after.y};
        const double half = (sum.x * sum.x + sum.y * sum.y) / 2.0;
        const double away = kPast_px / std::max(half, 1.0 / kLongest);
        zone.push_back({corners[i].x + away * sum.x, corners[i].y + away * sum.y});
        other.push_back({corners[i].x - away * sum.x, corners[i].y - away * sum.y});
    }
    zone.insert(zone.end(), other.rbegin(), other.rend());
    return zone;
}

std::vector<PlaceWarning> unseen_line_warnings(const CountedPlaces& places,
                                               const CameraModel& camera, bool foot_point) {
    if (!camera.levelled) return {};
    const TakenPicture taken(camera, *camera.levelled);
    const double away = outwards(camera, foot_point);
    const auto seen = [&](const PicturePoint& p) {
        return taken.shows(between(taken.below(), p, away), kHalfPerson_px);
    };
    std::vector<PlaceWarning> warnings;
    for (const CountingLine& line : places.lines) {
        if (line.points.empty() || everywhere_on_line(line.points, seen)) continue;
        warnings.push_back(
            {"line_unseen",
             "over a part of the line \"" + line.name +
                 "\" people's heads are outside what the crooked camera sees; nobody "
                 "is counted there"});
    }
    return warnings;
}

std::vector<PlaceWarning> region_edge_warnings(const CountedPlaces& places, int width, int height) {
    std::vector<PlaceWarning> warnings;
    for (const CountingRegion& region : places.regions) {
        if (region.points.empty()) continue;
        const bool hidden = everywhere_in_region(region.points, [&](const PicturePoint& p) {
            return p.x < kHalfPerson_px || p.y < kHalfPerson_px || p.x > width - kHalfPerson_px ||
                   p.y > height - kHalfPerson_px;
        });
        if (!hidden) continue;
        warnings.push_back({"region_at_edge",
                            "the region \"" + region.name +
                                "\" lies at the edge of the picture, where nobody is seen whole"});
    }
    return warnings;
}

}  // namespace host
