// Geometry and spelling of the lines and polygons that a user gives.
#include "host/settings/line_checks.h"

#include <algorithm>
#include <cmath>

#include "host/base/text.h"

namespace host {
namespace {

constexpr double kSmallestArea_px2 = 1.0;
constexpr int kScanRows = 512;
constexpr std::size_t kMostNameCharacters = 60;

bool same_point(const PicturePoint& a, const PicturePoint& b) {
    return std::lround(a.x) == std::lround(b.x) && std::lround(a.y) == std::lround(b.y);
}

// Calls fn(a, b) for every edge of the closed polygon.
template <typename Fn>
void for_each_edge(const std::vector<PicturePoint>& polygon, Fn fn) {
    for (std::size_t i = 0; i < polygon.size(); ++i)
        fn(polygon[i], polygon[(i + 1) % polygon.size()]);
}

// Where the row y cuts the polygon's edges, from left to right.
std::vector<double> cuts_at(const std::vector<PicturePoint>& polygon, double y) {
    std::vector<double> xs;
    for_each_edge(polygon, [&](const PicturePoint& a, const PicturePoint& b) {
        if ((a.y > y) != (b.y > y)) xs.push_back(a.x + (y - a.y) / (b.y - a.y) * (b.x - a.x));
    });
    std::sort(xs.begin(), xs.end());
    return xs;
}

// Twice the signed area of the triangle a b c.
double turn(const PicturePoint& a, const PicturePoint& b, const PicturePoint& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool on_segment(const PicturePoint& a, const PicturePoint& b, const PicturePoint& p) {
    return turn(a, b, p) == 0.0 && p.x >= std::min(a.x, b.x) && p.x <= std::max(a.x, b.x) &&
           p.y >= std::min(a.y, b.y) && p.y <= std::max(a.y, b.y);
}

std::string count_text(std::size_t points) {
    return " has " + std::to_string(points) + (points == 1 ? " point" : " points");
}

}  // namespace

std::string point_text(const PicturePoint& point) {
    return plain_number(point.x) + ',' + plain_number(point.y);
}

bool is_closed(const std::vector<PicturePoint>& line) {
    return line.size() > 2 && same_point(line.front(), line.back());
}

void check_line_points(const std::vector<PicturePoint>& points, const std::string& place) {
    if (points.size() < 2 || points.size() > kMaxLinePoints) {
        throw InputError(place + count_text(points.size()) + "; a counting line needs 2 to 5");
    }
    for (std::size_t i = 1; i < points.size(); ++i) {
        if (same_point(points[i - 1], points[i])) {
            throw InputError(place + " has the point " + point_text(points[i]) +
                             " twice in a row; neighbours must differ by a pixel");
        }
        for (std::size_t j = 0; j + 1 < i; ++j) {
            if (!same_point(points[j], points[i])) continue;
            throw InputError(place + " returns to the point " + point_text(points[i]) +
                             "; a line must not pass a point twice, unless it is a closed line");
        }
    }
}

void check_closed_line_points(const std::vector<PicturePoint>& points, const std::string& place) {
    if (points.size() != kMaxLinePoints || !is_closed(points)) {
        throw InputError(place + count_text(points.size()) +
                         (is_closed(points) ? "" : " and does not end where it begins") +
                         "; a closed line has four corners and the first point again as the last");
    }
    const std::vector<PicturePoint> corners(points.begin(), points.end() - 1);
    check_line_points(corners, place);
    const std::size_t n = corners.size();
    std::size_t left_turns = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double bend = turn(corners[i], corners[(i + 1) % n], corners[(i + 2) % n]);
        if (std::abs(bend) < kSmallestArea_px2) {
            throw InputError(place + " does not bend at " + point_text(corners[(i + 1) % n]) +
                             "; a closed line needs four corners that stick out");
        }
        left_turns += bend < 0.0 ? 1 : 0;
    }
    if (left_turns == 0 || left_turns == n) return;
    throw InputError(place +
                     (left_turns == 2 ? " crosses itself" : " has a corner that points inwards") +
                     "; give the four corners in the order in which somebody who walks around "
                     "the area passes them, each of them sticking out");
}

void check_polygon(const std::vector<PicturePoint>& points, const std::string& place,
                   const std::string& what) {
    if (points.size() < 3 || points.size() > kMaxAreaPoints) {
        throw InputError(place + count_text(points.size()) + "; " + what + " needs 3 to 10");
    }
    for (const PicturePoint& point : points) {
        const auto same = std::count_if(points.begin(), points.end(), [&](const PicturePoint& p) {
            return same_point(p, point);
        });
        if (same < 3) continue;
        throw InputError(place + " has " + std::to_string(same) + " points at " +
                         point_text(point) + "; corners must lie at different places");
    }
    if (area_px2(points) < kSmallestArea_px2) {
        throw InputError(place + " encloses nothing or less than a pixel; the corners of " + what +
                         " must lie apart and not on one straight line");
    }
}

void check_area_points(const std::vector<PicturePoint>& points, const std::string& place) {
    check_polygon(points, place, "a U-turn area");
}

void check_region_points(const std::vector<PicturePoint>& points, const std::string& place) {
    check_polygon(points, place, "a counting region");
}

void check_exclusion_points(const std::vector<PicturePoint>& points, const std::string& place) {
    check_polygon(points, place, "an exclusion area");
}

void check_inside(const std::vector<PicturePoint>& points, int width, int height,
                  const std::string& place) {
    for (const PicturePoint& p : points) {
        if (p.x >= 0.0 && p.y >= 0.0 && p.x < width && p.y < height) continue;
        throw InputError(place + " has the point " + point_text(p) +
                         ", which leaves the picture; its points go from 0,0 to " +
                         std::to_string(width - 1) + "," + std::to_string(height - 1));
    }
}

void check_area_on_line(const std::vector<PicturePoint>& area,
                        const std::vector<PicturePoint>& line, const std::string& place) {
    bool touches = std::any_of(line.begin(), line.end(),
                               [&area](const PicturePoint& p) { return is_inside(area, p); });
    for (std::size_t i = 1; i < line.size(); ++i) {
        for_each_edge(area, [&](const PicturePoint& a, const PicturePoint& b) {
            touches = touches || pieces_cut(line[i - 1], line[i], a, b);
        });
    }
    if (!touches) {
        throw InputError(place +
                         " does not touch its counting line; a U-turn area lies around "
                         "the line");
    }
}

void check_name(const std::string& name, const std::string& place) {
    if (name.find_first_not_of(' ') == std::string::npos) {
        throw InputError(place + " is empty; leave it out or write a name");
    }
    std::size_t characters = 0;
    for (std::size_t at = 0; at < name.size();) {
        if (++characters > kMostNameCharacters) {
            throw InputError(place + " is longer than " + std::to_string(kMostNameCharacters) +
                             " characters; write a shorter name");
        }
        const std::optional<char32_t> code = next_character(name, at);
        if (!code) throw InputError(place + " is not UTF-8 text; write the name in UTF-8");
        if (is_control(*code)) {
            throw InputError(place +
                             " holds a control character; write the name in one line of "
                             "visible characters");
        }
    }
}

void check_directions_differ(const std::array<std::string, 2>& names, const std::string& place) {
    if (names[0] != names[1]) return;
    throw InputError(place + " are both called \"" + names[0] +
                     "\"; give each direction a name of its own");
}

void check_names_differ(const std::vector<Placed<std::string>>& names) {
    for (std::size_t i = 1; i < names.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (names[i].value != names[j].value) continue;
            throw InputError(names[i].place + " is called \"" + names[i].value + "\", as is " +
                             names[j].place + "; give each a name of its own");
        }
    }
}

