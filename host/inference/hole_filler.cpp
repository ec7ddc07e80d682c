// A hole takes what its neighbour knows of a side, so that only holes cost time.
#include "host/inference/hole_filler.h"

#include <algorithm>

#include "host/inference/pixel_blocks.h"

namespace host {

namespace {

// Calls visit(i) for each value that is 0; a block at a time is seen to have none.
template <typename Visit>
void visit_zeros(const std::uint16_t* values, int count, Visit visit) {
    int i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        if (!any_within(values + i, 0, 0)) continue;
        for (int k = i; k < i + kBlock; ++k)
            if (values[k] == 0) visit(k);
    }
    for (; i < count; ++i)
        if (values[i] == 0) visit(i);
}

// The second farthest of the sides that were found; 0 unless at least three were.
std::uint16_t hole_value(std::uint16_t a, std::uint16_t b, std::uint16_t c, std::uint16_t d) {
    const std::uint16_t nearer = std::max(std::min(a, b), std::min(c, d));
    const std::uint16_t farther = std::min(std::max(a, b), std::max(c, d));
    return std::min(nearer, farther) == 0 ? std::uint16_t{0} : std::max(nearer, farther);
}

}  // namespace

void HoleFiller::fill(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room,
                      cv::Mat& filled_mm) {
    depth_mm(room).copyTo(filled_mm);
    const cv::Rect area = cv::Rect(room.x - reach_px, room.y - reach_px, room.width + 2 * reach_px,
                                   room.height + 2 * reach_px) &
                          cv::Rect(0, 0, depth_mm.cols, depth_mm.rows);
    find_holes(depth_mm, area);
    if (holes_.empty()) return;
    sides_.resize(depth_mm.total());
    look_back(depth_mm, area);
    look_ahead(depth_mm, area);
    const auto within = [reach_px](const Side& side) {
        return side.away_px <= reach_px ? side.value : std::uint16_t{0};
    };
    for (const cv::Point& hole : holes_) {
        if (!room.contains(hole)) continue;
        const Sides& sides = sides_[static_cast<std::size_t>(hole.y * depth_mm.cols + hole.x)];
        filled_mm.at<std::uint16_t>(hole - room.tl()) = hole_value(
            within(sides.left), within(sides.up), within(sides.right), within(sides.down));
    }
}

void HoleFiller::find_holes(const cv::Mat& depth_mm, const cv::Rect& area) {
    holes_.clear();
    for (int v = area.y; v < area.br().y; ++v) {
        visit_zeros(depth_mm.ptr<std::uint16_t>(v) + area.x, area.width,
                    [&](int column) { holes_.emplace_back(area.x + column, v); });
    }
}

void HoleFiller::look_back(const cv::Mat& depth_mm, const cv::Rect& area) {
    const auto cols = static_cast<std::size_t>(depth_mm.cols);
    for (const cv::Point& hole : holes_) {
        Sides* const here =
            &sides_[static_cast<std::size_t>(hole.y) * cols + static_cast<std::size_t>(hole.x)];
        here->left = here->up = {};
        if (hole.x > area.x) {
            const auto value = depth_mm.at<std::uint16_t>(hole.y, hole.x - 1);
            here->left = value != 0 ? Side{value, 0} : (here - 1)->left;
            ++here->left.away_px;
        }
        if (hole.y > area.y) {
            const auto value = depth_mm.at<std::uint16_t>(hole.y - 1, hole.x);
            here->up = value != 0 ? Side{value, 0} : (here - cols)->up;
            ++here->up.away_px;
        }
    }
}

void HoleFiller::look_ahead(const cv::Mat& depth_mm, const cv::Rect& area) {
    const auto cols = static_cast<std::size_t>(depth_mm.cols);
    for (auto hole = holes_.rbegin(); hole != holes_.rend(); ++hole) {
        Sides* const here =
            &sides_[static_cast<std::size_t>(hole->y) * cols + static_cast<std::size_t>(hole->x)];
        here->right = here->down = {};
        if (hole->x + 1 < area.br().x) {
            const auto value = depth_mm.at<std::uint16_t>(hole->y, hole->x + 1);
            here->right = value != 0 ? Side{value, 0} : (here + 1)->right;
            ++here->right.away_px;
        }
        if (hole->y + 1 < area.br().y) {
            const auto value = depth_mm.at<std::uint16_t>(hole->y + 1, hole->x);
            here->down = value != 0 ? Side{value, 0} : (here + cols)->down;
            ++here->down.away_px;
        }
    }
}

}  // namespace host
