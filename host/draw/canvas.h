// What all pictures share: colours, text, translucent marks, labels that avoid each other, and PNG
// files.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace host {

inline const cv::Scalar kWhite(255, 255, 255);
inline const cv::Scalar kInk(40, 36, 32);
inline const cv::Scalar kPaper(248, 247, 245);

// Each line has its own colour, for the line, its arrows and its labels; dark enough for white
// text.
cv::Scalar line_colour(std::size_t index);
// Colours far apart for neighbouring numbers.
cv::Scalar track_colour(int id);

// The font has only ASCII: accented letters become plain ones, every other character a question
// mark.
std::string to_ascii(const std::string& utf8);
// At most this many characters, the last ones replaced by three dots when there are more.
std::string shortened(const std::string& ascii, std::size_t most);

cv::Size text_size(const std::string& ascii, double size, int thickness);
// Text whose upper left corner is at `at`; returns the row below it.
int put_text(cv::Mat& image, const std::string& utf8, cv::Point at, double size,
             const cv::Scalar& colour, int thickness = 1);

// Mixes `colour` into a rectangle of the picture; `weight` 1 covers it.
void shade(cv::Mat& image, const cv::Rect& area, const cv::Scalar& colour, double weight);

// Mixes `colour` into a polygon.
void shade_polygon(cv::Mat& image, const std::vector<cv::Point>& polygon, const cv::Scalar& colour,
                   double weight);

// An area in which nobody is counted: darker, hatched, with a grey outline.
void draw_excluded(cv::Mat& image, const std::vector<cv::Point>& polygon);

// A rectangle's outline in dashes, with gaps of the same length.
void draw_dashed(cv::Mat& image, const cv::Rect& box, const cv::Scalar& colour, int thickness);

// Places in a picture that are taken by marks and labels.
class FreePlaces {
  public:
    explicit FreePlaces(const cv::Size& picture) : picture_(0, 0, picture.width, picture.height) {}

    void take(const cv::Rect& area) { taken_.push_back(area); }

    // Takes whichever of the places (upper left corners, moved into the picture) covers the least
    // of what is already taken; the first of equal ones.
    cv::Rect take_best(const cv::Size& extent, const std::vector<cv::Point>& places);

  private:
    cv::Rect moved_inside(const cv::Point& corner, const cv::Size& extent) const;
    int covered_pixels(const cv::Rect& area) const;

    cv::Rect picture_;
    std::vector<cv::Rect> taken_;
};

// The colours of a 960 x 544 NV12 image; an empty picture for anything else.
cv::Mat colour_picture(const std::vector<std::uint8_t>& nv12);

// Throws std::runtime_error when that fails.
void write_png(const cv::Mat& picture, const std::string& path);

}  // namespace host
