// Drawing of the plan.
#include "host/draw/site_plan.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "host/base/text.h"
#include "host/draw/canvas.h"
#include "host/settings/site_map.h"
#include "vca/base.h"

namespace host {
namespace {

constexpr double kMargin_m = 0.5;
constexpr int kTitleHeight = 56;
constexpr int kPanelWidth = 380;
constexpr int kLeastHeight = 560;  // room for the panel
constexpr double kText = 0.5;
const cv::Scalar kFloor(252, 252, 250);
const cv::Scalar kGrid(226, 224, 220);
const cv::Scalar kShared(110, 200, 250);
const cv::Scalar kRegion(60, 140, 60);

struct Extent {
    double left = std::numeric_limits<double>::max();
    double top = std::numeric_limits<double>::max();
    double right = std::numeric_limits<double>::lowest();
    double bottom = std::numeric_limits<double>::lowest();

    template <typename Points>
    void take(const Points& points) {
        for (const SitePoint& p : points) {
            left = std::min(left, p.x_m - kMargin_m);
            top = std::min(top, p.y_m - kMargin_m);
            right = std::max(right, p.x_m + kMargin_m);
            bottom = std::max(bottom, p.y_m + kMargin_m);
        }
    }
};

Extent extent_of(const Site& site) {
    Extent extent;
    for (const SiteDevice& device : site.devices)
        extent.take(view_outline(device, 0.0));
    for (const SiteLine& line : site.lines)
        extent.take(line.points);
    for (const SiteRegion& region : site.regions)
        extent.take(region.points);
    return extent;
}

double grid_step_m(double pixels_per_metre) {
    constexpr double kLeast_px = 36.0;
    for (const double step : {1.0, 2.0, 5.0, 10.0, 20.0})
        if (step * pixels_per_metre >= kLeast_px) return step;
    return 50.0;
}

void draw_dashes(cv::Mat& image, const std::vector<cv::Point>& polygon, const cv::Scalar& colour) {
    constexpr double kDash_px = 9.0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const cv::Point2d a = polygon[i];
        const cv::Point2d way = cv::Point2d(polygon[(i + 1) % polygon.size()]) - a;
        const int dashes = std::max(static_cast<int>(cv::norm(way) / kDash_px), 1);
        for (int k = 0; k < dashes; k += 2) {
            cv::line(image, a + way * (1.0 * k / dashes), a + way * (1.0 * (k + 1) / dashes),
                     colour, 1, cv::LINE_AA);
        }
    }
}

}  // namespace

cv::Scalar device_colour(std::size_t index) {
    static const cv::Scalar kColours[] = {{140, 130, 20}, {40, 120, 220},  {60, 80, 130},
                                          {50, 140, 130}, {160, 100, 150}, {110, 110, 110}};
    return kColours[index % std::size(kColours)];
}

FloorPlan::FloorPlan(const Site& site, const cv::Size& most) : site_(site), places_(most) {
    const Extent extent = extent_of(site);
    left_m_ = extent.left;
    top_m_ = extent.top;
    scale_ = std::min(most.width / (extent.right - extent.left),
                      most.height / (extent.bottom - extent.top));
    const cv::Size size(static_cast<int>((extent.right - extent.left) * scale_),
                        static_cast<int>((extent.bottom - extent.top) * scale_));
    step_m_ = grid_step_m(scale_);
    image_ = cv::Mat(size, CV_8UC3, kFloor);
    places_ = FreePlaces(size);
    draw_grid();
}

cv::Point2d FloorPlan::at(const SitePoint& p) const {
    return {(p.x_m - left_m_) * scale_, (p.y_m - top_m_) * scale_};
}

template <typename Points>
std::vector<cv::Point> FloorPlan::polygon(const Points& points) const {
    std::vector<cv::Point> list;
    for (const SitePoint& p : points)
        list.emplace_back(at(p));
    return list;
}

