// The distance of a rectangle: a robust mean of its nearest plausible depth samples.
#include <algorithm>
#include <array>
#include <cmath>

#include "config/mask_cells.h"
#include "depth/depth_state.h"
#include "frame/frame_state.h"
#include "frame/log.h"
#include "frame/numeric.h"
#include "vca/config.h"

namespace {

constexpr char kLogName[] = "depth16_calc_rgn_distance";

constexpr float kInvalidMm = 1600.0f;
constexpr uint16_t kLargestImplausible = 99;  // missing or broken measurements
constexpr int32_t kTallestMm = 2000;          // nothing stands higher above the floor

struct Rect {
    int x0, y0, x1, y1;  // upper bounds exclusive
};

struct Size {
    int width, height;
};

bool masks_depth(const VCA_DEV_CFG_S& cfg, int region) {
    return cfg.ExclEn[region] != 0 && cfg.ExclType[region] == 0;
}

bool any_depth_mask(const VCA_DEV_CFG_S& cfg) {
    if (cfg.ExclTotalEn == 0) return false;
    for (int r = 0; r < VCA_EXCL_NUM; ++r)
        if (masks_depth(cfg, r) && cfg.exclMask[r].result > 0) return true;
    return false;
}

// The mask cell of a pixel, along one axis.
int32_t cell_of(int pixel, int32_t cells, int length) {
    return vca::to_i32(static_cast<float>(pixel) * static_cast<float>(cells) /
                       static_cast<float>(length));
}

bool is_masked(const VCA_DEV_CFG_S& cfg, int x, int y, Size image) {
    const POINT_POS_S cell = {cell_of(x, VCA_MASK_COLS, image.width),
                              cell_of(y, VCA_MASK_ROWS, image.height)};
    for (int r = 0; r < VCA_EXCL_NUM; ++r)
        if (masks_depth(cfg, r) && vca::is_set(cfg.exclMask[r].mask, cell)) return true;
    return false;
}

// Whether any pixel of the rectangle can be masked: most people stand clear of every mask, and
// their pixels need no look-up each.
bool touches_mask(const VCA_DEV_CFG_S& cfg, Rect rect, Size image) {
    const vca::CellRect cells = {cell_of(rect.x0, VCA_MASK_COLS, image.width),
                                 cell_of(rect.y0, VCA_MASK_ROWS, image.height),
                                 cell_of(rect.x1 - 1, VCA_MASK_COLS, image.width) + 1,
                                 cell_of(rect.y1 - 1, VCA_MASK_ROWS, image.height) + 1};
    for (int r = 0; r < VCA_EXCL_NUM; ++r)
        if (masks_depth(cfg, r) && vca::any_set(cfg.exclMask[r].mask, cells)) return true;
    return false;
}

// Samples gathered so far count against the capacity whether they are plausible or not; only the
// plausible ones are stored.
class Samples {
  public:
    explicit Samples(uint16_t* buffer) : buffer_(buffer) {}

    void take(uint16_t v) {
        const int32_t lowest = vca::wrap_sub(vca_dev_get_install_height(), kTallestMm);
        if (v > kLargestImplausible && v >= lowest) buffer_[kept_++] = v;
    }

    int kept() const { return kept_; }

    // Mean of the samples lo .. hi - 1 in ascending order. The sum of 20 such samples is exact in
    // single and in double precision alike, so its order does not matter.
    double mean(int lo, int hi) {
        std::nth_element(buffer_, buffer_ + hi - 1, buffer_ + kept_);
        std::sort(buffer_, buffer_ + hi);
        double sum = 0;
        for (int i = lo; i < hi; ++i)
            sum += buffer_[i];
        return sum / (hi - lo);
    }

  private:
    uint16_t* buffer_;
    int kept_ = 0;
};

const uint16_t* row_at(const uint16_t* depth, int y, Size image) {
    return depth + static_cast<size_t>(y) * static_cast<size_t>(image.width);
}

void gather_masked(const uint16_t* depth, Rect rect, Size image, Samples& samples) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    const bool touched = touches_mask(cfg, rect, image);
    int gathered = 0;
    for (int y = rect.y0; y < rect.y1; ++y) {
        const uint16_t* row = row_at(depth, y, image);
        for (int x = rect.x0; x < rect.x1; ++x) {
            if (touched && is_masked(cfg, x, y, image)) continue;
            if (gathered == VCA_DEPTH_SAMPLE_MAX) return;
            ++gathered;
            samples.take(row[x]);
        }
    }
}

// Whole rows only, as many as stay below the capacity.
void gather_rows(const uint16_t* depth, Rect rect, Size image, Samples& samples) {
    const int width = rect.x1 - rect.x0;
    const int rows = std::min(rect.y1 - rect.y0, (VCA_DEPTH_SAMPLE_MAX - 1) / width);
    for (int y = rect.y0; y < rect.y0 + rows; ++y) {
        const uint16_t* row = row_at(depth, y, image);
        std::for_each(row + rect.x0, row + rect.x1, [&](uint16_t v) { samples.take(v); });
    }
}

// Which of the ascending samples are averaged, before they are brought into the sample count.
struct Run {
    int lo, hi;
    float scale;
};

Run choose_run(bool map_mode) {
    const float ratio = dev_calc_install_height_ratio();
    Run run{100, 120, static_cast<float>(av_calc_val(10, 10, ratio)) / 10.0f};
    if (map_mode) return run;
    run.lo = av_calc_val(0, 2, 1.0f - ratio);
    run.hi = av_calc_val(4, 6, 1.0f - ratio);
    if (vca::debug_on(vca::kDbgHeight))
        VCA_LOG_AS(kLogName, "RatioH=%.2f Idx=(%d %d) InsTimes=%.2f", static_cast<double>(ratio),
                   run.lo, run.hi, static_cast<double>(run.scale));
    return run;
}

}  // namespace

float depth16_calc_rgn_distance(const uint16_t* depth, int x0, int y0, int x1, int y1,
                                bool mapMode) {
    const Size image{vca::working_width(VCA_SIZE_DEPTH), vca::working_height(VCA_SIZE_DEPTH)};
    const Rect rect{x0, y0, x1, y1};
    const bool valid =
        x0 >= 0 && y0 >= 0 && x1 < image.width && y1 < image.height && x0 < x1 && y0 < y1;
    if (!valid) {
        VCA_LOG("Invalid dis rgn=(%d %d %d %d) raw=(%d %d)", x0, y0, x1, y1, image.width,
                image.height);
        return kInvalidMm;
    }

    Samples samples(vca::depth_state().depthSortBuf);
    if (depth != nullptr) {
        if (!mapMode && any_depth_mask(*dev_get_config()))
            gather_masked(depth, rect, image, samples);
        else
            gather_rows(depth, rect, image, samples);
    }
    const int n = samples.kept();
    if (n < 1) return static_cast<float>(vca_dev_get_install_height());

    const Run run = choose_run(mapMode);
    const int hi = av_limit_min_max(vca::to_i32(run.scale * static_cast<float>(run.hi)), 1, n);
    const int lo = av_limit_min_max(vca::to_i32(run.scale * static_cast<float>(run.lo)), 0, hi - 1);
    return static_cast<float>(std::round(samples.mean(lo, hi) * 100.0) / 100.0);
}
