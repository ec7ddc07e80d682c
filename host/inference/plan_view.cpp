// Projection of a depth image into a metric top view.
#include "host/inference/plan_view.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <vector>

#include "host/base/picture.h"
#include "host/inference/pixel_blocks.h"

namespace host {

namespace {

constexpr std::uint8_t kGap = 255;

// Marks the cells that were not seen (0) while enough around them were (255, which adds up as -1).
void mark_gaps(const std::uint8_t* seen, std::ptrdiff_t stride, int count, std::uint8_t* marks) {
    constexpr std::uint8_t kEnough = 5;
    for (int i = 0; i < count; ++i) {
        const std::uint8_t* const at = seen + i;
        const std::uint8_t* const over = at - stride;
        const std::uint8_t* const under = at + stride;
        const auto around = static_cast<std::uint8_t>(
            -(over[-1] + over[0] + over[1] + at[-1] + at[1] + under[-1] + under[0] + under[1]));
        marks[i] = static_cast<std::uint8_t>((around >= kEnough ? kGap : 0) & ~at[0]);
    }
}

// Of the cells that were seen among one and those around it.
float mean_around(const float* cell_mm, std::ptrdiff_t stride) {
    float sum_mm = 0.0f;
    int seen = 0;
    for (const std::ptrdiff_t line : {-stride, std::ptrdiff_t{0}, stride}) {
        for (std::ptrdiff_t dx = -1; dx <= 1; ++dx) {
            sum_mm += cell_mm[line + dx];
            seen += cell_mm[line + dx] > 0.0f ? 1 : 0;
        }
    }
    return sum_mm / static_cast<float>(seen);
}

std::uint16_t whole_mm(float depth_mm) {
    return static_cast<std::uint16_t>(std::clamp(depth_mm, 0.0f, 65535.0f));
}

}  // namespace

PlanView::PlanView(const CameraModel& camera)
    : fx_(static_cast<float>(camera.fx)),
      fy_(static_cast<float>(camera.fy)),
      cx_(static_cast<float>(camera.cx)),
      cy_(static_cast<float>(camera.cy)),
      height_mm_(static_cast<float>(camera.height_mm.value_or(0.0))),
      pixel_m2_(1e-6f / (fx_ * fy_)) {
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
    surface_mm_ = cv::Mat::zeros(rows, cols, CV_32F);
    room_for_pixels_.resize(std::size_t{kDepthWidth} * kDepthHeight);
    nearest_mm_ = whole_mm(std::ceil(std::max(height_mm_ - kHighestSurface_mm, 1.0f)));
    farthest_mm_ = whole_mm(std::floor(height_mm_ - kLowestSurface_mm));
    for (int u = 0; u < kDepthWidth; ++u)
        slope_x_.push_back((static_cast<float>(u) + 0.5f - cx_) / fx_);
    for (const float slope : slope_x_)
        column_slope_.push_back(slope / cell_mm_);
    for (int v = 0; v < kDepthHeight; ++v)
        slope_y_.push_back((static_cast<float>(v) + 0.5f - cy_) / fy_);
    for (const float slope : slope_y_)
        row_slope_.push_back(slope / cell_mm_);
    left_cells_ = left_mm_ / cell_mm_;
    top_cells_ = top_mm_ / cell_mm_;
}

cv::Rect PlanView::room_of_surfaces(const cv::Mat& depth_mm) const {
    static_assert(kDepthWidth % kBlock == 0);
    if (farthest_mm_ == 0) return {};
    const auto span_mm = static_cast<std::uint16_t>(farthest_mm_ - 1);
    cv::Rect room;
    for (int v = 0; v < depth_mm.rows; ++v) {
        const auto* row = depth_mm.ptr<std::uint16_t>(v);
        const auto holds_surface = [&](int u) { return within(row + u, 1, span_mm) != 0; };
        int first = 0;
        while (first < depth_mm.cols && !holds_surface(first))
            first += kBlock;
        if (first == depth_mm.cols) continue;
        int last = depth_mm.cols - kBlock;
        while (!holds_surface(last))
            last -= kBlock;
        room |= cv::Rect(first, v, last + kBlock - first, 1);
    }
    return room.empty() ? room : with_neighbours(room, depth_mm.size());
}

void PlanView::build(const cv::Mat& depth_mm, const cv::Rect& room) {
    surface_mm_(seen_).setTo(0.0f);
    seen_ = farthest_mm_ < nearest_mm_ ? cv::Rect() : cells_of(room);
    pixel_count_ = 0;
    if (seen_.empty()) return;
    const auto span_mm = static_cast<std::uint16_t>(farthest_mm_ - nearest_mm_);
    SurfacePixel* end = room_for_pixels_.data();
    for (int v = room.y; v < room.br().y; ++v) {
        const auto* row = depth_mm.ptr<std::uint16_t>(v);
        for (int u = room.x; u < room.br().x; u += kBlock) {
            const std::uint32_t surfaces = within(row + u, nearest_mm_, span_mm);
            if (surfaces != 0) end = add_block(row + u, u, v, surfaces, end);
        }
    }
    pixel_count_ = static_cast<std::size_t>(end - room_for_pixels_.data());
    close_gaps();
}

// The cells that surfaces in a part of the image may fall into: a column's or row's ray leads from
// the highest surface of interest to the lowest one.
cv::Rect PlanView::cells_of(const cv::Rect& room) const {
    if (room.empty()) return {};
    const auto ends = [this](float first_slope, float last_slope, float origin_mm) {
        const float near_mm = nearest_mm_;
        const float far_mm = farthest_mm_;
        const auto [low, high] = std::minmax({first_slope * near_mm, first_slope * far_mm,
                                              last_slope * near_mm, last_slope * far_mm});
        return std::pair(static_cast<int>((low - origin_mm) / cell_mm_) - 1,
                         static_cast<int>((high - origin_mm) / cell_mm_) + 2);
    };
    const auto [left, right] = ends(slope_x_[static_cast<std::size_t>(room.x)],
                                    slope_x_[static_cast<std::size_t>(room.br().x - 1)], left_mm_);
    const auto [top, bottom] = ends(slope_y_[static_cast<std::size_t>(room.y)],
                                    slope_y_[static_cast<std::size_t>(room.br().y - 1)], top_mm_);
    return cv::Rect(left, top, right - left, bottom - top) &
           cv::Rect(0, 0, surface_mm_.cols, surface_mm_.rows);
}

SurfacePixel* PlanView::add_block(const std::uint16_t* depth_mm, int u, int v,
                                  std::uint32_t surfaces, SurfacePixel* end) {
    const float row_slope = row_slope_[static_cast<std::size_t>(v)];
    const float* const column_slope = column_slope_.data() + u;
    const float left = left_cells_;
    const float top = top_cells_;
    std::array<int, kBlock> cols, rows;
    for (std::size_t i = 0; i < kBlock; ++i) {
        const auto z = static_cast<float>(depth_mm[i]);
        cols[i] = cell_along(column_slope[i], z, left);
        rows[i] = cell_along(row_slope, z, top);
    }
    auto* const surface = surface_mm_.ptr<float>();
    for (; surfaces != 0; surfaces &= surfaces - 1) {
        const auto i = static_cast<std::size_t>(std::countr_zero(surfaces));
        if (cols[i] < 0 || cols[i] >= surface_mm_.cols || rows[i] < 0 ||
            rows[i] >= surface_mm_.rows)
            continue;
        const int cell = rows[i] * surface_mm_.cols + cols[i];
        *end++ = {static_cast<std::uint16_t>(u + static_cast<int>(i)),
                  static_cast<std::uint16_t>(v), cell};
        surface[cell] = std::max(surface[cell], height_mm_ - static_cast<float>(depth_mm[i]));
    }
    return end;
}

// A cell that no pixel fell into between cells that were seen is a sampling gap, not an edge.
void PlanView::close_gaps() {
    gaps_.clear();
    seen_cells_.create(surface_mm_.size(), CV_8U);
    cv::compare(surface_mm_(seen_), 0.0, seen_cells_(seen_), cv::CMP_GT);
    const int first = seen_.x + 1;
    const int count = seen_.width - 2;
    const auto cols = static_cast<std::ptrdiff_t>(surface_mm_.cols);
    marks_.resize(static_cast<std::size_t>(std::max(count, 0)));
    for (int row = seen_.y + 1; row < seen_.br().y - 1; ++row) {
        mark_gaps(seen_cells_.ptr<std::uint8_t>(row) + first, cols, count, marks_.data());
        const auto* const here = surface_mm_.ptr<float>(row) + first;
        visit_equal(marks_, kGap, [&](std::size_t i) {
            gaps_.emplace_back(row * surface_mm_.cols + first + static_cast<int>(i),
                               mean_around(here + i, cols));
        });
    }
    for (const auto& [cell, height_mm] : gaps_)
        surface_mm_.ptr<float>()[cell] = height_mm;
}

}  // namespace host
