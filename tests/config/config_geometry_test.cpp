// Counting lines, their segments, and the polygons of U-turn areas, regions and exclusions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"
#include "tests/support/test_config.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr int kNone = -15360;

VCA_DEV_CFG_S& record() {
    return *dev_get_config();
}

void apply(const VCA_ALGO_CFG_S& cfg) {
    vca_data_init(vca_get_pCtrl_param());
    test::StdoutCapture out;
    test::apply_config(cfg);
}

void expect_segment(int line, int seg, int x0, int y0, int x1, int y1) {
    const LINE_SEG_S& s = record().lineSeg[line][seg];
    EXPECT_THAT((std::vector<int>{s.start.x, s.start.y, s.end.x, s.end.y}),
                ElementsAre(x0, y0, x1, y1))
        << "line " << line << " segment " << seg;
}

void expect_unused(int line, int first) {
    for (int k = first; k < 4; ++k)
        expect_segment(line, k, kNone, kNone, kNone, kNone);
}

TEST(Lines, TwoPointsGiveOneSegment) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 1, {{10, 20}, {30, 40}});
    apply(cfg);
    EXPECT_THAT(record().LineEn, ElementsAre(0, 1, 0, 0));
    EXPECT_EQ(record().line[1].pt[0].x, 10);
    EXPECT_EQ(record().line[1].pt[1].y, 40);
    EXPECT_EQ(record().line[1].pt[2].x, kNone);
    EXPECT_EQ(record().line[1].pt[2].y, kNone);
    expect_segment(1, 0, 10, 20, 30, 40);
    expect_unused(1, 1);
    for (const int line : {0, 2, 3})
        expect_unused(line, 0);
}

TEST(Lines, FivePointsGiveFourSegments) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 3, {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}});
    apply(cfg);
    EXPECT_EQ(record().LineEn[3], 1);
    expect_segment(3, 0, 1, 2, 3, 4);
    expect_segment(3, 1, 3, 4, 5, 6);
    expect_segment(3, 2, 5, 6, 7, 8);
    expect_segment(3, 3, 7, 8, 9, 10);
}

TEST(Lines, HostsEnableHasNoLastingEffect) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{10, 20}, {30, 40}});
    cfg.line[0].LineEn = 0;
    cfg.line[1].LineEn = 1;
    test::set_line(cfg, 2, {{10, 20}});
    apply(cfg);
    EXPECT_THAT(record().LineEn, ElementsAre(1, 0, 0, 0));
}

TEST(Lines, DisabledSecondPointEndsTheLine) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{10, 20}, {30, 40}, {50, 60}});
    cfg.line[0].pt[1].en = 0;
    apply(cfg);
    EXPECT_EQ(record().LineEn[0], 0);
    EXPECT_EQ(record().line[0].pt[1].x, kNone);
    EXPECT_EQ(record().line[0].pt[2].x, 50) << "the point itself is kept";
    expect_unused(0, 0);
}

TEST(Lines, DisabledFirstPointLeavesNothing) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{10, 20}, {30, 40}, {50, 60}});
    cfg.line[0].pt[0].en = 0;
    apply(cfg);
    EXPECT_EQ(record().LineEn[0], 0);
    expect_unused(0, 0);
}

TEST(Lines, EndPointWithoutYKeepsItsXAndTheSegmentLosesItsStart) {
    // Point 1 has a valid x, so the walk goes on through it; its y does not count.
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{10, 20}, {30, kNone}, {50, 60}});
    apply(cfg);
    EXPECT_EQ(record().LineEn[0], 1) << "points 0 and 2 have a valid y";
    expect_segment(0, 0, kNone, kNone, 30, kNone);
    expect_segment(0, 1, 30, kNone, 50, 60);
    expect_unused(0, 2);
}

TEST(Lines, OneValidYIsNotEnough) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{10, 20}, {30, -15360}});
    test::set_line(cfg, 1, {{10, 20}, {30, -15359}});
    test::set_line(cfg, 2, {{-15359, -15359}, {-15359, -15359}});
    test::set_line(cfg, 3, {{10, 20}, {-15360, 5}});
    apply(cfg);
    EXPECT_THAT(record().LineEn, ElementsAre(0, 1, 1, 0));
    expect_segment(1, 0, 10, 20, 30, -15359);
    expect_segment(3, 0, kNone, kNone, -15360, 5);
}

TEST(Lines, CoordinatesFarBelowTheSentinelAreUnusedToo) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{10, 20}, {-2000000000, 5}, {50, 60}});
    apply(cfg);
    EXPECT_EQ(record().LineEn[0], 0);
    EXPECT_EQ(record().lineSeg[0][0].start.x, kNone);
    expect_unused(0, 1);
}

