// The distance of a rectangle of the depth image.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"

namespace {

using testing::ElementsAre;

class RegionDistance : public testing::Test {
  protected:
    RegionDistance() : pixels_(480 * 256, 3000) {
        vca_data_init(vca_get_pCtrl_param());
        vca_depth_algo_init();
    }

    static VCA_DEV_CFG_S& cfg() { return *dev_get_config(); }

    uint16_t& at(int x, int y) { return pixels_[static_cast<size_t>(y * width_ + x)]; }

    // An image of another size; everything reads the control block's.
    void resize(int width, int height, uint16_t mm) {
        width_ = width;
        height_ = height;
        vca_get_pCtrl_param()->img_size[3] = {static_cast<uint32_t>(width),
                                              static_cast<uint32_t>(height)};
        pixels_.assign(static_cast<size_t>(width) * static_cast<size_t>(height), mm);
    }

    float distance(int x0, int y0, int x1, int y1, bool map_mode) {
        return depth16_calc_rgn_distance(pixels_.data(), x0, y0, x1, y1, map_mode);
    }

    // Switches a depth exclusion on and sets mask cells.
    void mask_cells(int region, int px0, int py0, int px1, int py1) {
        cfg().ExclTotalEn = 1;
        cfg().ExclEn[region] = 1;
        cfg().ExclType[region] = 0;
        for (int py = py0; py < py1; ++py) {
            for (int px = px0; px < px1; ++px) {
                cfg().exclMask[region].mask[py][px] = 1;
                ++cfg().exclMask[region].result;
            }
        }
    }

