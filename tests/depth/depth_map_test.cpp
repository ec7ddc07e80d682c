// The learnt floor map: which cells an update measures, what it learns, the column fill, the dump.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"
#include "tests/support/test_config.h"

namespace {

using testing::ElementsAre;
using Cells = std::set<std::pair<int, int>>;  // row, column

// 480 x 256 in cells of 60 x 32.
class DepthImage {
  public:
    explicit DepthImage(uint16_t mm) : pixels_(480 * 256, mm) {}

    void fill_cell(int row, int col, uint16_t mm) {
        for (int y = row * 32; y < row * 32 + 32; ++y)
            std::fill_n(pixels_.begin() + y * 480 + col * 60, 60, mm);
    }

    const uint16_t* data() const { return pixels_.data(); }

  private:
    std::vector<uint16_t> pixels_;
};

const VCA_DEPTH_STATE_S& state() {
    return *vca_depth_get_state();
}

class DepthMap : public testing::Test {
  protected:
    DepthMap() {
        vca_data_init(vca_get_pCtrl_param());
        vca_depth_algo_init();
    }

    // One update is every sixth call.
    static void update(const DepthImage& image, int times = 1) {
        for (int i = 0; i < 6 * times; ++i)
            EXPECT_EQ(vca_update_depth_map(image.data()), 0);
    }
};

Cells valid_cells() {
    Cells cells;
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c)
            if (state().depthValid[r][c] != 0) cells.insert({r, c});
    return cells;
}

TEST(DepthState, BeforeInit) {
    const auto zero = std::make_unique<VCA_DEPTH_STATE_S>();
    EXPECT_EQ(std::memcmp(zero.get(), vca_depth_get_state(), sizeof(*zero)), 0);
    EXPECT_EQ(vca_depth_algo_init(), 0);
    EXPECT_EQ(vca_depth_algo_uninit(), 0);
}

TEST_F(DepthMap, FirstFiveCallsDoNothing) {
    const DepthImage image(3000);
    const VCA_DEPTH_STATE_S before = state();
    for (int i = 1; i <= 5; ++i) {
        vca_update_depth_map(image.data());
        VCA_DEPTH_STATE_S expected = before;
        expected.depthCallCnt = i;
        EXPECT_EQ(std::memcmp(&expected, &state(), sizeof(expected)), 0) << i;
    }
}

TEST_F(DepthMap, SixthCallMeasuresRowsOneAndSixOfColumnsZeroAndFive) {
    update(DepthImage(3000));
    EXPECT_EQ(state().depthCallCnt, 6);
    EXPECT_EQ(state().depthUpdCnt, 1);
    EXPECT_EQ(state().depthRowPhase, 1);
    EXPECT_EQ(valid_cells(), (Cells{{1, 0}, {1, 5}, {6, 0}, {6, 5}}));
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            const bool measured = (r == 1 || r == 6) && (c == 0 || c == 5);
            EXPECT_EQ(state().depthCur[r][c], measured ? 3000 : 0);
            EXPECT_EQ(state().depthMap[r][c], 3000) << "unseen cells take the column's mean";
        }
    }
}

TEST_F(DepthMap, PhasesRotateThroughEveryCellInTwentyFiveUpdates) {
    const DepthImage image(3000);
    // Column phase u % 5; row phase 1, 2, 3, 4, 0 for five updates each. A cell is measured when
    // its row and column less the phases are multiples of five.
    Cells expected;
    for (int u = 0; u < 25; ++u) {
        update(image);
        const int row_phase = (u / 5 + 1) % 5;
        EXPECT_EQ(state().depthRowPhase, u / 5 + 1);
        for (int r = row_phase; r < 8; r += 5)
            for (int c = u % 5; c < 8; c += 5)
                expected.insert({r, c});
        ASSERT_EQ(valid_cells(), expected) << "update " << u;
    }
    EXPECT_EQ(valid_cells().size(), 64u);
    EXPECT_EQ(state().depthUpdCnt, 25);
}

