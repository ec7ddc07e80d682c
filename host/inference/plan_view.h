// The scene seen from straight above, in metric cells: perspective is gone, a person is the same
// size everywhere and stands on the spot of floor under the head.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>

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

// Fills holes in the depth image (0) with the value of their surroundings where these are near
// enough on at least three of four sides. `reach_px` is how far a pixel looks. Where the sides
// differ it takes a farther one, so that holes along a silhouette never enlarge it.
void fill_holes(const cv::Mat& depth_mm, int reach_px, cv::Mat& filled_mm);

class PlanView {
  public:
    // Without the camera's height nobody is found.
    explicit PlanView(const CameraModel& camera);

    // Takes a CV_16U depth image without an alpha: 0 is missing.
    void build(const cv::Mat& depth_mm);

    // Highest surface of each cell above the floor, mm (CV_32F); 0 where nothing was seen.
    const cv::Mat& surface_mm() const { return surface_mm_; }
    // The cell of each depth pixel (CV_32S), -1 for pixels outside the height bounds.
    const cv::Mat& cell_of_pixel() const { return cell_of_pixel_; }

    float cell_mm() const { return cell_mm_; }
    PlanPoint pixel_to_plan(int u, int v, float depth_mm) const;
    float fx() const { return fx_; }
    float fy() const { return fy_; }
    float cx() const { return cx_; }
    float cy() const { return cy_; }
    float height_mm() const { return height_mm_; }

  private:
    void close_gaps();

    // The camera in the precision of the image arithmetic.
    float fx_ = 0.0f;
    float fy_ = 0.0f;
    float cx_ = 0.0f;
    float cy_ = 0.0f;
    float height_mm_ = 0.0f;
    float cell_mm_ = 0.0f;
    float left_mm_ = 0.0f;  // outer corner of cell (0, 0)
    float top_mm_ = 0.0f;
    cv::Mat surface_mm_;
    cv::Mat closed_mm_;
    cv::Mat cell_of_pixel_;
};

}  // namespace host