    int width_ = 480;
    int height_ = 256;
    std::vector<uint16_t> pixels_;
};

TEST_F(RegionDistance, UniformCell) {
    EXPECT_EQ(distance(0, 0, 59, 31, true), 3000.0f);
    EXPECT_EQ(distance(0, 0, 59, 31, false), 3000.0f);
}

TEST_F(RegionDistance, InvalidRectanglesAreLogged) {
    const int cases[][4] = {{5, 5, 5, 9},
                            {5, 5, 9, 5},
                            {9, 5, 5, 9},
                            {5, 9, 9, 5},
                            {-1, 0, 5, 5},
                            {0, -1, 5, 5},
                            {0, 0, 480, 5},
                            {0, 0, 5, 256},
                            {0, 0, 481, 5},
                            {INT_MIN, 0, 5, 5},
                            {0, 0, INT_MAX, INT_MAX}};
    for (const auto& c : cases) {
        test::StdoutCapture out;
        EXPECT_EQ(distance(c[0], c[1], c[2], c[3], false), 1600.0f);
        const auto lines = test::parse_log(out.text());
        ASSERT_EQ(lines.size(), 1u);
        char expected[128];
        std::snprintf(expected, sizeof(expected), "Invalid dis rgn=(%d %d %d %d) raw=(480 256)",
                      c[0], c[1], c[2], c[3]);
        EXPECT_EQ(lines[0].body, expected);
        EXPECT_EQ(lines[0].function, "depth16_calc_rgn_distance");
    }
    test::StdoutCapture out;
    EXPECT_EQ(distance(0, 0, 479, 255, true), 3000.0f);
    EXPECT_EQ(out.text(), "");
}

TEST_F(RegionDistance, UpperBoundsAreExclusive) {
    for (int i = 0; i < 480; ++i)
        at(i, 20) = 1500;
    for (int i = 0; i < 256; ++i)
        at(30, i) = 1500;
    EXPECT_EQ(distance(10, 10, 30, 20, false), 3000.0f);
    EXPECT_LT(distance(10, 10, 31, 20, false), 3000.0f);
    EXPECT_LT(distance(10, 10, 30, 21, false), 3000.0f);
}

TEST_F(RegionDistance, ImplausibleSamplesAreDropped) {
    cfg().InstallHeight = 2050;  // 2050 - 2000 = 50: only the fixed bound of 99 matters
    resize(480, 256, 99);
    EXPECT_EQ(distance(0, 0, 20, 20, false), 2050.0f) << "nothing plausible: the height";
    std::fill(pixels_.begin(), pixels_.end(), uint16_t{100});
    EXPECT_EQ(distance(0, 0, 20, 20, false), 100.0f);
    cfg().InstallHeight = 3000;  // at least 1000
    EXPECT_EQ(distance(0, 0, 20, 20, false), 3000.0f);
    std::fill(pixels_.begin(), pixels_.end(), uint16_t{999});
    EXPECT_EQ(distance(0, 0, 20, 20, true), 3000.0f);
    std::fill(pixels_.begin(), pixels_.end(), uint16_t{1000});
    EXPECT_EQ(distance(0, 0, 20, 20, true), 1000.0f);
}

TEST_F(RegionDistance, NarrowRunByInstallationHeight) {
    // Samples 2000, 2010, ... in a row of 10 pixels.
    for (int i = 0; i < 10; ++i)
        at(i, 0) = static_cast<uint16_t>(2000 + 10 * i);
    struct Row {
        int height_mm;
        float expected;
    };
    // lo = av_calc_val(0, 2, 1 - ratio), hi = av_calc_val(4, 6, 1 - ratio):
    // 2 m: 2 .. 6 -> mean of 2020 .. 2050; 3 m: t = 0.75, lo = 1.5 + 0.5 = 2, hi = 5.5 + 0.5 = 6;
    // 3.2 m: t = 0.7, lo = 1.9 -> 1, hi = 5.9 -> 5; 4 m: t = 0.5, lo = 1, hi = 5;
    // 6 m: 0 .. 4 -> but only samples of at least 4000 are plausible there.
    const Row rows[] = {
        {2000, 2035.0f}, {1500, 2035.0f}, {3000, 2035.0f}, {3200, 2025.0f}, {4000, 2025.0f}};
    for (const Row& row : rows) {
        cfg().InstallHeight = row.height_mm;
        EXPECT_EQ(distance(0, 0, 10, 1, false), row.expected) << row.height_mm;
    }
    for (int i = 0; i < 10; ++i)
        at(i, 0) = static_cast<uint16_t>(5000 + 10 * i);
    for (const int height_mm : {6000, 7000}) {
        cfg().InstallHeight = height_mm;
        EXPECT_EQ(distance(0, 0, 10, 1, false), 5015.0f) << height_mm;
    }
}

TEST_F(RegionDistance, NarrowRunWithFewSamples) {
    // At 3 m the run is 2 .. 6: with n samples hi becomes n and lo at most n - 1.
    for (int i = 0; i < 10; ++i)
        at(i, 0) = static_cast<uint16_t>(2000 + 10 * i);
    EXPECT_EQ(distance(0, 0, 1, 1, false), 2000.0f);
    EXPECT_EQ(distance(0, 0, 2, 1, false), 2010.0f);
    EXPECT_EQ(distance(0, 0, 3, 1, false), 2020.0f);
    EXPECT_EQ(distance(0, 0, 4, 1, false), 2025.0f);
    EXPECT_EQ(distance(0, 0, 5, 1, false), 2030.0f);
}

TEST_F(RegionDistance, MapModeAveragesTwentyAfterAHundred) {
    // 200 samples 1001 .. 1200 in reverse order: those with index 100 .. 119 are 1101 .. 1120.
    for (int i = 0; i < 200; ++i)
        at(i, 0) = static_cast<uint16_t>(1200 - i);
    EXPECT_EQ(distance(0, 0, 200, 1, true), 1110.5f);
    // 110 samples 1091 .. 1200: hi 110, lo 100: 1191 .. 1200.
    EXPECT_EQ(distance(0, 0, 110, 1, true), 1195.5f);
    // 101 samples: the last alone; 100 samples: hi 100, lo 99, the farthest.
    EXPECT_EQ(distance(0, 0, 101, 1, true), 1200.0f);
    EXPECT_EQ(distance(0, 0, 100, 1, true), 1200.0f);
    EXPECT_EQ(distance(0, 0, 3, 1, true), 1200.0f);
    EXPECT_EQ(distance(0, 0, 1, 1, true), 1200.0f);
}

TEST_F(RegionDistance, RoundedToTwoDecimals) {
    // At 4 m the run is 1 .. 5. Four samples 2000, 2000, 2000, 2001: 2000.25 exactly.
    cfg().InstallHeight = 4000;
    resize(480, 256, 2000);
    for (int i = 0; i < 5; ++i)
        at(i, 0) = 2000;
    at(4, 0) = 2001;
    EXPECT_EQ(distance(0, 0, 5, 1, false), 2000.25f);
    // Of four samples hi is 4 and lo 1, of three samples two are left; with three in the run thirds
    // appear: 2000.333... -> 2000.33.
    at(3, 0) = 2001;
    EXPECT_EQ(distance(0, 0, 4, 1, false), 2000.33f);
    at(2, 0) = 2001;
    EXPECT_EQ(distance(0, 0, 4, 1, false), 2000.67f);
    // Thirteen samples of the map mode: 113 plausible ones give the run 100 .. 112. One of the
    // thirteen is larger by 1: 1 / 13 = 0.0769 -> 0.08.
    for (int i = 0; i < 113; ++i)
        at(i, 0) = 2000;
    at(50, 0) = 2001;
    EXPECT_EQ(distance(0, 0, 113, 1, true), 2000.08f);
    // Eight samples: 1 / 8 = 0.125 rounds half away from zero to 0.13.
    EXPECT_EQ(distance(0, 0, 108, 1, true), 2000.13f);
}

TEST_F(RegionDistance, SeventyOneRowsOfTwoHundredFit) {
    // 71 * 200 = 14200; a 72nd row would make 14400 and is not taken.
    for (int y = 71; y < 100; ++y)
        for (int x = 0; x < 200; ++x)
            at(x, y) = 1500;
    EXPECT_EQ(distance(0, 0, 200, 100, true), 3000.0f);
    EXPECT_EQ(distance(0, 0, 200, 100, false), 3000.0f);
    for (int x = 0; x < 200; ++x)
        at(x, 70) = 1500;
    EXPECT_EQ(distance(0, 0, 200, 100, true), 1500.0f);
}

TEST_F(RegionDistance, WholeRowsStayBelowTheCapacity) {
    // 120 * 120 = 14400 is above 14399: the last row stays out.
    for (int x = 0; x < 120; ++x)
        at(x, 119) = 1500;
    EXPECT_EQ(distance(0, 0, 120, 120, false), 3000.0f);
    // 119 * 121 = 14399 fits.
    for (int x = 0; x < 121; ++x)
        at(x, 118) = 1500;
    EXPECT_EQ(distance(0, 0, 121, 119, false), 1500.0f);
}

TEST_F(RegionDistance, RowsWiderThanTheBufferGiveNothing) {
    resize(16000, 4, 2500);
    EXPECT_EQ(distance(0, 0, 14399, 2, false), 2500.0f);
    EXPECT_EQ(distance(0, 0, 14400, 2, false), 3000.0f);
    EXPECT_EQ(distance(0, 0, 15999, 3, true), 3000.0f);
}

TEST_F(RegionDistance, MaskedPixelsAreSkipped) {
    // Mask cell of pixel (x, y): x * 320 / 480, y * 181 / 256. Pixels 30 .. 59 are columns 20
    // .. 39.
    for (int y = 0; y < 64; ++y)
        for (int x = 30; x < 60; ++x)
            at(x, y) = 1500;
    EXPECT_EQ(distance(0, 0, 100, 60, false), 1500.0f);
    mask_cells(1, 20, 0, 40, 181);
    EXPECT_EQ(distance(0, 0, 100, 60, false), 3000.0f);
    EXPECT_EQ(distance(0, 0, 100, 60, true), 1500.0f) << "the map mode knows no exclusions";
    cfg().ExclTotalEn = 0;
    EXPECT_EQ(distance(0, 0, 100, 60, false), 1500.0f);
    cfg().ExclTotalEn = 1;
    cfg().ExclEn[1] = 0;
    EXPECT_EQ(distance(0, 0, 100, 60, false), 1500.0f);
    cfg().ExclEn[1] = 1;
    cfg().ExclType[1] = 1;
    EXPECT_EQ(distance(0, 0, 100, 60, false), 1500.0f);
    cfg().ExclType[1] = 0;
    cfg().exclMask[1].result = 0;
    EXPECT_EQ(distance(0, 0, 100, 60, false), 1500.0f) << "no mask with a positive result";
}

TEST_F(RegionDistance, AnyEnabledMaskSkipsOnceOneHasAResult) {
    for (int y = 0; y < 64; ++y) {
        for (int x = 30; x < 60; ++x)
            at(x, y) = 1500;
        for (int x = 60; x < 90; ++x)
            at(x, y) = 1400;
    }
    mask_cells(0, 20, 0, 40, 181);
    mask_cells(3, 40, 0, 60, 181);
    EXPECT_EQ(distance(0, 0, 100, 60, false), 3000.0f);
    // A mask whose own result is not positive still skips where its cells are set.
    cfg().exclMask[3].result = 0;
    EXPECT_EQ(distance(0, 0, 100, 60, false), 3000.0f);
    cfg().ExclEn[3] = 0;
    EXPECT_EQ(distance(0, 0, 100, 60, false), 1400.0f);
}

TEST_F(RegionDistance, EverythingMaskedGivesTheHeight) {
    mask_cells(0, 0, 0, 320, 181);
    std::fill(pixels_.begin(), pixels_.end(), uint16_t{1500});
    EXPECT_EQ(distance(0, 0, 100, 60, false), 3000.0f);
}

TEST_F(RegionDistance, MaskedGatheringFillsTheBufferPixelByPixel) {
    // One far-away cell makes the gathering the masked one: 120 columns, 14400 samples are exactly
    // 120 rows; row 120 is passed over.
    mask_cells(0, 319, 180, 320, 181);
    for (int x = 0; x < 120; ++x)
        at(x, 120) = 1500;
    EXPECT_EQ(distance(0, 0, 120, 125, false), 3000.0f);
    for (int x = 110; x < 120; ++x)
        at(x, 119) = 1500;
    EXPECT_EQ(distance(0, 0, 120, 125, false), 1500.0f);
    // Skipped pixels take no room: with 10 columns masked row 120 fits.
    mask_cells(0, 0, 0, 7, 181);
    EXPECT_EQ(distance(0, 0, 120, 131, false), 1500.0f);
}

TEST_F(RegionDistance, ImplausibleSamplesTakeRoomInTheBuffer) {
    for (int y = 0; y < 71; ++y)
        for (int x = 0; x < 200; ++x)
            at(x, y) = 0;
    EXPECT_EQ(distance(0, 0, 200, 100, true), 3000.0f) << "the height, as nothing was plausible";
    std::fill(pixels_.begin() + 71 * 480, pixels_.end(), uint16_t{2000});
    EXPECT_EQ(distance(0, 0, 200, 100, true), 3000.0f);
}

TEST_F(RegionDistance, RunIsLoggedByItsSwitch) {
    test::StdoutCapture out;
    distance(0, 0, 20, 20, false);
    EXPECT_EQ(out.text(), "");
    vca_get_logs_dbg()[17 * 14] = 1;
    distance(0, 0, 20, 20, false);
    cfg().InstallHeight = 6000;
    at(0, 0) = 5000;
    distance(0, 0, 20, 20, false);
    EXPECT_THAT(test::log_bodies(out.text()), ElementsAre("RatioH=0.25 Idx=(2 6) InsTimes=1.00",
                                                          "RatioH=1.00 Idx=(0 4) InsTimes=1.00"));
    out.clear();
    distance(0, 0, 20, 20, true);
    EXPECT_EQ(out.text(), "");
}

// ---- Against the plain form: gather, sort, drop, average ----

class PlainForm {
  public:
    PlainForm(const std::vector<uint16_t>& pixels, bool map_mode)
        : cfg_(*dev_get_config()), pixels_(pixels), map_mode_(map_mode) {}

