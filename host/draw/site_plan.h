// Plan of a site's floor: what each camera sees, the counting lines, the regions.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "host/draw/canvas.h"
#include "host/settings/site.h"

namespace host {

cv::Scalar device_colour(std::size_t index);

// A drawing of the floor to scale, with a metre grid. The parts are drawn in the order of the
// calls.
class FloorPlan {
  public:
    // As large as `most` allows, with room for what the cameras see, the lines and the regions.
    FloorPlan(const Site& site, const cv::Size& most);

    cv::Mat& image() { return image_; }
    cv::Point2d at(const SitePoint& p) const;

    void draw_views();
    void draw_regions();
    void draw_lines();
    void draw_cameras();
    // Ticks in metres along the edges and a bar of one step of the grid.
    void draw_scale();

  private:
    template <typename Points>
    std::vector<cv::Point> polygon(const Points& points) const;
    void draw_grid();
    void draw_directions(std::size_t line);
    void take_along(const cv::Point2d& from, const cv::Point2d& to);
    void put_label(const std::string& text, const cv::Point2d& middle, const cv::Scalar& ink,
                   const cv::Scalar& paper);

    const Site& site_;
    double left_m_ = 0.0;
    double top_m_ = 0.0;
    double scale_ = 1.0;  // pixels per metre
    double step_m_ = 1.0;
    cv::Mat image_;
    FreePlaces places_;
};

// Rows of a picture's panel: heading, sample and text, plain text; filled from the top down.
class PlanLegend {
  public:
    explicit PlanLegend(cv::Mat image);
    void heading(const std::string& text);
    void text(const std::string& text);
    // A row of table cells that end at these columns, the first one beginning at the left edge.
    void cells(const std::vector<std::string>& row, const std::vector<int>& ends);
    // What the marks of the plan mean.
    void marks(const Site& site);

  private:
    void sample_row(const std::string& text);
    cv::Point sample_left() const { return {kLeft, y_}; }
    cv::Point sample_right() const { return {kLeft + kSample, y_}; }

    static constexpr int kLeft = 20;
    static constexpr int kSample = 50;
    cv::Mat image_;
    int y_ = 22;
};

// Throws std::runtime_error when the file cannot be written.
void write_site_plan(const Site& site, const std::string& path);

}  // namespace host