TEST_F(DepthMap, DistanceAtTheLimitCountsAsOccupied) {
    update(DepthImage(2940));  // 3000 - 60
    EXPECT_EQ(valid_cells(), Cells{});
    EXPECT_EQ(state().depthCur[1][0], 2940);
    EXPECT_EQ(state().depthMap[1][0], 3000) << "a cell without floor takes the height";
    DepthImage floor(2941);
    dev_depth_map_reset();
    update(floor);  // column phase 1
    EXPECT_EQ(valid_cells(), (Cells{{1, 1}, {1, 6}, {6, 1}, {6, 6}}));
    EXPECT_EQ(state().depthMap[1][1], 2941);
}

TEST_F(DepthMap, FarMeasurementIsClipped) {
    update(DepthImage(3500));
    EXPECT_EQ(state().depthCur[1][0], 3500) << "the diagnostic value is the raw one";
    EXPECT_EQ(state().depthMap[1][0], 3200);
    // The columns measured next hold the fill's 3000 by now; without a reset it would be averaged
    // in.
    dev_depth_map_reset();
    update(DepthImage(3199));
    EXPECT_EQ(state().depthMap[1][1], 3199);
    dev_depth_map_reset();
    update(DepthImage(3200));
    EXPECT_EQ(state().depthMap[1][2], 3200);
    dev_depth_map_reset();
    update(DepthImage(3201));
    EXPECT_EQ(state().depthMap[1][3], 3200);
}

TEST_F(DepthMap, FilledCellIsAveragedWithItsFirstMeasurement) {
    update(DepthImage(3000));
    EXPECT_EQ(state().depthValid[1][1], 0);
    update(DepthImage(3199));
    EXPECT_EQ(state().depthMap[1][1], 3099);
}

TEST_F(DepthMap, FloorIsAveragedInAndPeopleAreNot) {
    update(DepthImage(3000), 25);
    DepthImage image(3000);
    image.fill_cell(1, 0, 3101);  // floor-like: (3101 + 3000) / 2
    image.fill_cell(1, 5, 1300);  // a person
    image.fill_cell(6, 0, 3500);  // clipped to 3200 first: (3200 + 3000) / 2
    image.fill_cell(6, 5, 2950);  // floor-like: (2950 + 3000) / 2
    update(image);                // update 25: row phase 6 % 5 = 1, column phase 0
    EXPECT_EQ(state().depthMap[1][0], 3050);
    EXPECT_EQ(state().depthMap[1][5], 3000);
    EXPECT_EQ(state().depthValid[1][5], 1);
    EXPECT_EQ(state().depthCur[1][5], 1300);
    EXPECT_EQ(state().depthMap[6][0], 3100);
    EXPECT_EQ(state().depthMap[6][5], 2975);
    EXPECT_EQ(state().depthMap[2][0], 3000);
}

TEST_F(DepthMap, FirstFloorMeasurementIsTakenWhole) {
    // m = 0 is not above the limit, so the larger of the two is kept instead of the mean.
    update(DepthImage(2960));
    EXPECT_EQ(state().depthMap[1][0], 2960);
}

TEST_F(DepthMap, StoredValueAtTheLimitIsKeptUnderAPersonAndReplacedByFloor) {
    update(DepthImage(3000), 25);
    // Raising the height without a reset puts the stored 3000 exactly on the limit 3060 - 60.
    dev_get_config()->InstallHeight = 3060;
    DepthImage image(1200);
    image.fill_cell(1, 5, 3010);
    update(image);
    EXPECT_EQ(state().depthMap[1][0], 3000) << "not below the limit";
    EXPECT_EQ(state().depthMap[1][5], 3010) << "the larger, not the mean";
    dev_get_config()->InstallHeight = 3100;
    update(DepthImage(1200));
    EXPECT_EQ(state().depthMap[1][1], 3100) << "3000 is below 3040";
}

TEST_F(DepthMap, ColumnFillTakesTheMeanOfValidFloorCells) {
    DepthImage image(1200);
    image.fill_cell(1, 0, 2990);
    image.fill_cell(6, 0, 3021);
    update(image);
    // (2990 + 3021) / 2 = 3005 for the cells of column 0 never seen, the height elsewhere.
    for (int r = 0; r < 8; ++r) {
        const int expected = r == 1 ? 2990 : r == 6 ? 3021 : 3005;
        EXPECT_EQ(state().depthMap[r][0], expected) << r;
        EXPECT_EQ(state().depthMap[r][4], 3000) << r;
    }
    EXPECT_EQ(valid_cells(), (Cells{{1, 0}, {6, 0}})) << "the fill marks nothing";
}