    float distance(int x0, int y0, int x1, int y1) {
        std::vector<int> samples =
            masks_apply() ? gather_masked(x0, y0, x1, y1) : gather_rows(x0, y0, x1, y1);
        std::stable_sort(samples.begin(), samples.end());
        const int height = cfg_.InstallHeight;
        std::erase_if(samples, [&](int v) { return v <= 99 || v < height - 2000; });
        const int n = static_cast<int>(samples.size());
        if (n < 1) return static_cast<float>(height);
        const float ratio = static_cast<float>(std::clamp(height, 2000, 6000) - 2000) / 4000.0f;
        // av_calc_val(lo, hi, t) for whole values two apart.
        const int shift = static_cast<int>(std::fma(2.0f, 1.0f - ratio, 0.0f) + 0.5f);
        const int shift4 = static_cast<int>(std::fma(2.0f, 1.0f - ratio, 4.0f) + 0.5f);
        const int hi = std::clamp(map_mode_ ? 120 : shift4, 1, n);
        const int lo = std::clamp(map_mode_ ? 100 : shift, 0, hi - 1);
        double sum = 0;
        for (int i = lo; i < hi; ++i)
            sum += samples[static_cast<size_t>(i)];
        return static_cast<float>(std::round(sum / (hi - lo) * 100) / 100);
    }

