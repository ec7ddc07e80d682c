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

cv::Mat colours_of(const std::vector<std::uint16_t>& depth_mm, double nearest_mm, double floor_mm) {
    cv::Mat small(kDepthHeight, kDepthWidth, CV_8UC3, cv::Scalar::all(0));
    const double range_mm = std::max(floor_mm - nearest_mm, 1.0);
    for (int y = 0; y < kDepthHeight; ++y) {
        for (int x = 0; x < kDepthWidth; ++x) {
            const int mm = depth_mm[static_cast<std::size_t>(y * kDepthWidth + x)];
            if (mm == 0) continue;
            const cv::Scalar colour = heat_colour(std::clamp((floor_mm - mm) / range_mm, 0.0, 1.0));
            small.at<cv::Vec3b>(y, x) = {cv::saturate_cast<std::uint8_t>(colour[0]),
                                         cv::saturate_cast<std::uint8_t>(colour[1]),
                                         cv::saturate_cast<std::uint8_t>(colour[2])};
        }
    }
    cv::Mat picture;
    cv::resize(small, picture, {kColourWidth, kColourHeight}, 0, 0, cv::INTER_NEAREST);
    return picture;
}

}  // namespace

cv::Mat draw_depth_picture(const std::vector<std::uint16_t>& depth_mm, double nearest_mm,
                           double floor_mm, const std::vector<CountingLine>& lines,
                           const std::vector<CountingRegion>& regions) {
    cv::Mat picture = colours_of(depth_mm, nearest_mm, floor_mm);
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
