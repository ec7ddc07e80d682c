// Holes in depth images take the value of their surroundings.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace host {

class HoleFiller {
  public:
    // Copies the part `room` of a CV_16U depth image, whole blocks of columns, and fills its holes
    // (0) where their surroundings, in all of the image, are near enough on at least three of four
    // sides. `reach_px` is how far a pixel looks. Where the sides differ it takes a farther one, so
    // that holes along a silhouette never enlarge it.
    void fill(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room, cv::Mat& filled_mm);

  private:
    // A block of a row that has holes.
    struct Block {
        int row = 0;
        int col = 0;
        std::uint32_t holes = 0;  // a bit each, the first column the lowest
        int left = 0;             // column of the next value to the left of the block's first pixel
    };

    void look_back(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room, cv::Mat& filled_mm);
    void look_ahead(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room,
                    cv::Mat& filled_mm);
    void carry(const std::uint16_t* beside, int col);
    void take_nearer(const std::uint16_t* row, int col, int reach_px, std::uint16_t* filled) const;
    int fill_block(const Block& block, const cv::Mat& depth_mm, int right, int reach_px,
                   std::uint16_t* filled) const;

    std::vector<Block> blocks_;  // of the room, in reading order
    // Of each column, for the holes that the row looked at last has: the next value above or below
    // them and how many pixels away it is; right for no other pixels.
    std::vector<std::uint16_t> values_, away_px_;
    std::vector<std::uint16_t> nothing_;  // a row beyond the image
};

}  // namespace host