  private:
    bool masks_apply() const {
        if (map_mode_ || cfg_.ExclTotalEn == 0) return false;
        for (int r = 0; r < 4; ++r)
            if (cfg_.ExclEn[r] && cfg_.ExclType[r] == 0 && cfg_.exclMask[r].result > 0) return true;
        return false;
    }

    int pixel(int x, int y) const { return pixels_[static_cast<size_t>(y * 480 + x)]; }

    std::vector<int> gather_masked(int x0, int y0, int x1, int y1) const {
        std::vector<int> samples;
        for (int y = y0; y < y1; ++y) {
            for (int x = x0; x < x1; ++x) {
                bool skip = false;
                const int px = static_cast<int>(static_cast<float>(x) * 320.0f / 480.0f);
                const int py = static_cast<int>(static_cast<float>(y) * 181.0f / 256.0f);
                for (int r = 0; r < 4; ++r)
                    skip |=
                        cfg_.ExclEn[r] && cfg_.ExclType[r] == 0 && cfg_.exclMask[r].mask[py][px];
                if (!skip && samples.size() < 14400) samples.push_back(pixel(x, y));
            }
        }
        return samples;
    }

    std::vector<int> gather_rows(int x0, int y0, int x1, int y1) const {
        std::vector<int> samples;
        for (int y = y0; y < y1; ++y) {
            if (static_cast<int>(samples.size()) + x1 - x0 > 14399) break;
            for (int x = x0; x < x1; ++x)
                samples.push_back(pixel(x, y));
        }
        return samples;
    }