TEST_F(DepthMap, ValidCellsBelowTheLimitStayOutOfTheMean) {
    update(DepthImage(2950), 25);
    dev_get_config()->InstallHeight = 3015;  // limit 2955: no stored floor is above it any more
    DepthImage image(1200);
    image.fill_cell(1, 0, 2990);
    update(image);
    EXPECT_EQ(state().depthMap[1][0], 2990);
    EXPECT_EQ(state().depthMap[6][0], 3015) << "occupied and below the limit";
    EXPECT_EQ(state().depthMap[2][0], 2950) << "valid cells are not filled";
}

TEST_F(DepthMap, ResetKeepsCountersAndDiagnostics) {
    update(DepthImage(3000), 3);
    EXPECT_EQ(dev_depth_map_reset(), 0);
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            EXPECT_EQ(state().depthMap[r][c], 0);
            EXPECT_EQ(state().depthValid[r][c], 0);
        }
    }
    EXPECT_EQ(state().depthCur[1][0], 3000);
    EXPECT_EQ(state().depthCallCnt, 18);
    EXPECT_EQ(state().depthUpdCnt, 3);
    EXPECT_EQ(state().depthRowPhase, 1);
}

TEST_F(DepthMap, InitResetsTheMap) {
    update(DepthImage(3000));
    vca_depth_algo_uninit();
    vca_depth_algo_init();
    EXPECT_EQ(valid_cells(), Cells{});
    EXPECT_EQ(state().depthMap[0][0], 0);
    EXPECT_EQ(state().depthUpdCnt, 1);
}

TEST_F(DepthMap, LastRowAndColumnOfACellAreNotRead) {
    // The cell's rectangle is handed on with inclusive bounds to a routine that excludes them.
    DepthImage image(3000);
    std::vector<uint16_t> pixels(image.data(), image.data() + 480 * 256);
    for (int x = 0; x < 60; ++x)
        pixels[static_cast<size_t>(63 * 480 + x)] = 1500;
    for (int y = 32; y < 64; ++y)
        pixels[static_cast<size_t>(y * 480 + 59)] = 1500;
    for (int i = 0; i < 6; ++i)
        vca_update_depth_map(pixels.data());
    EXPECT_EQ(state().depthCur[1][0], 3000);
}

TEST_F(DepthMap, HundredNearestSamplesAreNoise) {
    DepthImage image(3000);
    std::vector<uint16_t> pixels(image.data(), image.data() + 480 * 256);
    const auto at = [&](int i) -> uint16_t& {
        return pixels[static_cast<size_t>((32 + i / 50) * 480 + i % 50)];
    };
    for (int i = 0; i < 100; ++i)
        at(i) = 1500;
    for (int i = 0; i < 6; ++i)
        vca_update_depth_map(pixels.data());
    EXPECT_EQ(state().depthCur[1][0], 3000);
    for (int i = 100; i < 110; ++i)
        at(i) = 1500;
    for (int i = 0; i < 25 * 6; ++i)
        vca_update_depth_map(pixels.data());
    EXPECT_EQ(state().depthCur[1][0], 2250) << "ten of the twenty samples averaged";
}

