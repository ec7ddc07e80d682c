// Holes in depth images take the value of their surroundings.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace host {

class HoleFiller {
  public:
    // Copies the part `room` of a CV_16U depth image and fills its holes (0) where their
    // surroundings, in all of the image, are near enough on at least three of four sides.
    // `reach_px` is how far a pixel looks. Where the sides differ it takes a farther one, so that
    // holes along a silhouette never enlarge it.
    void fill(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room, cv::Mat& filled_mm);

  private:
    // The next value on a side of a hole, and how many pixels away it is; 0 for none.
    struct Side {
        std::uint16_t value = 0;
        std::uint16_t away_px = 0;
    };
    struct Sides {
        Side left, up, right, down;
    };

    void find_holes(const cv::Mat& depth_mm, const cv::Rect& area);
    void look_back(const cv::Mat& depth_mm, const cv::Rect& area);
    void look_ahead(const cv::Mat& depth_mm, const cv::Rect& area);

    std::vector<cv::Point> holes_;  // in reading order
    std::vector<Sides> sides_;      // of the pixels that are holes; of the others out of date
};

}  // namespace host