bool pieces_cut(const PicturePoint& a, const PicturePoint& b, const PicturePoint& c,
                const PicturePoint& d) {
    const bool apart_cd = turn(a, b, c) * turn(a, b, d) < 0.0;
    const bool apart_ab = turn(c, d, a) * turn(c, d, b) < 0.0;
    return (apart_cd && apart_ab) || on_segment(a, b, c) || on_segment(a, b, d) ||
           on_segment(c, d, a) || on_segment(c, d, b);
}

double area_px2(const std::vector<PicturePoint>& polygon) {
    const auto [top, bottom] =
        std::minmax_element(polygon.begin(), polygon.end(),
                            [](const PicturePoint& a, const PicturePoint& b) { return a.y < b.y; });
    if (top == polygon.end()) return 0.0;
    const double step = (bottom->y - top->y) / kScanRows;
    double sum = 0.0;
    for (int row = 0; row < kScanRows; ++row) {
        const std::vector<double> xs = cuts_at(polygon, top->y + (row + 0.5) * step);
        for (std::size_t i = 1; i < xs.size(); i += 2)
            sum += (xs[i] - xs[i - 1]) * step;
    }
    return sum;
}

bool is_inside(const std::vector<PicturePoint>& polygon, const PicturePoint& point) {
    const std::vector<double> xs = cuts_at(polygon, point.y);
    return std::count_if(xs.begin(), xs.end(), [&point](double x) { return x <= point.x; }) % 2 ==
           1;
}

}  // namespace host