    const VCA_DEV_CFG_S& cfg_;
    const std::vector<uint16_t>& pixels_;
    bool map_mode_;
};

TEST_F(RegionDistance, RandomRectanglesAgreeWithThePlainForm) {
    std::mt19937 random(31);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    test::StdoutCapture out;
    for (int round = 0; round < 400; ++round) {
        cfg().InstallHeight = 1500 + below(6000);
        const int spread = 1 + below(round % 2 == 0 ? 4000 : 30);
        const int base = below(5000);
        if (round % 10 == 0) {
            for (auto& p : pixels_)
                p = static_cast<uint16_t>(below(6) == 0 ? below(110) : base + below(spread));
        }
        cfg().ExclTotalEn = below(4) != 0;
        for (int r = 0; r < 4; ++r) {
            cfg().ExclEn[r] = below(3) == 0;
            cfg().ExclType[r] = below(2);
            if (round % 10 != 0) continue;
            auto& mask = cfg().exclMask[r];
            mask.result = below(2);
            for (auto& row : mask.mask)
                for (char& cell : row)
                    cell = below(3) == 0;
        }
        const int x0 = below(478);
        const int y0 = below(254);
        const int x1 = x0 + 1 + below(479 - x0 - 1);
        const int y1 = y0 + 1 + below(255 - y0 - 1);
        const bool map_mode = below(2) == 0;
        ASSERT_EQ(distance(x0, y0, x1, y1, map_mode),
                  PlainForm(pixels_, map_mode).distance(x0, y0, x1, y1))
            << round << ": " << x0 << ' ' << y0 << ' ' << x1 << ' ' << y1 << ' ' << map_mode;
    }
}

// Samples at the ends of their range and around the plausible distance, and heights at which few or
// none of them are plausible.
TEST_F(RegionDistance, EndsOfTheNumbersAgreeWithThePlainForm) {
    std::mt19937 random(32);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const int heights[] = {0, 2099, 2100, 3000, 60000, 67534, 67535, 67536, 100000, INT_MAX};
    for (int round = 0; round < 400; ++round) {
        cfg().InstallHeight = heights[below(10)];
        const int least = cfg().InstallHeight - 2000;
        const int values[] = {0,     99,    100,       32767, 32768,
                              65534, 65535, least - 1, least, below(65536)};
        const int kinds = 1 + below(10);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 20; ++x)
                at(x, y) = static_cast<uint16_t>(values[below(kinds)]);
        const int x1 = 1 + below(20);
        const int y1 = 1 + below(20);
        ASSERT_EQ(distance(0, 0, x1, y1, true), PlainForm(pixels_, true).distance(0, 0, x1, y1))
            << round << ": " << cfg().InstallHeight << ' ' << x1 << ' ' << y1;
        ASSERT_EQ(distance(0, 0, x1, y1, false), PlainForm(pixels_, false).distance(0, 0, x1, y1))
            << round << ": " << cfg().InstallHeight << ' ' << x1 << ' ' << y1;
    }
}

TEST_F(RegionDistance, WithoutAnImageItIsTheInstallationHeight) {
    cfg().InstallHeight = 3210;
    EXPECT_EQ(depth16_calc_rgn_distance(nullptr, 10, 10, 50, 50, false), 3210.0f);
    EXPECT_EQ(depth16_calc_rgn_distance(nullptr, 10, 10, 50, 50, true), 3210.0f);
}

}  // namespace
