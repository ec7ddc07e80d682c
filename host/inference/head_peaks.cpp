// Watershed over a height map from the summits down, with union-find over the regions.
#include "host/inference/head_peaks.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/inference/pixel_blocks.h"

namespace host {

namespace {

constexpr float kLevelStep_mm = 4.0f;  // cells within this are treated as equally high
constexpr int kBorder = 1;             // cells around the room

struct Step {
    int cols = 0;
    int rows = 0;
};
// To the neighbours of a cell, in reading order.
constexpr std::array<Step, 8> kSteps{
    {{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}}};

float plan_distance_mm(const Peak& a, const Peak& b, float cell_mm) {
    return cell_mm *
           std::hypot(static_cast<float>(a.col - b.col), static_cast<float>(a.row - b.row));
}

}  // namespace

int PeakFinder::root(int region) {
    while (parent_[static_cast<std::size_t>(region)] != region) {
        int& up = parent_[static_cast<std::size_t>(region)];
        up = parent_[static_cast<std::size_t>(up)];
        region = up;
    }
    return region;
}

void PeakFinder::order_cells(const cv::Mat& height_mm, const cv::Rect& room, float lowest_mm) {
    for (auto& level : levels_)
        level.clear();
    const int stride = room.width + 2 * kBorder;
    for (int row = 0; row < room.height; ++row) {
        const auto* heights = height_mm.ptr<float>(room.y + row) + room.x;
        const auto add = [&](int col) {
            const auto level = static_cast<std::size_t>((heights[col] - lowest_mm) / kLevelStep_mm);
            if (level >= levels_.size()) levels_.resize(level + 1);
            levels_[level].push_back((row + kBorder) * stride + col + kBorder);
        };
        visit_at_least({heights, static_cast<std::size_t>(room.width)}, lowest_mm, add);
    }
}

// Joins the regions around a cell of height `level_mm` unless both a saddle and enough room
// separate them; returns the region with the highest summit.
int PeakFinder::join(const int* around, int count, float level_mm, float cell_mm,
                     const PeakRules& rules) {
    int best = root(around[0]);
    for (int i = 1; i < count; ++i) {
        const int other = root(around[i]);
        if (other == best) continue;
        const Peak& a = regions_[static_cast<std::size_t>(best)];
        const Peak& b = regions_[static_cast<std::size_t>(other)];
        const bool best_is_higher = a.height_mm >= b.height_mm;
        const int higher = best_is_higher ? best : other;
        const int lower = best_is_higher ? other : best;
        const float saddle_mm = regions_[static_cast<std::size_t>(lower)].height_mm - level_mm;
        if (saddle_mm < rules.saddle_mm || plan_distance_mm(a, b, cell_mm) < rules.distance_mm) {
            parent_[static_cast<std::size_t>(lower)] = higher;
        }
        best = higher;
    }
    return best;
}

void PeakFinder::flood(const cv::Mat& height_mm, const cv::Rect& room, float cell_mm,
                       const PeakRules& rules) {
    const int stride = room.width + 2 * kBorder;
    const auto cell_of = [&](int place) {
        return cv::Point(room.x + place % stride - kBorder, room.y + place / stride - kBorder);
    };
    for (auto level = levels_.rbegin(); level != levels_.rend(); ++level) {
        for (const int place : *level) {
            int* const here = region_of_.data() + place;
            // Of the regions around, the cell itself has none yet; as one less than 0, none is the
            // largest number.
            std::uint32_t least = ~0U, most = 0;
            for (const int* line : {here - stride, here, here + stride}) {
                for (const int region : {line[-1], line[0], line[1]}) {
                    const auto number = static_cast<std::uint32_t>(region);
                    least = std::min(least, number - 1);
                    most = std::max(most, number);
                }
            }
            if (most == 0) {
                const cv::Point cell = cell_of(place);
                regions_.push_back({cell.x, cell.y, height_mm.at<float>(cell)});
                parent_.push_back(static_cast<int>(parent_.size()));
                *here = static_cast<int>(parent_.size());
            } else if (least + 1 == most) {
                *here = static_cast<int>(most);
            } else {
                *here = meet(height_mm, cell_of(place), here, stride, cell_mm, rules);
            }
        }
    }
}

// Where several regions meet: joins them as the rules say, and returns 1 + the region uphill.
int PeakFinder::meet(const cv::Mat& height_mm, const cv::Point& cell, const int* here, int stride,
                     float cell_mm, const PeakRules& rules) {
    std::array<int, kSteps.size()> around{};
    int count = 0;
    float steepest_mm = -1.0f;
    int uphill = 0;
    for (const Step& step : kSteps) {
        const int region = here[step.rows * stride + step.cols];
        if (region == 0) continue;
        around[static_cast<std::size_t>(count++)] = region - 1;
        const float next_mm = height_mm.at<float>(cell.y + step.rows, cell.x + step.cols);
        if (next_mm > steepest_mm) {
            steepest_mm = next_mm;
            uphill = region;
        }
    }
    join(around.data(), count, height_mm.at<float>(cell), cell_mm, rules);
    return uphill;
}

// Renumbers the regions that are left; regions of low summits no longer belong to anybody.
void PeakFinder::number(const cv::Rect& room, float lowest_peak_mm, cv::Mat& labels) {
    std::vector<int> final_label(regions_.size() + 1, 0);
    for (std::size_t region = 0; region < regions_.size(); ++region) {
        if (root(static_cast<int>(region)) != static_cast<int>(region)) continue;
        if (regions_[region].height_mm < lowest_peak_mm) continue;
        peaks_.push_back(regions_[region]);
        final_label[region + 1] = static_cast<int>(peaks_.size());
    }
    for (std::size_t region = 0; region < regions_.size(); ++region)
        final_label[region + 1] =
            final_label[static_cast<std::size_t>(root(static_cast<int>(region))) + 1];
    const int stride = room.width + 2 * kBorder;
    for (int row = 0; row < room.height; ++row) {
        const int* const regions = region_of_.data() + (row + kBorder) * stride + kBorder;
        auto* const label = labels.ptr<int>(room.y + row) + room.x;
        for (int col = 0; col < room.width; ++col)
            label[col] = final_label[static_cast<std::size_t>(regions[col])];
    }
}

const std::vector<Peak>& PeakFinder::find(const cv::Mat& height_mm, const cv::Rect& room,
                                          float cell_mm, const PeakRules& rules, cv::Mat& labels) {
    regions_.clear();
    parent_.clear();
    peaks_.clear();
    region_of_.assign(
        static_cast<std::size_t>((room.width + 2 * kBorder) * (room.height + 2 * kBorder)), 0);
    order_cells(height_mm, room, rules.lowest_mm);
    flood(height_mm, room, cell_mm, rules);
    number(room, rules.lowest_peak_mm, labels);
    return peaks_;
}

}  // namespace host
