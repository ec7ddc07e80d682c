// The distance of a rectangle: a robust mean of its nearest plausible depth samples.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "base/log.h"
#include "base/numeric.h"
#include "base/working_size.h"
#include "config/mask_cells.h"
#include "depth/depth_state.h"
#include "vca/config.h"

namespace {

constexpr char kLogName[] = "depth16_calc_rgn_distance";

constexpr float kInvalidMm = 1600.0f;
constexpr uint16_t kLargestImplausible = 99;  // missing or broken measurements
constexpr int32_t kTallestMm = 2000;          // nothing stands higher above the floor
constexpr int kNarrowMost = 6;                // samples that a person's distance can come from

struct Rect {
    int x0, y0, x1, y1;  // upper bounds exclusive
};

struct Size {
    int width, height;
};

bool masks_depth(const VCA_DEV_CFG_S& cfg, int region) {
    return cfg.ExclEn[region] != 0 && cfg.ExclType[region] == VCA_EXCL_DEPTH;
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
// plausible ones are kept.
int32_t lowest_plausible() {
    return std::max(vca::wrap_sub(vca_dev_get_install_height(), kTallestMm),
                    int32_t{kLargestImplausible} + 1);
}

double mean_of(uint32_t sum, int count) {
    return static_cast<double>(sum) / count;
}

// The samples of a rectangle, next to each other. They are only copied at first: many rows come
// from memory, and the shorter the work on each is the more of them a processor waits for at once.
// Then it looks at several pixels at a time.
class Samples {
  public:
    Samples() : buffer_(vca::depth_state().depthSortBuf) {}

    void take(uint16_t v) { buffer_[taken_++] = v; }
    void take(const uint16_t* row, int length) {
        std::copy_n(row, length, buffer_ + taken_);
        taken_ += length;
    }

    // How many are plausible, once looked at.
    int kept() const { return kept_; }

  protected:
    static constexpr uint16_t kFar = 0xFFFF;
    const int32_t lowest_ = lowest_plausible();
    uint16_t* const buffer_;
    int taken_ = 0;
    int kept_ = 0;
};

// Samples of a cell of the floor map. The nearest are found by counting how many are below a value
// and not by moving them about.
class CellSamples : public Samples {
  public:
    // An implausible sample becomes the farthest.
    void look() {
        if (lowest_ > kFar) return;
        const auto lowest = static_cast<uint16_t>(lowest_);
        uint16_t nearest = kFar;
        uint16_t farthest = 0;
        for (int i = 0; i < taken_; ++i) {
            nearest = std::min(nearest, buffer_[i]);
            farthest = std::max(farthest, buffer_[i]);
        }
        nearest_ = std::max(nearest, lowest);
        farthest_ = farthest;
        uint16_t plausible = 0;  // the buffer has fewer samples than it can count
        for (int i = 0; i < taken_; ++i) {
            plausible = static_cast<uint16_t>(plausible + (buffer_[i] >= lowest ? 1 : 0));
            buffer_[i] = buffer_[i] >= lowest ? buffer_[i] : kFar;
        }
        kept_ = plausible;
    }

    // Mean of the samples lo .. hi - 1 in ascending order, with hi at most kept(). From the last of
    // them down: samples so close in order have few different values.
    double mean(int lo, int hi) const {
        uint16_t value = value_of_rank(hi);
        uint32_t sum = 0;
        for (int rank = hi;; value = next_below(value)) {
            const int below = std::max(number_up_to(static_cast<uint16_t>(value - 1)), lo);
            sum += static_cast<uint32_t>(rank - below) * value;
            if (below == lo) return mean_of(sum, hi - lo);
            rank = below;
        }
    }

  private:
    // The farthest sample below a value that is not the nearest: the one with the smallest gap to
    // it. The gap of a sample that is not below wraps and is larger than any other.
    uint16_t next_below(uint16_t value) const {
        const auto end = static_cast<uint16_t>(value - 1);
        uint16_t gap = kFar;
        for (int i = 0; i < taken_; ++i)
            gap = std::min(gap, static_cast<uint16_t>(end - buffer_[i]));
        return static_cast<uint16_t>(end - gap);
    }

    // The smallest value that at least `rank` samples do not exceed.
    uint16_t value_of_rank(int rank) const {
        uint16_t low = nearest_;
        uint16_t high = farthest_;
        while (low < high) {
            const auto middle = static_cast<uint16_t>((low + high) / 2);
            if (number_up_to(middle) >= rank)
                high = middle;
            else
                low = static_cast<uint16_t>(middle + 1);
        }
        return low;
    }

    int number_up_to(uint16_t most) const {
        uint16_t number = 0;
        for (int i = 0; i < taken_; ++i)
            number = static_cast<uint16_t>(number + (buffer_[i] <= most ? 1 : 0));
        return number;
    }

    // The plausible samples lie between them, ends included.
    uint16_t nearest_ = kFar;
    uint16_t farthest_ = 0;
};

// Samples of a person, of which the few nearest are kept in ascending order. Most blocks of samples
// have none that is nearer.
class PersonSamples : public Samples {
  public:
    void look() {
        if (lowest_ > kFar) return;
        int at = 0;
        for (; at + kBlock <= taken_; at += kBlock)
            look_at(buffer_ + at, kBlock);
        look_at(buffer_ + at, taken_ - at);
    }

    // Mean of the samples lo .. hi - 1, of which there are at most kNarrowMost.
    double mean(int lo, int hi) const {
        return mean_of(std::accumulate(nearest_ + lo, nearest_ + hi, uint32_t{0}), hi - lo);
    }

  private:
    static constexpr int kBlock = 32;

    void look_at(const uint16_t* block, int length) {
        const auto lowest = static_cast<uint16_t>(lowest_);
        const auto reach = static_cast<uint16_t>(nearest_[kNarrowMost - 1] - lowest);
        uint16_t plausible = 0;
        uint16_t nearer = 0;
        for (int i = 0; i < length; ++i) {
            const auto above = static_cast<uint16_t>(block[i] - lowest);
            plausible = static_cast<uint16_t>(plausible + (block[i] >= lowest ? 1 : 0));
            nearer = static_cast<uint16_t>(nearer | (above < reach ? 1 : 0));
        }
        kept_ += plausible;
        if (nearer != 0) std::for_each(block, block + length, [this](uint16_t v) { keep(v); });
    }

    void keep(uint16_t v) {
        if (v < lowest_ || v >= nearest_[kNarrowMost - 1]) return;
        int k = kNarrowMost - 1;
        for (; k > 0 && nearest_[k - 1] > v; --k)
            nearest_[k] = nearest_[k - 1];
        nearest_[k] = v;
    }

    uint16_t nearest_[kNarrowMost] = {kFar, kFar, kFar, kFar, kFar, kFar};
};

const uint16_t* row_at(const uint16_t* depth, int y, Size image) {
    return depth + static_cast<size_t>(y) * static_cast<size_t>(image.width);
}

template <class Kept>
void gather_masked(const uint16_t* depth, Rect rect, Size image, Kept& samples) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    const bool touched = touches_mask(cfg, rect, image);
    const int width = rect.x1 - rect.x0;
    int room = VCA_DEPTH_SAMPLE_MAX;
    for (int y = rect.y0; y < rect.y1 && room > 0; ++y) {
        const uint16_t* row = row_at(depth, y, image);
        if (!touched) {
            samples.take(row + rect.x0, std::min(width, room));
            room -= width;
            continue;
        }
        for (int x = rect.x0; x < rect.x1 && room > 0; ++x) {
            if (is_masked(cfg, x, y, image)) continue;
            --room;
            samples.take(row[x]);
        }
    }
}

// Whole rows only, as many as stay below the capacity.
template <class Kept>
void gather_rows(const uint16_t* depth, Rect rect, Size image, Kept& samples) {
    const int width = rect.x1 - rect.x0;
    const int rows = std::min(rect.y1 - rect.y0, (VCA_DEPTH_SAMPLE_MAX - 1) / width);
    for (int y = rect.y0; y < rect.y0 + rows; ++y) {
        samples.take(row_at(depth, y, image) + rect.x0, width);
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
    run.hi = av_calc_val(4, kNarrowMost, 1.0f - ratio);
    if (vca::debug_on(vca::kDbgHeight))
        VCA_LOG_AS(kLogName, "RatioH=%.2f Idx=(%d %d) InsTimes=%.2f", static_cast<double>(ratio),
                   run.lo, run.hi, static_cast<double>(run.scale));
    return run;
}

template <class Kept>
float mean_distance(Kept& samples, bool map_mode) {
    samples.look();
    const int n = samples.kept();
    if (n < 1) return static_cast<float>(vca_dev_get_install_height());
    const Run run = choose_run(map_mode);
    const int hi = av_limit_min_max(vca::to_i32(run.scale * static_cast<float>(run.hi)), 1, n);
    const int lo = av_limit_min_max(vca::to_i32(run.scale * static_cast<float>(run.lo)), 0, hi - 1);
    return static_cast<float>(std::round(samples.mean(lo, hi) * 100.0) / 100.0);
}

float cell_distance(const uint16_t* depth, Rect rect, Size image) {
    CellSamples samples;
    if (depth != nullptr) gather_rows(depth, rect, image, samples);
    return mean_distance(samples, true);
}

float person_distance(const uint16_t* depth, Rect rect, Size image) {
    PersonSamples samples;
    if (depth != nullptr && any_depth_mask(*dev_get_config()))
        gather_masked(depth, rect, image, samples);
    else if (depth != nullptr)
        gather_rows(depth, rect, image, samples);
    return mean_distance(samples, false);
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

    return mapMode ? cell_distance(depth, rect, image) : person_distance(depth, rect, image);
}
