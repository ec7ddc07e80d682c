// Heads as separate summits of a height map: a watershed that keeps a summit apart only when a
// real saddle separates it from its higher neighbour.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace host {

struct PeakRules {
    float lowest_mm = 0.0f;       // cells below this belong to nobody
    float lowest_peak_mm = 0.0f;  // summits below this are dropped
    float saddle_mm = 0.0f;       // depth of the saddle that keeps two summits apart
    float distance_mm = 0.0f;     // summits closer than this are one
};

struct Peak {
    int col = 0;
    int row = 0;
    float height_mm = 0.0f;
};

// Splits the part `room` of a height map (CV_32F, mm, cells of `cell_mm`) into one region per
// summit. There `labels` (CV_32S, as large as the map) holds 1 + the index of the summit, or 0.
// Same input, same output: cells of equal height are taken in reading order.
class PeakFinder {
  public:
    const std::vector<Peak>& find(const cv::Mat& height_mm, const cv::Rect& room, float cell_mm,
                                  const PeakRules& rules, cv::Mat& labels);

  private:
    int root(int region);
    void order_cells(const cv::Mat& height_mm, const cv::Rect& room, float lowest_mm);
    void flood(const cv::Mat& height_mm, const cv::Rect& room, float cell_mm,
               const PeakRules& rules);
    int meet(const cv::Mat& height_mm, const cv::Point& cell, const int* here, int stride,
             float cell_mm, const PeakRules& rules);
    int join(const int* around, int count, float level_mm, float cell_mm, const PeakRules& rules);
    void number(const cv::Rect& room, float lowest_peak_mm, cv::Mat& labels);

    // 1 + the region of each cell of the room, 0 where none is yet; with a border of 0, so that
    // each cell has eight neighbours.
    std::vector<int> region_of_;
    std::vector<std::vector<int>> levels_;  // cells by height, as places in `region_of_`
    std::vector<Peak> regions_;
    std::vector<int> parent_;
    std::vector<Peak> peaks_;
};

}  // namespace host