TEST(Lines, NothingOfAnEarlierLineSurvives) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}}, true);
    apply(cfg);
    auto shorter = test::plain_config();
    test::set_line(shorter, 0, {{11, 12}, {13, 14}});
    apply(shorter);
    expect_segment(0, 0, 11, 12, 13, 14);
    expect_unused(0, 1);
    EXPECT_EQ(record().line[0].Flip, 0);
    apply(test::plain_config());
    expect_unused(0, 0);
    EXPECT_EQ(record().LineEn[0], 0);
}

void expect_polygon(const POLYGON_S& poly, int coord, std::vector<test::Point> points) {
    EXPECT_EQ(poly.coord, coord);
    points.resize(10, {kNone, kNone});
    for (size_t k = 0; k < 10; ++k) {
        EXPECT_EQ(poly.x[k], points[k].x) << k;
        EXPECT_EQ(poly.y[k], points[k].y) << k;
    }
}

// The record's mask is what the polygon gives on a cleared grid.
void expect_mask(const VCA_MASK_S& mask, const POLYGON_S& poly) {
    auto fresh = std::make_unique<VCA_MASK_S>();
    std::memset(fresh.get(), 0, sizeof(*fresh));
    test::StdoutCapture out;
    fresh->result = polygon_convert_to_mask(&poly, fresh->mask);
    EXPECT_EQ(std::memcmp(fresh.get(), &mask, sizeof(mask)), 0);
}

const std::vector<test::Point> kSquare = {{100, 100}, {500, 100}, {500, 400}, {100, 400}};

TEST(UturnAreas, ThreeValidPointsAreNeeded) {
    auto cfg = test::plain_config();
    test::set_uturn(cfg, 0, kSquare);
    test::set_uturn(cfg, 1, {{100, 100}, {500, 100}});
    test::set_uturn(cfg, 2, {{100, 100}, {500, 100}, {500, 400}});
    test::set_uturn(cfg, 3, kSquare);
    cfg.line[3].UturnEn = 0;
    apply(cfg);
    EXPECT_THAT(record().UturnEn, ElementsAre(1, 1, 1, 0));
    EXPECT_THAT(record().UturnRgnEn, ElementsAre(1, 0, 1, 1));
    expect_polygon(record().uturnRgn[0], 0, kSquare);
    expect_polygon(record().uturnRgn[1], 0, {{100, 100}, {500, 100}});
    for (int i = 0; i < 4; ++i)
        expect_mask(record().uturnMask[i], record().uturnRgn[i]);
    EXPECT_GT(record().uturnMask[0].result, 0);
    EXPECT_EQ(record().uturnMask[1].result, 0);
}

TEST(UturnAreas, ValidPointsCountAnywhereButTheMaskNeedsThemLeading) {
    auto cfg = test::plain_config();
    std::vector<test::Point> scattered(10, {kNone, kNone});
    scattered[0] = {0, 0};
    scattered[4] = {400, 0};
    scattered[9] = {400, 400};
    test::set_uturn(cfg, 0, scattered);
    test::set_region(cfg, 0, scattered);
    apply(cfg);
    EXPECT_EQ(record().UturnRgnEn[0], 1);
    EXPECT_EQ(record().uturnMask[0].result, 0);
    EXPECT_EQ(record().RgnEnable[0], 1);
    EXPECT_EQ(record().rgnMask[0].result, 0);
}

TEST(UturnAreas, DisabledPointsAreLeftOut) {
    auto cfg = test::plain_config();
    test::set_uturn(cfg, 0, kSquare);
    cfg.line[0].uturn_pt[3].en = 0;
    apply(cfg);
    EXPECT_EQ(record().UturnRgnEn[0], 1);
    expect_polygon(record().uturnRgn[0], 0, {{100, 100}, {500, 100}, {500, 400}});
}

TEST(Regions, EnabledByEitherFlagAndThreePoints) {
    auto cfg = test::plain_config();
    for (int i = 0; i < 4; ++i)
        test::set_region(cfg, i, kSquare);
    cfg.rgn[0].en_a = 1;
    cfg.rgn[1].en_a = 0;
    cfg.rgn[1].en_b = 1;
    cfg.rgn[2].en_a = 0;
    test::set_region(cfg, 3, {{100, 100}, {500, 100}});
    cfg.rgn[3].en_b = 1;
    apply(cfg);
    EXPECT_THAT(record().RgnEnable, ElementsAre(1, 1, 0, 0));
    for (int i = 0; i < 4; ++i)
        expect_mask(record().rgnMask[i], record().rgn[i]);
    EXPECT_GT(record().rgnMask[2].result, 0);
    expect_polygon(record().rgn[3], 0, {{100, 100}, {500, 100}});
}

