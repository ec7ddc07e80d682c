// Rasterising polygons: hand-made cases and a plain form of the rule on thousands of polygons.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"

namespace {

using Mask = char[VCA_MASK_ROWS][VCA_MASK_COLS];

POLYGON_S polygon(int coord, const std::vector<std::pair<int, int>>& points) {
    POLYGON_S poly{};
    poly.coord = static_cast<uint8_t>(coord);
    for (int k = 0; k < 10; ++k)
        poly.x[k] = poly.y[k] = -15360;
    for (size_t k = 0; k < points.size(); ++k) {
        poly.x[k] = points[k].first;
        poly.y[k] = points[k].second;
    }
    return poly;
}

void set_map(int x, int y, int w, int h) {
    int32_t* map = dev_get_config()->cscdMapSize;
    map[0] = x;
    map[1] = y;
    map[2] = w;
    map[3] = h;
}

// ---- The rule in its plain form ----

int32_t wrap(int64_t v) {
    return static_cast<int32_t>(static_cast<uint32_t>(v));
}

// Moves, clamps (lower bound first) and scales one coordinate to the grid.
int32_t scale(int32_t v, int32_t offset, int32_t size, int32_t cells) {
    const int32_t last = wrap(int64_t{size} - 1);
    int32_t moved = wrap(int64_t{v} - offset);
    if (moved < 0) moved = 0;
    if (moved > last) moved = last;
    if (size == 0) return 0;
    return static_cast<int32_t>(int64_t{wrap(int64_t{moved} * cells)} / size);
}

struct Grid {
    int n = 0;
    int x[10];
    int y[10];
};

Grid scaled_points(const POLYGON_S& poly) {
    const auto& sizes = vca_get_pCtrl_param()->img_size[0];
    const int32_t* map = dev_get_config()->cscdMapSize;
    Grid grid;
    for (int k = 0; k < 10; ++k) {
        if (poly.x[k] < -15359 || poly.y[k] < -15359) break;
        int gx;
        int gy;
        if (poly.coord == 1) {
            gx = scale(poly.x[k], 0, static_cast<int32_t>(sizes.width), 320);
            gy = scale(poly.y[k], 0, static_cast<int32_t>(sizes.height), 181);
        } else {
            gx = scale(poly.x[k], map[0], map[2], 320);
            gy = scale(poly.y[k], map[1], map[3], 181);
        }
        if (gx < 0 || gy < 0) break;
        grid.x[grid.n] = gx;
        grid.y[grid.n++] = gy;
    }
    return grid;
}

bool inside(const Grid& g, int r, int c) {
    bool in = false;
    for (int i = 0, j = g.n - 1; i < g.n; j = i++) {
        if ((g.y[i] > r) == (g.y[j] > r)) continue;
        if (c < (g.x[j] - g.x[i]) * (r - g.y[i]) / (g.y[j] - g.y[i]) + g.x[i]) in = !in;
    }
    return in;
}

int plain_mask(const POLYGON_S& poly, Mask& mask) {
    const Grid g = scaled_points(poly);
    int max_x = 0;
    int max_y = 0;
    for (int k = 0; k < g.n; ++k) {
        max_x = std::max(max_x, g.x[k]);
        max_y = std::max(max_y, g.y[k]);
    }
    int count = 0;
    for (int r = 0; r < VCA_MASK_ROWS; ++r) {
        for (int c = 0; c < VCA_MASK_COLS; ++c) {
            const bool set = g.n > 2 && r <= max_y && c <= max_x && inside(g, r, c);
            mask[r][c] = set ? 1 : 0;
            count += set ? 1 : 0;
        }
    }
    return count;
}

Mask plain_cells;
Mask cells;

void expect_same(const POLYGON_S& poly) {
    std::memset(cells, 0, sizeof(cells));
    const int count = polygon_convert_to_mask(&poly, cells);
    ASSERT_EQ(count, plain_mask(poly, plain_cells));
    ASSERT_EQ(std::memcmp(cells, plain_cells, sizeof(cells)), 0);
}

class MaskTest : public testing::Test {
  protected:
    MaskTest() {
        vca_data_init(vca_get_pCtrl_param());
        set_map(0, 0, 320, 181);
    }
    test::StdoutCapture out_;
};

// ---- Hand-made cases; with a map of 320 x 181 a point is its own cell ----

TEST_F(MaskTest, TriangleLeftOfTheHypotenuse) {
    const auto poly = polygon(0, {{0, 0}, {319, 0}, {0, 180}});
    const int count = polygon_convert_to_mask(&poly, cells);
    int expected = 0;
    for (int r = 0; r < 181; ++r) {
        // Row r's right edge: (319 - 0) * (r - 180) / (0 - 180) + 0, cut to whole cells; cells on
        // it are outside. Row 180 has no edge that spans it.
        const int edge = r == 180 ? 0 : 319 * (r - 180) / -180;
        expected += edge;
        for (int c = 0; c < 320; ++c)
            ASSERT_EQ(cells[r][c], c < edge ? 1 : 0) << r << ' ' << c;
    }
    EXPECT_EQ(count, expected);
    EXPECT_EQ(cells[0][318], 1);
    EXPECT_EQ(cells[0][319], 0);
}

TEST_F(MaskTest, RectangleLeavesOutItsRightAndBottomEdge) {
    const auto poly = polygon(0, {{10, 20}, {50, 20}, {50, 60}, {10, 60}});
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 40 * 40);
    EXPECT_EQ(cells[20][10], 1);
    EXPECT_EQ(cells[59][49], 1);
    EXPECT_EQ(cells[60][49], 0);
    EXPECT_EQ(cells[59][50], 0);
    EXPECT_EQ(cells[19][10], 0);
    EXPECT_EQ(cells[20][9], 0);
}