void FloorPlan::draw_grid() {
    for (double x = std::ceil(left_m_ / step_m_) * step_m_;; x += step_m_) {
        const int column = static_cast<int>(at({x, 0.0}).x);
        if (column >= image_.cols) break;
        cv::line(image_, {column, 0}, {column, image_.rows}, kGrid, 1);
    }
    for (double y = std::ceil(top_m_ / step_m_) * step_m_;; y += step_m_) {
        const int row = static_cast<int>(at({0.0, y}).y);
        if (row >= image_.rows) break;
        cv::line(image_, {0, row}, {image_.cols, row}, kGrid, 1);
    }
}

void FloorPlan::draw_views() {
    cv::Mat times_seen(image_.size(), CV_8UC1, cv::Scalar(0));
    for (std::size_t i = 0; i < site_.devices.size(); ++i) {
        const SiteDevice& device = site_.devices[i];
        const std::vector<cv::Point> heads = polygon(view_outline(device, head_height_m(device)));
        shade_polygon(image_, heads, device_colour(i), 0.12);
        cv::Mat one(image_.size(), CV_8UC1, cv::Scalar(0));
        cv::fillPoly(one, std::vector<std::vector<cv::Point>>{heads}, cv::Scalar(1));
        times_seen += one;
    }
    cv::Mat tinted = image_.clone();
    tinted.setTo(kShared, times_seen >= 2);
    cv::addWeighted(tinted, 0.35, image_, 0.65, 0.0, image_);
    for (std::size_t i = 0; i < site_.devices.size(); ++i) {
        const SiteDevice& device = site_.devices[i];
        draw_dashes(image_, polygon(view_outline(device, 0.0)), device_colour(i));
        cv::polylines(image_, polygon(view_outline(device, head_height_m(device))), true,
                      device_colour(i), 2, cv::LINE_AA);
    }
}

void FloorPlan::draw_regions() {
    for (const SiteRegion& region : site_.regions) {
        const std::vector<cv::Point> corners = polygon(region.points);
        shade_polygon(image_, corners, kRegion, 0.15);
        cv::polylines(image_, corners, true, kRegion, 2, cv::LINE_AA);
        const cv::Rect box = cv::boundingRect(corners);
        put_label(region.name, {box.x + 0.5 * box.width, box.y + 0.5 * box.height}, kWhite,
                  kRegion);
    }
}

void FloorPlan::draw_lines() {
    for (std::size_t i = 0; i < site_.lines.size(); ++i) {
        const SiteLine& line = site_.lines[i];
        if (!line.uturn_area.empty()) draw_dashes(image_, polygon(line.uturn_area), line_colour(i));
        const std::vector<cv::Point> points = polygon(line.points);
        cv::polylines(image_, points, false, kWhite, 6, cv::LINE_AA);
        cv::polylines(image_, points, false, line_colour(i), 3, cv::LINE_AA);
        for (const cv::Point& p : points)
            cv::circle(image_, p, 5, line_colour(i), cv::FILLED, cv::LINE_AA);
        for (std::size_t k = 1; k < points.size(); ++k)
            take_along(points[k - 1], points[k]);
    }
    for (std::size_t i = 0; i < site_.lines.size(); ++i)
        draw_directions(i);
}

// Both arrows stand on the longest piece, direction 1 on its first third.
void FloorPlan::draw_directions(std::size_t index) {
    constexpr double kArrow_px = 34.0;
    const SiteLine& line = site_.lines[index];
    cv::Point2d start = at(line.points[0]);
    cv::Point2d end = at(line.points[1]);
    for (std::size_t i = 2; i < line.points.size(); ++i) {
        const cv::Point2d a = at(line.points[i - 1]);
        const cv::Point2d b = at(line.points[i]);
        if (cv::norm(b - a) > cv::norm(end - start)) start = a, end = b;
    }
    const cv::Point2d along = end - start;
    // Unit vector to the left of a walker from start to end, y pointing down.
    const cv::Point2d left(along.y / cv::norm(along), -along.x / cv::norm(along));
    for (int direction = VCA_DIR_1; direction <= VCA_DIR_2; ++direction) {
        const bool to_left = (direction == VCA_DIR_1) != line.flip;
        const cv::Point2d across = to_left ? left : -left;
        const cv::Point2d base = start + along * (direction == VCA_DIR_1 ? 0.2 : 0.8);
        const cv::Point2d tip = base + across * kArrow_px;
        cv::arrowedLine(image_, base, tip, kWhite, 6, cv::LINE_AA, 0, 0.35);
        cv::arrowedLine(image_, base, tip, line_colour(index), 3, cv::LINE_AA, 0, 0.35);
        take_along(base, tip);
        const std::string text =
            shortened(to_ascii(line.name), 20) + " / " + std::to_string(direction);
        const cv::Size half = text_size(text, kText, 1) / 2 + cv::Size(10, 9);
        const double ahead = std::abs(across.x) * half.width + std::abs(across.y) * half.height;
        put_label(text, tip + across * (ahead + 8.0), kWhite, line_colour(index));
    }
}

