// What the heat map pictures and the live picture share: translucent marks, labels that keep off
// each other, and PNG files.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace host {

// Mixes `colour` into a rectangle of the picture; `weight` 1 covers it.
void shade(cv::Mat& image, const cv::Rect& area, const cv::Scalar& colour, double weight);

// Mixes `colour` into a polygon.
void shade_polygon(cv::Mat& image, const std::vector<cv::Point>& polygon, const cv::Scalar& colour,
                   double weight);

// Straight pieces of a rectangle's outline with gaps as long as themselves.
void draw_dashed(cv::Mat& image, const cv::Rect& box, const cv::Scalar& colour, int thickness);

// Places in a picture that are taken by marks and labels.
class FreePlaces {
  public:
    explicit FreePlaces(const cv::Size& picture) : picture_(0, 0, picture.width, picture.height) {}

    void take(const cv::Rect& area) { taken_.push_back(area); }

    // Takes the one of the places (upper left corners, moved into the picture) where the area
    // covers least of what is taken; of equal ones the first.
    cv::Rect take_best(const cv::Size& extent, const std::vector<cv::Point>& places);

  private:
    cv::Rect moved_inside(const cv::Point& corner, const cv::Size& extent) const;
    int covered_pixels(const cv::Rect& area) const;

    cv::Rect picture_;
    std::vector<cv::Rect> taken_;
};

// Throws std::runtime_error when that fails.
void write_png(const cv::Mat& picture, const std::string& path);

}  // namespace host
