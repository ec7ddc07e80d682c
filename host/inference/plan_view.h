// The scene seen from straight above, in metric cells: perspective is gone, a person is the same
// size everywhere and stands on the spot of floor under the head.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <span>
#include <utility>
#include <vector>

#include "host/base/camera.h"

namespace host {

struct PlanPoint {
    float x_mm = 0.0f;  // right of the lens axis
    float y_mm = 0.0f;  // towards the lower image edge
};

// Bounds of what counts as part of a person; the floor, low objects and what hangs from the ceiling
// stay out.
inline constexpr float kLowestSurface_mm = 500.0f;
inline constexpr float kHighestSurface_mm = 2350.0f;

// A depth pixel within the bounds.
struct SurfacePixel {
    std::uint16_t u = 0;
    std::uint16_t v = 0;
    std::int32_t cell = 0;
};

class PlanView {
  public:
    // Without the camera's height nobody is found.
    explicit PlanView(const CameraModel& camera);

    // A rectangle of whole blocks of columns around all pixels of a CV_16U depth image (0 is
    // missing) that are nearer than the lowest surface of interest, and around their neighbours;
    // empty without any.
    cv::Rect room_of_surfaces(const cv::Mat& depth_mm) const;
    // Takes such a part of a depth image; the rest of it shows nothing of interest.
    void build(const cv::Mat& depth_mm, const cv::Rect& room);

    // Highest surface of each cell above the floor, mm (CV_32F); 0 where nothing was seen.
    const cv::Mat& surface_mm() const { return surface_mm_; }
    // The cells that are not 0 are all in here.
    const cv::Rect& seen() const { return seen_; }
    // The depth pixels within the height bounds, in reading order.
    std::span<const SurfacePixel> pixels() const { return {room_for_pixels_.data(), pixel_count_}; }

    // Of these pixels, the least depth that may occur and how many depths there may be.
    std::uint16_t nearest_mm() const { return nearest_mm_; }
    std::size_t depth_count() const {
        return farthest_mm_ < nearest_mm_
                   ? 0
                   : static_cast<std::size_t>(farthest_mm_ - nearest_mm_) + 1;
    }

    float cell_mm() const { return cell_mm_; }
    PlanPoint pixel_to_plan(int u, int v, float depth_mm) const {
        return {slope_x_[static_cast<std::size_t>(u)] * depth_mm,
                slope_y_[static_cast<std::size_t>(v)] * depth_mm};
    }
    // The cell of the plan view that a pixel falls into at a depth within the bounds.
    cv::Point cell_of(int u, int v, float depth_mm) const {
        return {cell_along(column_slope_[static_cast<std::size_t>(u)], depth_mm, left_cells_),
                cell_along(row_slope_[static_cast<std::size_t>(v)], depth_mm, top_cells_)};
    }
    // Of the horizontal surface that a pixel covers at a depth.
    float pixel_area_m2(float depth_mm) const { return depth_mm * depth_mm * pixel_m2_; }
    float fx() const { return fx_; }
    float fy() const { return fy_; }
    float cx() const { return cx_; }
    float cy() const { return cy_; }
    float height_mm() const { return height_mm_; }

  private:
    static int cell_along(float slope_cells, float depth_mm, float first_cells) {
        return static_cast<int>(slope_cells * depth_mm - first_cells);
    }
    cv::Rect cells_of(const cv::Rect& room) const;
    // Writes the pixels of a block of row `v` that are `surfaces`, a bit each, from `end` on, and
    // returns the new end.
    SurfacePixel* add_block(const std::uint16_t* depth_mm, int u, int v, std::uint32_t surfaces,
                            SurfacePixel* end);
    void close_gaps();

    // The camera in the precision of the image arithmetic.
    float fx_ = 0.0f;
    float fy_ = 0.0f;
    float cx_ = 0.0f;
    float cy_ = 0.0f;
    float height_mm_ = 0.0f;
    float pixel_m2_ = 0.0f;  // that a pixel covers at a depth of 1 mm
    float cell_mm_ = 0.0f;
    float left_mm_ = 0.0f;  // outer corner of cell (0, 0)
    float top_mm_ = 0.0f;
    float left_cells_ = 0.0f;  // the same in cells
    float top_cells_ = 0.0f;
    std::uint16_t nearest_mm_ = 0;  // depth of the highest and the lowest surface of interest
    std::uint16_t farthest_mm_ = 0;
    std::vector<float> slope_x_;       // of the ray through the middle of each column of pixels
    std::vector<float> slope_y_;       // and of each row
    std::vector<float> column_slope_;  // as slope_x_, in cells
    std::vector<float> row_slope_;     // as slope_y_, in cells
    cv::Mat surface_mm_;
    cv::Rect seen_;
    std::vector<SurfacePixel> room_for_pixels_;  // as many as an image has
    std::size_t pixel_count_ = 0;
    cv::Mat seen_cells_;
    std::vector<std::uint8_t> marks_;  // of gaps in a row
    std::vector<std::pair<int, float>> gaps_;
};

}  // namespace host