void FloorPlan::draw_cameras() {
    for (std::size_t i = 0; i < site_.devices.size(); ++i) {
        const SiteDevice& device = site_.devices[i];
        const cv::Point2d middle = at(device.at);
        const double angle = device.rotation_deg * CV_PI / 180.0;
        const cv::Point2d right(std::cos(angle), std::sin(angle));
        cv::arrowedLine(image_, middle, middle + right * 30.0, device_colour(i), 2, cv::LINE_AA, 0,
                        0.3);
        cv::circle(image_, middle, 8, kWhite, cv::FILLED, cv::LINE_AA);
        cv::circle(image_, middle, 6, device_colour(i), cv::FILLED, cv::LINE_AA);
        take_along(middle, middle + right * 30.0);
        const std::string role = device.master ? "master" : "slave " + std::to_string(device.index);
        put_label(device.name + " (" + role + ")", middle + cv::Point2d(0.0, -26.0), kWhite,
                  device_colour(i));
    }
}

// Keeps labels off a straight piece.
void FloorPlan::take_along(const cv::Point2d& from, const cv::Point2d& to) {
    constexpr int kSide = 14;
    const int steps = std::max(static_cast<int>(cv::norm(to - from)) / kSide, 1);
    for (int k = 0; k <= steps; ++k) {
        const cv::Point at = from + (to - from) * (1.0 * k / steps);
        places_.take({at.x - kSide / 2, at.y - kSide / 2, kSide, kSide});
    }
}

void FloorPlan::put_label(const std::string& utf8, const cv::Point2d& middle, const cv::Scalar& ink,
                          const cv::Scalar& paper) {
    const std::string text = to_ascii(utf8);
    const cv::Size extent = text_size(text, kText, 1) + cv::Size(12, 10);
    const cv::Point corner(static_cast<int>(middle.x) - extent.width / 2,
                           static_cast<int>(middle.y) - extent.height / 2);
    std::vector<cv::Point> tried;
    for (const int down : {0, 1, -1, 2, -2})
        for (const int aside : {0, 1, -1})
            tried.push_back(corner +
                            cv::Point(aside * (extent.width / 2 + 10), down * extent.height));
    const cv::Rect place = places_.take_best(extent, tried);
    shade(image_, place, paper, 0.85);
    put_text(image_, text, place.tl() + cv::Point(6, 5), kText, ink);
}

void FloorPlan::draw_scale() {
    for (double x = std::ceil(left_m_ / step_m_) * step_m_; at({x, 0.0}).x < image_.cols - 20;
         x += step_m_) {
        put_text(image_, format_text("%.0f", x + 0.0), {static_cast<int>(at({x, 0.0}).x) + 3, 3},
                 0.4, kInk);
    }
    for (double y = std::ceil(top_m_ / step_m_) * step_m_; at({0.0, y}).y < image_.rows - 14;
         y += step_m_) {
        put_text(image_, format_text("%.0f", y + 0.0), {3, static_cast<int>(at({0.0, y}).y) + 3},
                 0.4, kInk);
    }
    const int length = static_cast<int>(step_m_ * scale_);
    const cv::Point from(24, image_.rows - 14);
    cv::line(image_, from, from + cv::Point(length, 0), kInk, 3);
    put_text(image_, format_text("%.0f m", step_m_), from + cv::Point(length + 8, -6), 0.45, kInk);
}

