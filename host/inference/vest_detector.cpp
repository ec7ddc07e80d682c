// Colour statistics of a crop at the resolution of its chroma, 112 x 112 cells.
#include "host/inference/vest_detector.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace host {
namespace {

constexpr int kSide = kCropSide_px / 2;
constexpr int kNeutral = 128;  // chroma of grey; also the luma of the bars

// Both must be reached; found on simulated crops, see the tests for how far off the others are.
constexpr float kLeastFluorescent = 0.08f;
constexpr float kLeastStripes = 0.006f;

// A stripe is 50 mm wide and a crop about 500 mm, so a stripe is about 11 cells wide.
constexpr int kWidestStripe = 18;
// Cells between a stripe and the cloth that show a mixture of both.
constexpr int kWidestEdge = 3;

enum class Kind : std::uint8_t { kOther, kFluorescent, kLight };

struct Cell {
    int y = 0;
    int u = 0;
    int v = 0;
};

Cell cell_at(const CropView& crop, int column, int row) {
    const std::uint8_t* top =
        crop.luma + static_cast<std::size_t>(2 * row) * crop.stride + 2 * column;
    const std::uint8_t* below = top + crop.stride;
    const std::uint8_t* chroma =
        crop.chroma + static_cast<std::size_t>(row) * crop.stride + 2 * column;
    return {(top[0] + top[1] + below[0] + below[1] + 2) / 4, chroma[0], chroma[1]};
}

// Yellow to orange has little blue, so U is low in proportion to the brightness, and never more
// red (V) than orange has.
Kind kind_of(const Cell& cell) {
    constexpr int kBlack = 16;
    const int bright = cell.y - kBlack;
    const int little_blue = kNeutral - cell.u;
    const int red = cell.v - kNeutral;
    if (bright >= 45 && 100 * little_blue >= 28 * bright && 10 * red <= 16 * little_blue &&
        10 * red >= -3 * little_blue) {
        return Kind::kFluorescent;
    }
    if (bright >= 110 && std::abs(little_blue) <= 16 && std::abs(red) <= 16) return Kind::kLight;
    return Kind::kOther;
}

class Grid {
  public:
    explicit Grid(const CropView& crop) {
        for (int row = 0; row < kSide; ++row) {
            for (int column = 0; column < kSide; ++column) {
                const Cell cell = cell_at(crop, column, row);
                kinds_[index(column, row)] = kind_of(cell);
                const bool bar = cell.y == kNeutral && cell.u == kNeutral && cell.v == kNeutral;
                picture_ += bar ? 0 : 1;
            }
        }
    }

    Kind at(int column, int row) const {
        const bool inside = column >= 0 && row >= 0 && column < kSide && row < kSide;
        return inside ? kinds_[index(column, row)] : Kind::kOther;
    }

    // Cells that show the picture; a stray grey one among them is no bar but does no harm.
    int picture() const { return picture_; }

  private:
    static std::size_t index(int column, int row) {
        return static_cast<std::size_t>(row * kSide + column);
    }

    std::array<Kind, std::size_t{kSide} * kSide> kinds_{};
    int picture_ = 0;
};

// Cells from a light cell to the fluorescent cloth in one direction, or more than the widest
// stripe when something else comes first.
int cells_to_cloth(const Grid& grid, int column, int row, int step_x, int step_y) {
    int edge = 0;
    for (int distance = 1; distance <= kWidestStripe; ++distance) {
        const Kind kind = grid.at(column + distance * step_x, row + distance * step_y);
        if (kind == Kind::kFluorescent) return distance;
        if (kind == Kind::kOther && ++edge > kWidestEdge) break;
    }
    return kWidestStripe + 1;
}

bool is_on_stripe(const Grid& grid, int column, int row) {
    constexpr int kDirections[4][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
    for (const auto& [x, y] : kDirections) {
        const int width =
            cells_to_cloth(grid, column, row, x, y) + cells_to_cloth(grid, column, row, -x, -y) - 1;
        if (width <= kWidestStripe) return true;
    }
    return false;
}

}  // namespace

VestEvidence find_vest(const CropView& crop) {
    const Grid grid(crop);
    int fluorescent = 0;
    int stripes = 0;
    for (int row = 0; row < kSide; ++row) {
        for (int column = 0; column < kSide; ++column) {
            const Kind kind = grid.at(column, row);
            if (kind == Kind::kFluorescent) ++fluorescent;
            if (kind == Kind::kLight && is_on_stripe(grid, column, row)) ++stripes;
        }
    }
    const auto picture = static_cast<float>(std::max(grid.picture(), 1));
    return {static_cast<float>(fluorescent) / picture, static_cast<float>(stripes) / picture};
}

std::optional<StaffAnswer> VestDetector::detect(const CropView& crop) {
    const VestEvidence found = find_vest(crop);
    // The weaker of the two counts, as a multiple of what is needed; just enough scores a half.
    const float weaker =
        std::min(found.fluorescent / kLeastFluorescent, found.stripes / kLeastStripes);
    const float score = std::min(0.5f * weaker, 1.0f);
    return StaffAnswer{score >= 0.5f, score};
}

}  // namespace host