TEST_F(DepthMap, RandomScenesAgreeWithAPlainModel) {
    // The learning rule once more, over cells that are uniform, with the phases written out.
    std::mt19937 random(99);
    int map[8][8] = {};
    bool valid[8][8] = {};
    const int height = 3000;
    for (int u = 0; u < 200; ++u) {
        DepthImage image(3000);
        int mm[8][8];
        for (int r = 0; r < 8; ++r) {
            for (int c = 0; c < 8; ++c) {
                mm[r][c] = 2800 + static_cast<int>(random() % 600);
                image.fill_cell(r, c, static_cast<uint16_t>(mm[r][c]));
            }
        }
        update(image);
        for (int r = (u / 5 + 1) % 5; r < 8; r += 5) {
            for (int c = u % 5; c < 8; c += 5) {
                const int d = std::min(mm[r][c], height + 200);
                int& m = map[r][c];
                if (d > height - 60) {
                    valid[r][c] = true;
                    m = m > height - 60 ? (d + m) / 2 : std::max(d, m);
                } else if (m < height - 60) {
                    m = height;
                }
            }
        }
        for (int c = 0; c < 8; ++c) {
            int sum = 0;
            int n = 0;
            for (int r = 0; r < 8; ++r) {
                if (!valid[r][c] || map[r][c] <= height - 60) continue;
                sum += map[r][c];
                ++n;
            }
            for (int r = 0; r < 8; ++r)
                if (!valid[r][c]) map[r][c] = n > 0 ? sum / n : height;
        }
        for (int r = 0; r < 8; ++r) {
            for (int c = 0; c < 8; ++c) {
                ASSERT_EQ(state().depthMap[r][c], map[r][c]) << u << ' ' << r << ' ' << c;
                ASSERT_EQ(state().depthValid[r][c] != 0, valid[r][c]);
            }
        }
    }
}

std::string repeat(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST_F(DepthMap, DumpOnEveryTwelfthUpdateOfTheSwitch) {
    vca_get_logs_dbg()[17 * 21] = 1;
    const DepthImage image(3000);
    test::StdoutCapture out;
    update(image);
    const std::string none = repeat("   0 ", 8) + "\n";
    const std::string two = "   1    0    0    0    0    1    0    0 \n";
    const std::string floor = repeat("3000 ", 8) + "\n";
    const std::string unseen = repeat("  0 ", 8) + "\n";
    const std::string seen = "3000   0   0   0   0 3000   0   0 \n";
    EXPECT_EQ(test::without_log(out.text()),
              "Valid: " + none + two + repeat(none, 4) + two + none + "Horiz: " + floor +
                  "Depth Map: " + repeat(floor, 8) + "Depth Cur: " + unseen + seen +
                  repeat(unseen, 4) + seen + unseen);
    const auto lines = test::parse_log(out.text());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].body.starts_with("Tm: data_update_depth_map="));
    EXPECT_EQ(lines[0].function, "vca_update_depth_map");
    EXPECT_EQ(state().depthDbgCnt, 1u);
    EXPECT_GT(lines[0].pos, out.text().find("Depth Cur"));
    out.clear();
    update(image, 11);
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(state().depthDbgCnt, 12u);
    update(image);
    EXPECT_NE(out.text(), "");
}

TEST_F(DepthMap, DumpCounterRestsWhileTheSwitchIsOff) {
    test::StdoutCapture out;
    update(DepthImage(3000), 3);
    EXPECT_EQ(state().depthDbgCnt, 0u);
    EXPECT_EQ(out.text(), "");
}

TEST_F(DepthMap, DumpTimesTheUpdate) {
    vca_get_logs_dbg()[17 * 21] = 1;
    test::host().use_clock(8'000'000);
    test::StdoutCapture out;
    update(DepthImage(3000));
    EXPECT_EQ(test::count_log(out.text(), "Tm: data_update_depth_map=0"), 1);
}

// An image of another size; everything reads the control block's.
void resize(uint32_t width, uint32_t height) {
    vca_get_pCtrl_param()->img_size[VCA_SIZE_DEPTH] = {width, height};
}

TEST_F(DepthMap, ImageWithoutAPixelForEveryCellTeachesNothing) {
    for (const auto& [width, height] : {std::pair{480u, 7u}, {7u, 256u}, {0u, 0u}}) {
        resize(width, height);
        update(DepthImage(3000), 30);
        EXPECT_EQ(valid_cells(), Cells{});
    }
}

// What is left over on the right and below, less than half a cell, belongs to no cell of the map.
TEST_F(DepthMap, RemainderBeyondTheEighthCellIsLeftOut) {
    for (const auto& [width, height] : {std::pair{63u, 62u}, {62u, 63u}}) {
        dev_depth_map_reset();
        resize(width, height);
        update(DepthImage(3000), 25);
        const Cells cells = valid_cells();
        EXPECT_FALSE(cells.empty());
        for (const auto& [row, col] : cells) {
            EXPECT_LT(row, 8);
            EXPECT_LT(col, 8);
        }
    }
}

}  // namespace
