// Perspective of a standing body: three discs (head, shoulders, feet) and their convex hull.
#include "host/inference/silhouette.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>

namespace host {

namespace {

struct Disc {
    float above_floor_mm;
    float radius_mm;
};

constexpr float kHeadRadius_mm = 95.0f;
constexpr float kHeadMiddle_mm = kTypicalHeight_mm - 110.0f;
// Shoulders are 0.45 m by 0.25 m and turn with the walker; the disc has about their area.
constexpr float kBodyRadius_mm = 185.0f;
constexpr std::array<Disc, 4> kBody = {{{kHeadMiddle_mm, kHeadRadius_mm},
                                        {kTypicalHeight_mm - 320.0f, kBodyRadius_mm},
                                        {850.0f, 170.0f},
                                        {80.0f, 150.0f}}};
constexpr float kBoxDrop_mm = 150.0f;  // the box is centred on the head at this depth below its top

float lens_distance_mm(const OverheadCamera& camera, float above_floor_mm) {
    return std::max(camera.height_mm - above_floor_mm, 300.0f);
}

}  // namespace

std::vector<cv::Point> silhouette(const OverheadCamera& camera, float x_mm, float y_mm) {
    constexpr int kCorners = 12;
    std::vector<cv::Point> points;
    points.reserve(kBody.size() * kCorners);
    for (const Disc& disc : kBody) {
        const float z = lens_distance_mm(camera, disc.above_floor_mm);
        for (int i = 0; i < kCorners; ++i) {
            const float angle = 2.0f * std::numbers::pi_v<float> * static_cast<float>(i) / kCorners;
            const float u = camera.cx + camera.fx * (x_mm + disc.radius_mm * std::cos(angle)) / z;
            const float v = camera.cy + camera.fy * (y_mm + disc.radius_mm * std::sin(angle)) / z;
            points.emplace_back(static_cast<int>(std::lround(u)), static_cast<int>(std::lround(v)));
        }
    }
    std::vector<cv::Point> hull;
    cv::convexHull(points, hull);
    return hull;
}

cv::Rect2f head_box(const OverheadCamera& camera, float x_mm, float y_mm, float half_x_mm,
                    float half_y_mm) {
    const float z = lens_distance_mm(camera, kTypicalHeight_mm - kBoxDrop_mm);
    return {camera.cx + camera.fx * (x_mm - half_x_mm) / z,
            camera.cy + camera.fy * (y_mm - half_y_mm) / z, 2.0f * half_x_mm * camera.fx / z,
            2.0f * half_y_mm * camera.fy / z};
}

cv::Point2f head_of_outermost(const OverheadCamera& camera, float u, float v) {
    const float sx = (u - camera.cx) / camera.fx;
    const float sy = (v - camera.cy) / camera.fy;
    const float slope = std::hypot(sx, sy);
    if (slope < 1e-6f) return {0.0f, 0.0f};
    // Either the head or a shoulder is the outermost; the person stands where neither sticks out.
    float distance_mm = 1e9f;
    for (const Disc& disc : {kBody[0], kBody[1]}) {
        distance_mm = std::min(
            distance_mm, slope * lens_distance_mm(camera, disc.above_floor_mm) - disc.radius_mm);
    }
    distance_mm = std::max(distance_mm, 0.0f);
    return {sx / slope * distance_mm, sy / slope * distance_mm};
}

}  // namespace host
