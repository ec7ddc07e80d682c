// The rectangle that is cropped around a track's box.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "tests/object/human_attr_fixture.h"

namespace {

using attr::HumanAttr;
using fix::box;
using fix::Rect;
using test::host;
using testing::SizeIs;

struct Crop : HumanAttr {
    Rect crop_of(const DET_OBJ_S& obj) {
        trk->age = 0;
        trk->curObj = obj;
        host().clear_calls();
        update();
        const auto steps = host().attr_calls();
        if (steps.size() != 2 || steps[0].kind != test::AttrCall::kCrop) return {-1, -1, -1, -1};
        const VCA_RGN_S& rgn = steps[0].rgn;
        return {rgn.x, rgn.y, rgn.width, rgn.height};
    }

    void image_size(uint32_t width, uint32_t height) {
        real.width = width;
        real.height = height;
    }
};

TEST_F(Crop, BoxGrowsByFifteenPercentAboutItsCentre) {
    const struct {
        DET_OBJ_S body;
        Rect crop;
    } rows[] = {
        // centre (450, 240): 1.15 * 100 = 115, 1.15 * 80 = 92
        {box(400, 200, 100, 80), {393, 194, 115, 92}},
        // odd sizes: centre (400 + 50, 200 + 40), trunc(116.15) and trunc(93.15)
        {box(400, 200, 101, 81), {392, 194, 116, 93}},
        // trunc(22.99..) would be 22 for a product that is not rounded to single precision
        {box(400, 200, 20, 40), {399, 197, 23, 46}},
        // double precision gives 206.99.., single 207
        {box(300, 100, 180, 200), {287, 85, 207, 230}},
        {box(300, 100, 60, 260), {296, 81, 69, 299}},
        // trunc(1.15) = 1, trunc(3.45) = 3, trunc(8.05) = 8
        {box(300, 100, 1, 1), {300, 100, 1, 1}},
        {box(300, 100, 3, 7), {300, 99, 3, 8}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(crop_of(row.body), row.crop) << testing::PrintToString(fix::rect(row.body));
}

TEST_F(Crop, EveryWidthIsTheSinglePrecisionProduct) {
    for (int w = 1; w <= 830; ++w) {
        const volatile float factor = 1.15f;
        const volatile float product = factor * static_cast<float>(w);
        ASSERT_EQ(crop_of(box(10, 200, w, 50))[2], static_cast<int>(product)) << w;
    }
}

TEST_F(Crop, StaysInsideTheImage) {
    const struct {
        DET_OBJ_S body;
        Rect crop;
    } rows[] = {
        // left: centre 50, 50 - 57 = -7
        {box(0, 200, 100, 80), {0, 194, 115, 92}},
        {box(8, 200, 100, 80), {1, 194, 115, 92}},
        {box(7, 200, 100, 80), {0, 194, 115, 92}},
        // top: centre 40, 40 - 46 = -6
        {box(400, 0, 100, 80), {393, 0, 115, 92}},
        // right: the last column is left out, 960 - 115 - 1 = 844
        {box(860, 200, 100, 80), {844, 194, 115, 92}},
        {box(851, 200, 100, 80), {844, 194, 115, 92}},
        {box(850, 200, 100, 80), {843, 194, 115, 92}},
        // bottom: 544 - 92 - 1 = 451
        {box(400, 464, 100, 80), {393, 451, 115, 92}},
        {box(400, 457, 100, 80), {393, 451, 115, 92}},
        {box(400, 456, 100, 80), {393, 450, 115, 92}},
        // a corner
        {box(900, 500, 100, 80), {844, 451, 115, 92}},
        // outside
        {box(-500, -400, 100, 80), {0, 0, 115, 92}},
        {box(5000, 4000, 100, 80), {844, 451, 115, 92}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(crop_of(row.body), row.crop) << testing::PrintToString(fix::rect(row.body));
}

TEST_F(Crop, IsSmallerThanTheImage) {
    // 834 * 1.15 = 959.1, 835 * 1.15 = 960.25; 472 * 1.15 = 542.8, 473 * 1.15 = 543.95
    EXPECT_EQ(crop_of(box(63, 36, 833, 471)), Rect({1, 1, 957, 541}));
    EXPECT_EQ(crop_of(box(63, 36, 834, 472)), Rect({0, 1, 959, 542}));
    EXPECT_EQ(crop_of(box(62, 35, 835, 473)), Rect({0, 0, 959, 543}));
    EXPECT_EQ(crop_of(box(0, 0, 2000, 3000)), Rect({0, 0, 959, 543}));
    EXPECT_EQ(crop_of(box(0, 0, INT_MAX, INT_MAX)), Rect({0, 0, 959, 543}));
}

TEST_F(Crop, EmptyBoxesGiveOnePixel) {
    EXPECT_EQ(crop_of(box(300, 100, 0, 0)), Rect({300, 100, 1, 1}));
    // centre 300 + -40 / 2 = 280, 100 + -31 / 2 = 85
    EXPECT_EQ(crop_of(box(300, 100, -40, -31)), Rect({280, 85, 1, 1}));
    EXPECT_EQ(crop_of(box(959, 543, 0, 0)), Rect({958, 542, 1, 1}));
    EXPECT_EQ(crop_of(box(-1, -1, 0, 0)), Rect({0, 0, 1, 1}));
}

TEST_F(Crop, BoundsAreTheImagesOwn) {
    image_size(640, 480);
    EXPECT_EQ(crop_of(box(600, 440, 100, 80)), Rect({640 - 116, 480 - 93, 115, 92}));
    // other working sizes have no part in it
    for (auto& size : vca_get_pCtrl_param()->img_size)
        size = {50, 50};
    EXPECT_EQ(crop_of(box(600, 440, 100, 80)), Rect({640 - 116, 480 - 93, 115, 92}));
}

TEST_F(Crop, UpperBoundsWinInImagesOfHardlyAPixel) {
    // The lower bound comes first: min(max(v, 1), W - 1), then min(max(x, 0), W - w - 1).
    image_size(1, 1);  // w = 0; the upper bound of x is 1 - 0 - 1 = 0
    EXPECT_EQ(crop_of(box(400, 200, 100, 80)), Rect({0, 0, 0, 0}));
    image_size(0, 0);  // w = -1; the upper bound of x is 0 + 1 - 1 = 0
    EXPECT_EQ(crop_of(box(400, 200, 100, 80)), Rect({0, 0, -1, -1}));
    EXPECT_EQ(crop_of(box(-400, -200, 0, 0)), Rect({0, 0, -1, -1}));
    image_size(2, 2);  // w = 1; 2 - 1 - 1 = 0
    EXPECT_EQ(crop_of(box(400, 200, 100, 80)), Rect({0, 0, 1, 1}));
    image_size(3, 1);
    EXPECT_EQ(crop_of(box(2, 0, 1, 1)), Rect({1, 0, 1, 0}));
    image_size(0, 544);
    EXPECT_EQ(crop_of(box(400, 200, 100, 80)), Rect({0, 194, -1, 92}));
    image_size(960, 0);
    EXPECT_EQ(crop_of(box(400, 200, 100, 80)), Rect({393, 0, 115, -1}));
}

TEST_F(Crop, WildNumbersKeepToTheImage) {
    const int32_t numbers[] = {INT_MIN, INT_MIN + 1, -65536, -1, 0, 1, 959, 65536, INT_MAX};
    for (const int32_t pos : numbers) {
        for (const int32_t length : numbers) {
            const Rect crop = crop_of(box(pos, pos, length, length));
            EXPECT_GE(crop[0], 0);
            EXPECT_GE(crop[1], 0);
            EXPECT_GE(crop[2], 1);
            EXPECT_GE(crop[3], 1);
            EXPECT_LT(crop[0] + crop[2], 960);
            EXPECT_LT(crop[1] + crop[3], 544);
        }
    }
}

TEST_F(Crop, WildImageSizesDoNoHarm) {
    for (const uint32_t size : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        image_size(size, size);
        crop_of(box(400, 200, 100, 80));
        EXPECT_THAT(trk->attrSamples, testing::Not(testing::IsEmpty()));
    }
}

TEST_F(Crop, TrackBoxCountsNotThePositionBox) {
    fix::cfg().StandAloneTrkMd = VCA_POSITION_HEAD;
    trk->headBox = box(10, 10, 20, 20);
    trk->rawObj = box(600, 400, 20, 20);
    EXPECT_EQ(crop_of(box(400, 200, 100, 80)), Rect({393, 194, 115, 92}));
}

TEST_F(Crop, ImageThatWasNeverCreatedIsHandedOverAsItIs) {
    vca_trk_obj_destroy_img(&trk->attrImg);
    for (int i = 0; i < 4; ++i)
        update();
    EXPECT_THAT(trk->attrSamples, SizeIs(4));
    EXPECT_EQ(trk->attrImg.plane_addr, 0u);
}

}  // namespace
