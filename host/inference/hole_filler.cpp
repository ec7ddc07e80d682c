// A hole takes over what its neighbour knows of a side, a block of a row at a time; blocks without
// holes are passed over.
#include "host/inference/hole_filler.h"

#include <algorithm>
#include <bit>

#include "host/inference/pixel_blocks.h"

namespace host {

namespace {

// The second farthest of the sides that were found; 0 unless at least three were.
std::uint16_t hole_value(std::uint16_t a, std::uint16_t b, std::uint16_t c, std::uint16_t d) {
    const std::uint16_t nearer = std::max(std::min(a, b), std::min(c, d));
    const std::uint16_t farther = std::min(std::max(a, b), std::max(c, d));
    return std::min(nearer, farther) == 0 ? std::uint16_t{0} : std::max(nearer, farther);
}

// The column of the next value before or, with a `step` of 1, after a column; one without a value
// when there is none within reach, and one beside the row when that ends before.
int next_value(const std::uint16_t* row, int cols, int col, int step, int reach_px) {
    int at = col + step;
    for (int away_px = 1; away_px < reach_px && at >= 0 && at < cols && row[at] == 0; ++away_px)
        at += step;
    return at;
}

std::uint16_t value_at(const std::uint16_t* row, int cols, int col) {
    return col < 0 || col >= cols ? std::uint16_t{0} : row[col];
}

}  // namespace

void HoleFiller::fill(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room,
                      cv::Mat& filled_mm) {
    CV_Assert(room.x % kBlock == 0 && room.width % kBlock == 0);
    depth_mm(room).copyTo(filled_mm);
    nothing_.resize(static_cast<std::size_t>(depth_mm.cols));
    away_px_.resize(nothing_.size());
    look_back(depth_mm, reach_px, room, filled_mm);
    look_ahead(depth_mm, reach_px, room, filled_mm);
}

// Continues what is known of the row above or below, which `beside` is, to the holes of a block.
void HoleFiller::carry(const std::uint16_t* beside, int col) {
    for (int half = col; half < col + kBlock; half += kBlock / 2) {
        std::uint16_t* const value = values_.data() + half;
        std::uint16_t* const away_px = away_px_.data() + half;
        const cv::v_uint16x8 next = cv::v_load(beside + half);
        const cv::v_uint16x8 hole = next == cv::v_setzero_u16();
        const cv::v_uint16x8 one = cv::v_setall_u16(1);
        cv::v_store(value, cv::v_select(hole, cv::v_load(value), next));
        cv::v_store(away_px, cv::v_select(hole, cv::v_load(away_px) + one, one));
    }
}

// Puts into the holes of a block what was carried to them, if it is within reach.
void HoleFiller::take_nearer(const std::uint16_t* row, int col, int reach_px,
                             std::uint16_t* filled) const {
    const cv::v_uint16x8 reach = cv::v_setall_u16(static_cast<std::uint16_t>(reach_px));
    for (int half = 0; half < kBlock; half += kBlock / 2) {
        const cv::v_uint16x8 depth = cv::v_load(row + col + half);
        const cv::v_uint16x8 taken = cv::v_load(values_.data() + col + half) &
                                     (cv::v_load(away_px_.data() + col + half) <= reach) &
                                     (depth == cv::v_setzero_u16());
        cv::v_store(filled + half, depth | taken);
    }
}

// Finds the holes and what lies to the left of them, and puts into each what lies above it.
void HoleFiller::look_back(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room,
                           cv::Mat& filled_mm) {
    blocks_.clear();
    values_.assign(nothing_.size(), 0);
    const std::uint16_t* above = nothing_.data();
    for (int v = std::max(room.y - reach_px, 0); v < room.br().y; ++v) {
        const auto* const row = depth_mm.ptr<std::uint16_t>(v);
        int left = room.x == 0 ? -1 : next_value(row, depth_mm.cols, room.x, -1, reach_px);
        for (int col = room.x; col < room.br().x; col += kBlock) {
            const std::uint32_t holes = zeros_of(row + col);
            if (holes != 0) {
                carry(above, col);
                if (v >= room.y) {
                    blocks_.push_back({v, col, holes, left});
                    take_nearer(row, col, reach_px,
                                filled_mm.ptr<std::uint16_t>(v - room.y) + col - room.x);
                }
            }
            const int open = std::countl_one(static_cast<std::uint16_t>(holes));
            if (open < kBlock) left = col + kBlock - 1 - open;
        }
        above = row;
    }
}

// Fills the holes, each of which holds what lies above it.
void HoleFiller::look_ahead(const cv::Mat& depth_mm, int reach_px, const cv::Rect& room,
                            cv::Mat& filled_mm) {
    values_.assign(nothing_.size(), 0);
    const int last = std::min(room.br().y + reach_px, depth_mm.rows) - 1;
    const auto below = [&](int v) {
        return v == last ? nothing_.data() : depth_mm.ptr<std::uint16_t>(v + 1);
    };
    for (int v = last; v >= room.br().y; --v) {
        const auto* const row = depth_mm.ptr<std::uint16_t>(v);
        for (int col = room.x; col < room.br().x; col += kBlock)
            if (zeros_of(row + col) != 0) carry(below(v), col);
    }
    Block after{-1, 0, 0, 0};
    int right = 0;
    for (auto block = blocks_.rbegin(); block != blocks_.rend(); ++block) {
        const auto* const row = depth_mm.ptr<std::uint16_t>(block->row);
        const int end = block->col + kBlock;
        carry(below(block->row), block->col);
        if (end == room.br().x)
            right = next_value(row, depth_mm.cols, end - 1, 1, reach_px);
        else if (after.row != block->row || after.col != end || (after.holes & 1U) == 0)
            right = end;
        right = fill_block(*block, depth_mm, right, reach_px,
                           filled_mm.ptr<std::uint16_t>(block->row - room.y) + block->col - room.x);
        after = *block;
    }
}

// Of a block whose last pixel has the next value on its right in column `right`; returns the same
// for its first pixel.
int HoleFiller::fill_block(const Block& block, const cv::Mat& depth_mm, int right, int reach_px,
                           std::uint16_t* filled) const {
    const auto* const row = depth_mm.ptr<std::uint16_t>(block.row);
    const auto within = [reach_px](int away_px, std::uint16_t value) {
        return away_px <= reach_px ? value : std::uint16_t{0};
    };
    auto holes = static_cast<std::uint16_t>(block.holes);
    while (holes != 0) {
        const int values = std::countl_zero(holes);  // after the last hole that is left
        const int end = kBlock - values;
        if (values != 0) right = block.col + end;
        const int begin = end - std::countl_one(static_cast<std::uint16_t>(holes << values));
        const int left = begin == 0 ? block.left : block.col + begin - 1;
        const std::uint16_t left_value = value_at(row, depth_mm.cols, left);
        const std::uint16_t right_value = value_at(row, depth_mm.cols, right);
        for (int i = begin; i < end; ++i) {
            const int col = block.col + i;
            const auto at = static_cast<std::size_t>(col);
            filled[i] =
                hole_value(within(col - left, left_value), filled[i],
                           within(right - col, right_value), within(away_px_[at], values_[at]));
        }
        holes &= static_cast<std::uint16_t>((1U << begin) - 1);
    }
    return right;
}

}  // namespace host