TEST(Regions, UnusedRegionHasNoPoints) {
    auto cfg = test::plain_config();
    test::set_region(cfg, 0, kSquare);
    cfg.rgn[0].used = 0;
    apply(cfg);
    EXPECT_EQ(record().RgnEnable[0], 0);
    expect_polygon(record().rgn[0], 0, {});
    EXPECT_EQ(record().rgnMask[0].result, 0);
}

TEST(Regions, PointIsValidOnlyWithBothCoordinates) {
    auto cfg = test::plain_config();
    test::set_region(cfg, 0, {{1, 1}, {kNone, 5}, {5, kNone}, {7, 7}});
    test::set_region(cfg, 1, {{1, 1}, {kNone, 5}, {5, kNone}, {7, 7}, {-15359, -15359}});
    apply(cfg);
    EXPECT_THAT(record().RgnEnable, ElementsAre(0, 1, 0, 0));
}

TEST(Regions, MaskIsClearedBeforeItIsFilled) {
    auto cfg = test::plain_config();
    test::set_region(cfg, 0, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    apply(cfg);
    EXPECT_GT(record().rgnMask[0].result, 50000);
    test::set_region(cfg, 0, {{0, 0}, {90, 0}, {90, 90}});
    apply(cfg);
    expect_mask(record().rgnMask[0], record().rgn[0]);
    EXPECT_LT(record().rgnMask[0].result, 1000);
}

TEST(Exclusions, TypesAndValidity) {
    auto cfg = test::plain_config();
    test::set_exclusion(cfg, 0, 0, kSquare);
    test::set_exclusion(cfg, 1, 1, kSquare);
    test::set_exclusion(cfg, 2, 0, {{1, 1}, {9, 9}});
    apply(cfg);
    EXPECT_EQ(record().ExclTotalEn, 1);
    EXPECT_THAT(record().ExclEn, ElementsAre(1, 1, 0, 0));
    EXPECT_THAT(record().ExclType, ElementsAre(1, 0, 1, 1));
    for (int i = 0; i < 4; ++i)
        expect_mask(record().exclMask[i], record().exclRgn[i]);
    expect_polygon(record().exclRgn[0], 1, kSquare);
    expect_polygon(record().exclRgn[3], 1, {});
}

TEST(Exclusions, UnknownTypeKeepsThePreviousOneAndThePolygon) {
    auto cfg = test::plain_config();
    test::set_exclusion(cfg, 0, 7, kSquare);
    apply(cfg);
    EXPECT_EQ(record().ExclType[0], 0) << "nothing was set before";
    EXPECT_EQ(record().ExclEn[0], 1);
    EXPECT_GT(record().exclMask[0].result, 0);
    cfg.excl[0].type = 0;
    apply(cfg);
    EXPECT_EQ(record().ExclType[0], 1);
    cfg.excl[0].type = 0xFFFFFFFFu;
    apply(cfg);
    EXPECT_EQ(record().ExclType[0], 1);
    cfg.excl[0].type = 1;
    apply(cfg);
    EXPECT_EQ(record().ExclType[0], 0);
}

TEST(Exclusions, ColourImageCoordinatesDoNotFollowTheMap) {
    auto cfg = test::plain_config();
    test::set_exclusion(cfg, 0, 0, kSquare);
    apply(cfg);
    const auto before = std::make_unique<VCA_MASK_S>(record().exclMask[0]);
    cfg.cscdMapSize[0] = 300;
    cfg.cscdMapSize[2] = 3000;
    cfg.cscdMapSize[3] = 2000;
    apply(cfg);
    EXPECT_EQ(std::memcmp(before.get(), &record().exclMask[0], sizeof(VCA_MASK_S)), 0);
}

TEST(Exclusions, DisabledPointsBecomeUnused) {
    auto cfg = test::plain_config();
    test::set_exclusion(cfg, 0, 0, kSquare);
    cfg.excl[0].pt[1].en = 0;
    cfg.excl[0].pt[2].en = 0;
    apply(cfg);
    EXPECT_EQ(record().ExclEn[0], 0);
    EXPECT_EQ(record().exclRgn[0].x[1], kNone);
    EXPECT_EQ(record().exclRgn[0].x[3], 100);
    EXPECT_EQ(record().exclMask[0].result, 0);
}

}  // namespace
