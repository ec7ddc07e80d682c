// Watershed over a height map from the summits down, with union-find over the regions.
#include "host/inference/head_peaks.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace host {

namespace {

constexpr float kLevelStep_mm = 4.0f;  // cells within this are treated as equally high

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
    for (int row = room.y; row < room.br().y; ++row) {
        const auto* heights = height_mm.ptr<float>(row);
        for (int col = room.x; col < room.br().x; ++col) {
            if (heights[col] < lowest_mm) continue;
            const auto level = static_cast<std::size_t>((heights[col] - lowest_mm) / kLevelStep_mm);
            if (level >= levels_.size()) levels_.resize(level + 1);
            levels_[level].push_back(row * height_mm.cols + col);
        }
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
                       const PeakRules& rules, cv::Mat& labels) {
    const auto* heights = height_mm.ptr<float>();
    auto* label = labels.ptr<int>();
    const int cols = height_mm.cols;
    for (auto level = levels_.rbegin(); level != levels_.rend(); ++level) {
        for (const int cell : *level) {
            const int col = cell % cols;
            const int row = cell / cols;
            std::array<int, 8> around{};
            int count = 0;
            float steepest_mm = -1.0f;
            int uphill = 0;
            bool alike = true;
            for (int r = std::max(row - 1, room.y); r < std::min(row + 2, room.br().y); ++r) {
                for (int c = std::max(col - 1, room.x); c < std::min(col + 2, room.br().x); ++c) {
                    const int next = r * cols + c;
                    if (label[next] == 0) continue;
                    around[static_cast<std::size_t>(count++)] = label[next] - 1;
                    alike = alike && label[next] - 1 == around[0];
                    if (heights[next] > steepest_mm) {
                        steepest_mm = heights[next];
                        uphill = label[next] - 1;
                    }
                }
            }
            if (count == 0) {
                uphill = static_cast<int>(regions_.size());
                regions_.push_back({col, row, heights[cell]});
                parent_.push_back(uphill);
            } else if (!alike) {
                join(around.data(), count, heights[cell], cell_mm, rules);
            }
            label[cell] = uphill + 1;
        }
    }
}

// Renumbers the regions that are left; regions of low summits no longer belong to anybody.
void PeakFinder::number(float lowest_peak_mm, cv::Mat& labels) {
    std::vector<int> final_label(regions_.size(), 0);
    for (std::size_t region = 0; region < regions_.size(); ++region) {
        if (root(static_cast<int>(region)) != static_cast<int>(region)) continue;
        if (regions_[region].height_mm < lowest_peak_mm) continue;
        peaks_.push_back(regions_[region]);
        final_label[region] = static_cast<int>(peaks_.size());
    }
    auto* label = labels.ptr<int>();
    for (const std::vector<int>& level : levels_) {
        for (const int cell : level)
            label[cell] = final_label[static_cast<std::size_t>(root(label[cell] - 1))];
    }
}

const std::vector<Peak>& PeakFinder::find(const cv::Mat& height_mm, const cv::Rect& room,
                                          float cell_mm, const PeakRules& rules, cv::Mat& labels) {
    regions_.clear();
    parent_.clear();
    peaks_.clear();
    labels(room).setTo(0);
    order_cells(height_mm, room, rules.lowest_mm);
    flood(height_mm, room, cell_mm, rules, labels);
    number(rules.lowest_peak_mm, labels);
    return peaks_;
}

}  // namespace host