TEST_F(MaskTest, DirectionOfTheWalkDoesNotMatterForARectangle) {
    const auto poly = polygon(0, {{10, 60}, {50, 60}, {50, 20}, {10, 20}});
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 1600);
}

TEST_F(MaskTest, FewerThanThreePointsClearEveryCell) {
    for (int n = 0; n < 3; ++n) {
        std::memset(cells, 1, sizeof(cells));
        const std::vector<std::pair<int, int>> points = {{0, 0}, {300, 150}};
        const auto poly = polygon(0, {points.begin(), points.begin() + n});
        EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 0);
        for (const auto& row : cells) {
            for (const char cell : row)
                ASSERT_EQ(cell, 0);
        }
    }
}

TEST_F(MaskTest, UnusedThirdPointEmptiesTheMask) {
    auto poly = polygon(0, {{0, 0}, {300, 0}, {-15360, -15360}, {300, 150}, {0, 150}});
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 0);
    poly = polygon(0, {{0, 0}, {300, 0}, {300, -15360}, {300, 150}, {0, 150}});
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 0);
}

TEST_F(MaskTest, SelfCrossingPolygonIsEvenOdd) {
    // Two squares of a pentagram-like walk: the doubly covered middle is outside.
    const auto poly = polygon(0, {{0, 0},
                                  {100, 0},
                                  {100, 100},
                                  {0, 100},
                                  {0, 0},
                                  {30, 30},
                                  {70, 30},
                                  {70, 70},
                                  {30, 70},
                                  {30, 30}});
    polygon_convert_to_mask(&poly, cells);
    EXPECT_EQ(cells[10][10], 1);
    EXPECT_EQ(cells[50][50], 0);
    expect_same(poly);
}

TEST_F(MaskTest, ColourCoordinatesScaleFrom960By540) {
    // x * 320 / 960 and y * 181 / 540: (300, 270) -> (100, 90), (959, 539) -> (319, 180).
    const auto poly = polygon(1, {{0, 0}, {300, 0}, {300, 270}, {0, 270}});
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 100 * 90);
    std::memset(cells, 0, sizeof(cells));
    const auto whole = polygon(1, {{-500, -500}, {5000, -500}, {5000, 5000}, {-500, 5000}});
    EXPECT_EQ(polygon_convert_to_mask(&whole, cells), 319 * 180);
}

