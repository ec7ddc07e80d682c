// Colours by distance.
#include "host/draw/depth_picture.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "host/base/picture.h"
#include "host/draw/canvas.h"
#include "host/draw/heat_picture.h"

namespace host {
namespace {

std::vector<cv::Point> polygon(const std::vector<PicturePoint>& points) {
    std::vector<cv::Point> list;
    for (const PicturePoint& p : points)
        list.emplace_back(static_cast<int>(std::lround(p.x)), static_cast<int>(std::lround(p.y)));
    return list;
}

// The colours of all distances up to the floor; what lies beyond has that of the floor.
std::vector<cv::Vec3b> colours_by_mm(double nearest_mm, double floor_mm) {
    const double range_mm = std::max(floor_mm - nearest_mm, 1.0);
    const double last_mm = std::clamp(std::ceil(floor_mm), 1.0, 65535.0);
    std::vector<cv::Vec3b> colours(static_cast<std::size_t>(last_mm) + 1);
    for (std::size_t mm = 1; mm < colours.size(); ++mm) {
        const double above = (floor_mm - static_cast<double>(mm)) / range_mm;
        const cv::Scalar colour = heat_colour(std::clamp(above, 0.0, 1.0));
        colours[mm] = {cv::saturate_cast<std::uint8_t>(colour[0]),
                       cv::saturate_cast<std::uint8_t>(colour[1]),
                       cv::saturate_cast<std::uint8_t>(colour[2])};
    }
    return colours;
}

}  // namespace

cv::Mat colour_depth(const std::vector<std::uint16_t>& depth_mm, double nearest_mm,
                     double floor_mm) {
    const std::vector<cv::Vec3b> colours = colours_by_mm(nearest_mm, floor_mm);
    cv::Mat picture(kDepthHeight, kDepthWidth, CV_8UC3);
    for (int y = 0; y < kDepthHeight; ++y) {
        auto* const row = picture.ptr<cv::Vec3b>(y);
        const std::uint16_t* const mm = depth_mm.data() + std::ptrdiff_t{y} * kDepthWidth;
        for (int x = 0; x < kDepthWidth; ++x)
            row[x] = colours[std::min<std::size_t>(mm[x], colours.size() - 1)];
    }
    return picture;
}

cv::Mat draw_depth_picture(const std::vector<std::uint16_t>& depth_mm, double nearest_mm,
                           double floor_mm, const std::vector<CountingLine>& lines,
                           const std::vector<CountingRegion>& regions) {
    cv::Mat picture;
    cv::resize(colour_depth(depth_mm, nearest_mm, floor_mm), picture, {kColourWidth, kColourHeight},
               0, 0, cv::INTER_NEAREST);
    for (const CountingRegion& region : regions) {
        const std::vector<cv::Point> points = polygon(region.points);
        cv::polylines(picture, std::vector<std::vector<cv::Point>>{points}, true, kWhite, 2,
                      cv::LINE_AA);
        if (!points.empty()) put_text(picture, region.name, points.front(), 0.6, kWhite);
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::vector<cv::Point> points = polygon(lines[i].points);
        const std::vector<std::vector<cv::Point>> list{points};
        cv::polylines(picture, list, false, kWhite, 7, cv::LINE_AA);
        cv::polylines(picture, list, false, line_colour(i), 4, cv::LINE_AA);
        if (points.empty()) continue;
        put_text(picture, lines[i].name, points.front() + cv::Point(6, 8), 0.6, kWhite);
    }
    return picture;
}

}  // namespace host
