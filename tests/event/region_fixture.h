// A counting region and people at its edge, for the tests of region counting.
#ifndef TESTS_EVENT_REGION_FIXTURE_H
#define TESTS_EVENT_REGION_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace fix {

constexpr int64_t kStartMs = 1000000;

// Over the map of 960 x 544 a box of 40 x 40 centred at (480, 272) is (153, 83) 13 x 13 on the mask
// grid: 460 * 320 / 960, 252 * 181 / 544, 40 * 320 / 960, 40 * 181 / 544. Its point is (159, 89).
constexpr POINT_POS_S kCentre = {480, 272};
constexpr int kPointCol = 159, kPointRow = 89;
constexpr int kFirstCol = 153, kLastCol = 165;
constexpr int kFirstRow = 83, kLastRow = 95;

struct RegionStay : testing::Test {
    std::vector<TRACKER_RSLT_S> tracks;

    void SetUp() override {
        set_up_device();
        cfg().RgnEn = 1;
        cfg().RgnEnable[0] = 1;
        test::host().use_clock(kStartMs * 1000);
    }

    static void set_ms(int64_t ms) { test::host().set_clock(ms * 1000); }

    // One pass at the clock's present time.
    void pass_now() { EXPECT_EQ(vca_event_counting_region_stay_proc(tracks), 0); }

    // One pass some time after the one before.
    void pass(int64_t after_ms = 100) {
        test::host().advance_clock(after_ms * 1000);
        pass_now();
    }

    // A pass with nobody sets the time that the next one is measured from.
    static void start_clock() {
        std::vector<TRACKER_RSLT_S> nobody;
        vca_event_counting_region_stay_proc(nobody);
    }

    TRACKER_RSLT_S& add(POINT_POS_S centre = kCentre) {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        trk.trackId = static_cast<int32_t>(tracks.size());
        trk.age = 10;
        trk.curObj = centred(centre.x, centre.y);
        return trk;
    }

    static char& cell(int row, int col, int region = 0) {
        return cfg().rgnMask[region].mask[row][col];
    }

    // Columns from..to of rows from..to, both inclusive.
    static void fill(int col0, int row0, int col1, int row1, int region = 0) {
        for (int row = row0; row <= row1; ++row)
            std::fill(&cell(row, col0, region), &cell(row, col1, region) + 1, char{1});
    }

    static void fill_all(int region) { fill(0, 0, VCA_MASK_COLS - 1, VCA_MASK_ROWS - 1, region); }

    static void clear_mask(int region = 0) {
        std::memset(&cfg().rgnMask[region], 0, sizeof(VCA_MASK_S));
    }

    const RGN_STAY_S& stay(int region = 0, size_t track = 0) {
        return tracks.at(track).rgnStay[region];
    }

    void expect_stay(int inside, int32_t time_ms, int region = 0, size_t track = 0) {
        EXPECT_EQ(stay(region, track).inRgn, inside);
        EXPECT_EQ(stay(region, track).stayTime, time_ms);
    }

    // All four regions of a track as a person who has been in them for a while.
    void set_inside(size_t track = 0) {
        for (RGN_STAY_S& rgn : tracks.at(track).rgnStay)
            rgn = {1, 700};
    }
};

}  // namespace fix

#endif