PlanLegend::PlanLegend(cv::Mat image) : image_(std::move(image)) {
    image_.setTo(kPaper);
}

void PlanLegend::heading(const std::string& text) {
    y_ = put_text(image_, text, {kLeft, y_}, 0.65, kInk, 2) + 24;
}

void PlanLegend::text(const std::string& text) {
    y_ = put_text(image_, text, {kLeft, y_}, kText, kInk) + 14;
}

void PlanLegend::cells(const std::vector<std::string>& row, const std::vector<int>& ends) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::string cell = to_ascii(row[i]);
        const int x = i == 0 ? kLeft : ends[i] - text_size(cell, kText, 1).width;
        put_text(image_, cell, {x, y_}, kText, kInk);
    }
    y_ += 24;
}

void PlanLegend::sample_row(const std::string& text) {
    put_text(image_, text, {kLeft + kSample + 16, y_ - 5}, kText, kInk);
    y_ += 30;
}

void PlanLegend::marks(const Site& site) {
    heading("What is shown");
    const auto box = [this] { return cv::Rect(kLeft, y_ - 9, kSample, 18); };
    cv::rectangle(image_, box(), device_colour(0), 2, cv::LINE_AA);
    sample_row("in view at head height, 1.7 m");
    const cv::Rect floor = box();
    draw_dashes(image_, {floor.tl(), {floor.br().x, floor.y}, floor.br(), {floor.x, floor.br().y}},
                device_colour(0));
    sample_row("in view on the floor");
    shade(image_, box(), kShared, 0.45);
    sample_row("two cameras see a head here");
    cv::arrowedLine(image_, sample_left(), sample_right(), device_colour(0), 2, cv::LINE_AA, 0,
                    0.2);
    cv::circle(image_, sample_left() + cv::Point(7, 0), 6, device_colour(0), cv::FILLED,
               cv::LINE_AA);
    sample_row("camera; right of its picture");
    if (!site.lines.empty()) {
        cv::line(image_, sample_left(), sample_right(), line_colour(0), 3, cv::LINE_AA);
        sample_row("counting line");
        cv::arrowedLine(image_, sample_left(), sample_right(), line_colour(0), 3, cv::LINE_AA, 0,
                        0.25);
        sample_row("its directions 1 and 2");
    }
    if (!site.regions.empty()) {
        cv::rectangle(image_, box(), kRegion, 2, cv::LINE_AA);
        sample_row("counting region");
    }
    sample_row("grid and numbers in metres");
    y_ += 8;
}

void write_site_plan(const Site& site, const std::string& path) {
    FloorPlan plan(site, {1400, 1000});
    plan.draw_views();
    plan.draw_regions();
    plan.draw_lines();
    plan.draw_cameras();
    plan.draw_scale();
    const cv::Size size = plan.image().size();
    const int height = std::max(size.height, kLeastHeight);
    cv::Mat picture(kTitleHeight + height, size.width + kPanelWidth, CV_8UC3, kFloor);
    picture(cv::Rect(0, 0, picture.cols, kTitleHeight)).setTo(kInk);
    put_text(picture, "Site " + site.name + ": plan of the floor", {20, 18}, 0.8, kWhite, 2);
    plan.image().copyTo(picture(cv::Rect({0, kTitleHeight}, size)));
    PlanLegend legend(picture(cv::Rect(size.width, kTitleHeight, kPanelWidth, height)));
    legend.marks(site);
    legend.heading("Cameras");
    for (const SiteDevice& device : site.devices) {
        legend.text(shortened(device.name, 16) + ": " +
                    format_text("%.2f m high, ", device.height_mm / 1000.0) +
                    format_text("turned %.0f deg", device.rotation_deg));
    }
    write_png(picture, path);
}

}  // namespace host
