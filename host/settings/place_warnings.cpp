// Geometry of places that count wrong.
#include "host/settings/place_warnings.h"

#include <algorithm>
#include <cmath>
#include <functional>

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

// Whether there is no place on the piece from which people can go far enough to both sides.
bool runs_along_edge(const Points& line, int width, int height) {
    for (std::size_t i = 1; i < line.size(); ++i) {
        const PicturePoint& a = line[i - 1];
        const PicturePoint& b = line[i];
        const double length = std::max(std::hypot(b.x - a.x, b.y - a.y), 1.0);
        const double away_x = kPast_px * (b.y - a.y) / length;
        const double away_y = -kPast_px * (b.x - a.x) / length;
        const auto inside = [&](double x, double y) {
            return x >= 0.0 && y >= 0.0 && x < width && y < height;
        };
        for (int k = 0; k <= kSamples; ++k) {
            const PicturePoint p = between(a, b, 1.0 * k / kSamples);
            if (inside(p.x + away_x, p.y + away_y) && inside(p.x - away_x, p.y - away_y))
                return false;
        }
    }
    return true;
}

}  // namespace

std::vector<std::string> place_warnings(const CountedPlaces& places) {
    const auto excluded = [&](const PicturePoint& p) {
        return std::any_of(places.exclusions.begin(), places.exclusions.end(),
                           [&](const Points& area) { return is_inside(area, p); });
    };
    std::vector<std::string> warnings;
    for (const CountingLine& line : places.lines) {
        if (line.points.empty()) continue;
        const std::string name = "the line \"" + line.name + "\"";
        if (!is_closed(line.points) && crosses_itself(line.points, false))
            warnings.push_back(
                name + " crosses itself; anyone who walks over both parts is counted twice");
        if (length_of(line.points) < kHalfPerson_px)
            warnings.push_back(name + " is shorter than people are wide; hardly anybody meets it");
        const bool partly =
            !everywhere_on_line(line.points, [&](const PicturePoint& p) { return !excluded(p); });
        if (everywhere_on_line(line.points, excluded))
            warnings.push_back(name + " lies entirely in exclusion areas; nobody is counted there");
        else if (partly)
            warnings.push_back(name + " lies partly in exclusion areas; nobody is counted there");
    }
    for (const CountingRegion& region : places.regions) {
        if (region.points.empty()) continue;
        const std::string name = "the region \"" + region.name + "\"";
        if (crosses_itself(region.points, true))
            warnings.push_back(name + " crosses itself; people in parts of it are not counted");
        if (everywhere_in_region(region.points, excluded))
            warnings.push_back(name + " lies entirely in exclusion areas; nobody is counted there");
    }
    return warnings;
}

std::vector<std::string> line_edge_warnings(const CountedPlaces& places, int width, int height) {
    std::vector<std::string> warnings;
    for (const CountingLine& line : places.lines) {
        if (line.points.empty() || !runs_along_edge(line.points, width, height)) continue;
        warnings.push_back("the line \"" + line.name +
                           "\" runs along the edge of the picture; nobody can come far enough past "
                           "it to be counted");
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

std::vector<std::string> unseen_line_warnings(const CountedPlaces& places,
                                              const CameraModel& camera, bool foot_point) {
    if (!camera.levelled) return {};
    const TakenPicture taken(camera, *camera.levelled);
    const double height_mm = camera.height_mm.value_or(0.0);
    // A head is seen farther from the middle of the picture than the feet below it.
    const double outwards =
        foot_point && height_mm > 1.2 * kTypical_mm ? height_mm / (height_mm - kTypical_mm) : 1.0;
    const auto seen = [&](const PicturePoint& p) {
        return taken.shows(between(taken.below(), p, outwards), kHalfPerson_px);
    };
    std::vector<std::string> warnings;
    for (const CountingLine& line : places.lines) {
        if (line.points.empty() || everywhere_on_line(line.points, seen)) continue;
        warnings.push_back("over a part of the line \"" + line.name +
                           "\" people's heads are outside what the crooked camera sees; nobody is "
                           "counted there");
    }
    return warnings;
}

std::vector<std::string> region_edge_warnings(const CountedPlaces& places, int width, int height) {
    std::vector<std::string> warnings;
    for (const CountingRegion& region : places.regions) {
        if (region.points.empty()) continue;
        const bool hidden = everywhere_in_region(region.points, [&](const PicturePoint& p) {
            return p.x < kHalfPerson_px || p.y < kHalfPerson_px || p.x > width - kHalfPerson_px ||
                   p.y > height - kHalfPerson_px;
        });
        if (!hidden) continue;
        warnings.push_back("the region \"" + region.name +
                           "\" lies at the edge of the picture, where nobody is seen whole");
    }
    return warnings;
}

}  // namespace host