TEST_F(MaskTest, MapCoordinatesMoveWithTheMap) {
    set_map(1000, 2000, 960, 544);
    const auto poly = polygon(0, {{1000, 2000}, {1300, 2000}, {1300, 2272}, {1000, 2272}});
    // 300 * 320 / 960 = 100, 272 * 181 / 544 = 90.
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 9000);
}

TEST_F(MaskTest, EmptyMapGivesAnEmptyMask) {
    set_map(0, 0, 0, 0);
    const auto poly = polygon(0, {{0, 0}, {300, 0}, {300, 150}, {0, 150}});
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 0);
}

TEST_F(MaskTest, CellsAreWrittenNotAdded) {
    std::memset(cells, 1, sizeof(cells));
    const auto poly = polygon(0, {{10, 20}, {50, 20}, {50, 60}, {10, 60}});
    EXPECT_EQ(polygon_convert_to_mask(&poly, cells), 0) << "only cells that were 0 are counted";
    EXPECT_EQ(plain_mask(poly, plain_cells), 1600);
    EXPECT_EQ(std::memcmp(cells, plain_cells, sizeof(cells)), 0);
}

// ---- Against the plain form ----

class RandomPolygons {
  public:
    explicit RandomPolygons(unsigned seed) : random_(seed) {}

    int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

    int coordinate(int kind) {
        switch (kind) {
            case 0:
                return below(1000);
            case 1:
                return below(4000) - 1500;
            case 2:
                return below(60) * 16;  // many equal coordinates
            case 3:
                return below(2) != 0 ? INT_MAX - below(3) : -15359 - below(3);
            default:
                return wrap(static_cast<int64_t>(random_()));
        }
    }

    POLYGON_S next() {
        POLYGON_S poly = polygon(below(2), {});
        const int points = 2 + below(9);
        const int kind = below(10) < 7 ? below(3) : 3 + below(2);
        for (int k = 0; k < points; ++k) {
            // Now and then a wild coordinate among tame ones.
            poly.x[k] = coordinate(below(20) == 0 ? below(5) : kind);
            poly.y[k] = coordinate(below(20) == 0 ? below(5) : kind);
        }
        return poly;
    }

  private:
    std::mt19937 random_;
};

TEST_F(MaskTest, RandomPolygonsInTheImage) {
    RandomPolygons random(1);
    set_map(0, 0, 960, 544);
    for (int i = 0; i < 1500; ++i) {
        SCOPED_TRACE(i);
        expect_same(random.next());
        if (HasFatalFailure()) return;
    }
}

TEST_F(MaskTest, RandomPolygonsInRandomMaps) {
    RandomPolygons random(2);
    for (int i = 0; i < 1500; ++i) {
        SCOPED_TRACE(i);
        const int kind = random.below(3);
        if (kind == 0) {
            set_map(random.below(2000) - 1000, random.below(2000) - 1000, random.below(4000),
                    random.below(3000));
        } else if (kind == 1) {
            set_map(random.coordinate(4), random.coordinate(4), random.coordinate(4),
                    random.coordinate(4));
        } else {
            set_map(0, 0, random.below(3), random.below(3) - 1);
        }
        expect_same(random.next());
        if (HasFatalFailure()) return;
    }
}

TEST_F(MaskTest, RandomTinyAndDegeneratePolygons) {
    RandomPolygons random(3);
    for (int i = 0; i < 2000; ++i) {
        SCOPED_TRACE(i);
        POLYGON_S poly = polygon(0, {});
        const int x0 = random.below(320);
        const int y0 = random.below(181);
        const int points = 3 + random.below(8);
        for (int k = 0; k < points; ++k) {
            poly.x[k] = x0 + random.below(4);
            poly.y[k] = y0 + random.below(4);
        }
        expect_same(poly);
        if (HasFatalFailure()) return;
    }
}

TEST_F(MaskTest, RandomPolygonsWithoutWorkingSizes) {
    // Before the working sizes are set, colour coordinates have no width and height.
    vca_get_pCtrl_param()->img_size[0] = {0, 0};
    RandomPolygons random(4);
    for (int i = 0; i < 50; ++i) {
        expect_same(random.next());
        if (HasFatalFailure()) return;
    }
}

}  // namespace
