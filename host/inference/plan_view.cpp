// Projection of a depth image into a metric top view.
#include "host/inference/plan_view.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "host/base/picture.h"

namespace host {

namespace {

// The second farthest of the sides that were found; 0 unless at least three were.
std::uint16_t hole_value(std::array<std::uint16_t, 4> sides) {
    std::sort(sides.begin(), sides.end());
    return sides[1] == 0 ? std::uint16_t{0} : sides[2];
}

// Nearest valid value within `reach` before each pixel, scanning columns left to right and rows top
// to bottom (step 1) or the other way round (step -1).
void nearest_before(const cv::Mat& depth, int reach, int step, cv::Mat& along_row,
                    cv::Mat& along_column) {
    along_row.create(depth.size(), CV_16U);
    along_column.create(depth.size(), CV_16U);
    std::vector<std::uint16_t> above(static_cast<std::size_t>(depth.cols), 0);
    std::vector<int> above_age(static_cast<std::size_t>(depth.cols), reach);
    const int first_row = step > 0 ? 0 : depth.rows - 1;
    const int first_col = step > 0 ? 0 : depth.cols - 1;
    for (int i = 0, v = first_row; i < depth.rows; ++i, v += step) {
        const auto* in = depth.ptr<std::uint16_t>(v);
        auto* row_out = along_row.ptr<std::uint16_t>(v);
        auto* column_out = along_column.ptr<std::uint16_t>(v);
        std::uint16_t beside = 0;
        int beside_age = reach;
        for (int j = 0, u = first_col; j < depth.cols; ++j, u += step) {
            const auto c = static_cast<std::size_t>(u);
            if (in[u] != 0) {
                beside = above[c] = in[u];
                beside_age = above_age[c] = 0;
                continue;
            }
            row_out[u] = ++beside_age <= reach ? beside : std::uint16_t{0};
            column_out[u] = ++above_age[c] <= reach ? above[c] : std::uint16_t{0};
        }
    }
}

}  // namespace

void fill_holes(const cv::Mat& depth_mm, int reach_px, cv::Mat& filled_mm) {
    cv::Mat left, right, up, down;
    nearest_before(depth_mm, reach_px, 1, left, up);
    nearest_before(depth_mm, reach_px, -1, right, down);
    filled_mm.create(depth_mm.size(), CV_16U);
    for (int v = 0; v < depth_mm.rows; ++v) {
        const auto* in = depth_mm.ptr<std::uint16_t>(v);
        const auto* l = left.ptr<std::uint16_t>(v);
        const auto* r = right.ptr<std::uint16_t>(v);
        const auto* u = up.ptr<std::uint16_t>(v);
        const auto* d = down.ptr<std::uint16_t>(v);
        auto* out = filled_mm.ptr<std::uint16_t>(v);
        for (int c = 0; c < depth_mm.cols; ++c) {
            out[c] = in[c] != 0 ? in[c] : hole_value({l[c], r[c], u[c], d[c]});
        }
    }
}

PlanView::PlanView(const CameraModel& camera)
    : fx_(static_cast<float>(camera.fx)),
      fy_(static_cast<float>(camera.fy)),
      cx_(static_cast<float>(camera.cx)),
      cy_(static_cast<float>(camera.cy)),
      height_mm_(static_cast<float>(camera.height_mm.value_or(0.0))) {
    // A cell must hold at least one pixel at the lowest surface of interest, or the view is sparse.
    const float farthest_mm = std::max(height_mm_ - kLowestSurface_mm, 100.0f);
    const float pitch_mm = farthest_mm / std::min(fx_, fy_);
    cell_mm_ = std::max(30.0f, 1.3f * pitch_mm);
    left_mm_ = -cx_ / fx_ * farthest_mm;
    top_mm_ = -cy_ / fy_ * farthest_mm;
    const float right_mm = (static_cast<float>(kDepthWidth) - cx_) / fx_ * farthest_mm;
    const float bottom_mm = (static_cast<float>(kDepthHeight) - cy_) / fy_ * farthest_mm;
    const int cols = static_cast<int>((right_mm - left_mm_) / cell_mm_) + 1;
    const int rows = static_cast<int>((bottom_mm - top_mm_) / cell_mm_) + 1;
    surface_mm_.create(rows, cols, CV_32F);
    closed_mm_.create(rows, cols, CV_32F);
    cell_of_pixel_.create(kDepthHeight, kDepthWidth, CV_32S);
}

PlanPoint PlanView::pixel_to_plan(int u, int v, float depth_mm) const {
    return {(static_cast<float>(u) + 0.5f - cx_) / fx_ * depth_mm,
            (static_cast<float>(v) + 0.5f - cy_) / fy_ * depth_mm};
}

void PlanView::build(const cv::Mat& depth_mm) {
    surface_mm_.setTo(0.0f);
    auto* surface = surface_mm_.ptr<float>();
    const float nearest_mm = std::max(height_mm_ - kHighestSurface_mm, 1.0f);
    const float farthest_mm = height_mm_ - kLowestSurface_mm;
    std::array<float, kDepthWidth> slope;
    for (int u = 0; u < kDepthWidth; ++u) {
        slope[static_cast<std::size_t>(u)] = (static_cast<float>(u) + 0.5f - cx_) / fx_ / cell_mm_;
    }
    for (int v = 0; v < kDepthHeight; ++v) {
        const auto* in = depth_mm.ptr<std::uint16_t>(v);
        auto* cells = cell_of_pixel_.ptr<int>(v);
        const float row_slope = (static_cast<float>(v) + 0.5f - cy_) / fy_ / cell_mm_;
        for (int u = 0; u < kDepthWidth; ++u) {
            const auto z = static_cast<float>(in[u]);
            cells[u] = -1;
            if (z < nearest_mm || z > farthest_mm) continue;
            const int col =
                static_cast<int>(slope[static_cast<std::size_t>(u)] * z - left_mm_ / cell_mm_);
            const int row = static_cast<int>(row_slope * z - top_mm_ / cell_mm_);
            if (col < 0 || col >= surface_mm_.cols || row < 0 || row >= surface_mm_.rows) continue;
            const int cell = row * surface_mm_.cols + col;
            cells[u] = cell;
            surface[cell] = std::max(surface[cell], height_mm_ - z);
        }
    }
    close_gaps();
}

// A cell that no pixel fell into between cells that were seen is a sampling gap, not an edge.
void PlanView::close_gaps() {
    surface_mm_.copyTo(closed_mm_);
    for (int row = 1; row + 1 < surface_mm_.rows; ++row) {
        for (int col = 1; col + 1 < surface_mm_.cols; ++col) {
            if (surface_mm_.at<float>(row, col) > 0.0f) continue;
            float sum_mm = 0.0f;
            int seen = 0;
            for (int dy = -1; dy <= 1; ++dy) {
                const auto* line = surface_mm_.ptr<float>(row + dy) + col;
                for (int dx = -1; dx <= 1; ++dx) {
                    sum_mm += line[dx];
                    seen += line[dx] > 0.0f ? 1 : 0;
                }
            }
            if (seen >= 5) closed_mm_.at<float>(row, col) = sum_mm / static_cast<float>(seen);
        }
    }
    cv::swap(surface_mm_, closed_mm_);
}

}  // namespace host
