#include "host/engine/line_sides.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace host {
namespace {

std::vector<PicturePoint> points_of(const VCA_CFG_LINE_S& line) {
    std::vector<PicturePoint> points;
    for (const POINT12& point : line.pt) {
        if (point.en == 0) continue;
        points.push_back({static_cast<double>(point.x), static_cast<double>(point.y)});
    }
    return points;
}

struct Offset {
    double apart_px = INFINITY;  // from the segment
    double across_px = 0.0;      // from its line, positive on the side where direction 1 ends
};

Offset offset_from(const PicturePoint& a, const PicturePoint& b, const PicturePoint& p) {
    const PicturePoint way{b.x - a.x, b.y - a.y};
    const double length = std::hypot(way.x, way.y);
    if (length == 0.0) return {};
    const double along = ((p.x - a.x) * way.x + (p.y - a.y) * way.y) / length;
    const double part = std::clamp(along / length, 0.0, 1.0);
    return {std::hypot(p.x - a.x - part * way.x, p.y - a.y - part * way.y),
            (way.y * (p.x - b.x) - way.x * (p.y - b.y)) / length};
}

}  // namespace

double past_line_px(const VCA_CFG_LINE_S& line, const PicturePoint& p) {
    constexpr double kSame_px = 1e-6;
    const std::vector<PicturePoint> points = points_of(line);
    Offset nearest;
    for (std::size_t i = 1; i < points.size(); ++i) {
        const Offset offset = offset_from(points[i - 1], points[i], p);
        const bool tie = std::abs(offset.apart_px - nearest.apart_px) < kSame_px;
        if (tie ? std::abs(offset.across_px) > std::abs(nearest.across_px)
                : offset.apart_px < nearest.apart_px)
            nearest = offset;
    }
    const double past_px = std::copysign(nearest.apart_px, nearest.across_px);
    return line.Flip != 0 ? -past_px : past_px;
}

double distance_px(const std::vector<PicturePoint>& line, const PicturePoint& p) {
    double nearest_px = INFINITY;
    for (std::size_t i = 1; i < line.size(); ++i)
        nearest_px = std::min(nearest_px, offset_from(line[i - 1], line[i], p).apart_px);
    return nearest_px;
}

bool goes_around(const VCA_CFG_LINE_S& line) {
    const std::vector<PicturePoint> points = points_of(line);
    return points.size() > 2 && points.front().x == points.back().x &&
           points.front().y == points.back().y;
}

}  // namespace host
