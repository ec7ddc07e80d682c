// True crossings from true positions.
#include "sim/crossings.h"

#include <cmath>

namespace sim {
namespace {

double orient(const Point& start, const Point& end, const Point& p) {
    return (end.y_m - start.y_m) * (p.x_m - end.x_m) - (end.x_m - start.x_m) * (p.y_m - end.y_m);
}

Point between(const Point& a, const Point& b, double t) {
    return {a.x_m + t * (b.x_m - a.x_m), a.y_m + t * (b.y_m - a.y_m)};
}

double distance(const Point& a, const Point& b) {
    const double x = b.x_m - a.x_m;
    const double y = b.y_m - a.y_m;
    return std::sqrt(x * x + y * y);
}

// Position of the foot of p's perpendicular as a fraction of the way from start to end.
double foot(const Point& start, const Point& end, const Point& p) {
    const double x = end.x_m - start.x_m;
    const double y = end.y_m - start.y_m;
    return ((p.x_m - start.x_m) * x + (p.y_m - start.y_m) * y) / (x * x + y * y);
}

int side_of(double signed_m) {
    return signed_m > 0.0 ? 1 : -1;
}

// 1 or -1 when the step goes over the segment to the positive or negative side, else 0.
int passes(const Point& start, const Point& end, const Point& from, const Point& to) {
    const double a = orient(start, end, from);
    const double b = orient(start, end, to);
    if ((a > 0.0) == (b > 0.0)) return 0;
    const double share = foot(start, end, between(from, to, a / (a - b)));
    if (share < 0.0 || share > 1.0) return 0;
    return side_of(b);
}

int direction_to(int side) {
    return side > 0 ? 1 : 2;
}

}  // namespace

double signed_distance(const std::vector<Point>& line, const Point& p) {
    double nearest = 1e300;
    double result = 0.0;
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        const Point& a = line[i];
        const Point& b = line[i + 1];
        const double across = orient(a, b, p) / distance(a, b);
        const double share = foot(a, b, p);
        const double t = share < 0.0 ? 0.0 : (share > 1.0 ? 1.0 : share);
        const double d = distance(p, between(a, b, t));
        // At a bend both segments are equally near; the one p faces more squarely decides the side.
        const bool tie = std::abs(d - nearest) < 1e-9;
        if (tie ? std::abs(across) > std::abs(result) : d < nearest) {
            nearest = d;
            result = across;
        }
    }
    return result;
}

bool inside_polygon(const std::vector<Point>& polygon, const Point& p) {
    bool inside = false;
    for (std::size_t i = 0, k = polygon.size() - 1; i < polygon.size(); k = i++) {
        const Point& a = polygon[i];
        const Point& b = polygon[k];
        if ((a.y_m > p.y_m) == (b.y_m > p.y_m)) continue;
        if (p.x_m < a.x_m + (b.x_m - a.x_m) * (p.y_m - a.y_m) / (b.y_m - a.y_m)) inside = !inside;
    }
    return inside;
}

CrossingCounter::CrossingCounter(std::vector<CountingLine> lines, double depth_m)
    : lines_(std::move(lines)), depth_m_(depth_m), paths_(lines_.size()) {}

std::vector<Crossing> CrossingCounter::update(const Frame& frame) {
    std::vector<Crossing> found;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        const CountingLine& line = lines_[i];
        auto& paths = paths_[i];
        for (const PersonTruth& person : frame.truth) {
            if (!person.in_view) continue;
            const Point at{person.x_m, person.y_m};
            const auto [entry, fresh] = paths.try_emplace(person.id);
            Path& path = entry->second;
            if (fresh) path.at = at;
            path.frame = frame.index;
            const int direction =
                line.uturn_area.empty() ? step_line(line, path, at) : step_area(line, path, at);
            path.at = at;
            if (direction != 0) found.push_back({i, person.id, frame.index, direction});
        }
        std::erase_if(paths, [&](const auto& p) { return p.second.frame != frame.index; });
    }
    return found;
}

int CrossingCounter::step_line(const CountingLine& line, Path& path, const Point& to) const {
    for (std::size_t i = 0; i + 1 < line.points.size(); ++i) {
        path.net += passes(line.points[i], line.points[i + 1], path.at, to);
    }
    const double signed_m = signed_distance(line.points, to);
    if (std::abs(signed_m) < depth_m_) return 0;
    const int side = side_of(signed_m);
    const bool over = path.side == -side && path.net == side;
    path.side = side;
    path.net = 0;
    return over ? direction_to(side) : 0;
}

int CrossingCounter::step_area(const CountingLine& line, Path& path, const Point& to) {
    const bool was_inside = inside_polygon(line.uturn_area, path.at);
    if (was_inside == inside_polygon(line.uturn_area, to)) return 0;
    double low = 0.0;
    double high = 1.0;
    for (int i = 0; i < 30; ++i) {
        const double middle = 0.5 * (low + high);
        const Point p = between(path.at, to, middle);
        (inside_polygon(line.uturn_area, p) == was_inside ? low : high) = middle;
    }
    const int side = side_of(signed_distance(line.points, between(path.at, to, high)));
    const int entered = path.entered;
    path.entered = was_inside ? 0 : side;
    return was_inside && entered == -side ? direction_to(side) : 0;
}

}  // namespace sim
