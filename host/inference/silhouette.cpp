// Perspective of a standing body: four discs from the head to the feet and their convex hull.
#include "host/inference/silhouette.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>

#include "host/inference/head_span.h"

namespace host {

namespace {

struct Disc {
    float above_floor_mm;
    float radius_mm;
};

// Shoulders are 0.45 m by 0.25 m and turn with the walker; the disc has about their area. Children
// are narrower in proportion to their height, but for the head.
std::array<Disc, 4> body_of(const Stander& person) {
    const float size = person.height_mm / 1700.0f;
    return {{{person.height_mm - 110.0f, 95.0f},
             {person.height_mm - 320.0f * size, 185.0f * size},
             {0.5f * person.height_mm, 170.0f * size},
             {80.0f, 150.0f * size}}};
}

float lens_distance_mm(const OverheadCamera& camera, float above_floor_mm) {
    return std::max(camera.height_mm - above_floor_mm, 300.0f);
}

}  // namespace

std::vector<cv::Point> silhouette(const OverheadCamera& camera, const Stander& person) {
    constexpr int kCorners = 10;
    std::vector<cv::Point> points;
    points.reserve(4 * kCorners);
    for (const Disc& disc : body_of(person)) {
        const float z = lens_distance_mm(camera, disc.above_floor_mm);
        for (int i = 0; i < kCorners; ++i) {
            const float angle = 2.0f * std::numbers::pi_v<float> * static_cast<float>(i) / kCorners;
            const float x = person.x_mm + disc.radius_mm * std::cos(angle);
            const float y = person.y_mm + disc.radius_mm * std::sin(angle);
            points.emplace_back(static_cast<int>(std::lround(camera.cx + camera.fx * x / z)),
                                static_cast<int>(std::lround(camera.cy + camera.fy * y / z)));
        }
    }
    std::vector<cv::Point> hull;
    cv::convexHull(points, hull);
    return hull;
}

cv::Rect2f head_box(const OverheadCamera& camera, const Stander& person) {
    const float half_mm = 240.0f * person.height_mm / 1700.0f;
    const float lens_to_top_mm = lens_distance_mm(camera, person.height_mm);
    const Span across = head_span(person.x_mm, half_mm, lens_to_top_mm);
    const Span along = head_span(person.y_mm, half_mm, lens_to_top_mm);
    return {camera.cx + camera.fx * across.low, camera.cy + camera.fy * along.low,
            camera.fx * (across.high - across.low), camera.fy * (along.high - along.low)};
}

Stander from_outermost(const OverheadCamera& camera, float u, float v, float height_mm) {
    const float sx = (u - camera.cx) / camera.fx;
    const float sy = (v - camera.cy) / camera.fy;
    const float slope = std::hypot(sx, sy);
    Stander person{0.0f, 0.0f, height_mm};
    if (slope < 1e-6f) return person;
    // Either the head or a shoulder is the outermost; the person stands where neither sticks out.
    const auto body = body_of(person);
    float distance_mm = 1e9f;
    for (const Disc& disc : {body[0], body[1]}) {
        distance_mm = std::min(
            distance_mm, slope * lens_distance_mm(camera, disc.above_floor_mm) - disc.radius_mm);
    }
    distance_mm = std::max(distance_mm, 0.0f);
    person.x_mm = sx / slope * distance_mm;
    person.y_mm = sy / slope * distance_mm;
    return person;
}

}  // namespace host
