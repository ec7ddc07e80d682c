// Merge of colour and depth detections: which boxes reach the merged list.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "tests/detect/merge_fixture.h"

namespace {

using fix::box;
using fix::centred;
using fix::patterned;
using fix::Rect;
using testing::ElementsAre;
using testing::IsEmpty;

using Merge = MergeFixture;

TEST_F(Merge, ColourBoxesComeFirstThenDepthBoxes) {
    add(real, box(100, 100, 50, 50));
    add(real, box(0, 0, 50, 50));  // colour boxes may touch the border
    add(depth, box(300, 100, 60, 60));
    EXPECT_EQ(merge(), 0);
    EXPECT_THAT(merged(),
                ElementsAre(Rect{100, 100, 50, 50}, Rect{0, 0, 50, 50}, Rect{300, 100, 60, 60}));
}

TEST_F(Merge, WithoutColourBoxesEveryInnerDepthBoxEnters) {
    add(depth, box(100, 100, 50, 50));
    add(depth, box(100, 100, 50, 50));  // depth boxes are not compared with each other
    merge();
    EXPECT_EQ(out->num, 2);
}

TEST_F(Merge, EmptyListsGiveAnEmptyList) {
    out->num = 9;
    EXPECT_EQ(merge(), 0);
    EXPECT_EQ(out->num, 0);
}

TEST_F(Merge, OverlapOfExactlyATenthIsAdded) {
    // shared 10 x 40 = 400 of 2200 + 2200 - 400 = 4000 pixels
    add(real, box(100, 100, 55, 40));
    add(depth, box(145, 100, 55, 40));
    merge();
    EXPECT_EQ(out->num, 2);
}

TEST_F(Merge, OverlapAboveATenthIsCovered) {
    // shared 11 x 40 = 440 of 3960 pixels
    add(real, box(500, 400, 55, 40));
    add(real, box(100, 100, 55, 40));
    add(depth, box(144, 100, 55, 40));
    merge();
    EXPECT_EQ(out->num, 2);
}

TEST_F(Merge, DepthBoxAddedEarlierCoversNobody) {
    add(real, box(700, 300, 40, 40));
    add(depth, box(100, 100, 50, 50));
    add(depth, box(102, 100, 50, 50));
    merge();
    EXPECT_EQ(out->num, 3);
}

TEST_F(Merge, EmptyDepthBoxAgainstEmptyColourBoxIsNoOverlap) {
    fix::cfg().InstallHeight = 4801;
    add(real, box(300, 300, 0, 0));
    add(depth, box(100, 100, 0, 0));
    merge();
    EXPECT_EQ(out->num, 2);
}

TEST_F(Merge, DepthBoxesKeepClearOfTheBorder) {
    // 960 x 540: x and y above 19, right edge below 941, lower edge below 521
    const struct {
        DET_OBJ_S obj;
        bool kept;
    } rows[] = {{box(19, 100, 40, 40), false},  {box(20, 100, 40, 40), true},
                {box(100, 19, 40, 40), false},  {box(100, 20, 40, 40), true},
                {box(901, 100, 40, 40), false}, {box(900, 100, 40, 40), true},
                {box(100, 481, 40, 40), false}, {box(100, 480, 40, 40), true},
                {box(-5, 100, 40, 40), false},  {box(INT_MAX, 100, 40, 40), true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(fix::rect(row.obj)));
        depth->num = 0;
        add(depth, row.obj);
        merge();
        EXPECT_EQ(out->num, row.kept ? 1 : 0);
    }
}

TEST_F(Merge, FullListTakesNoDepthBox) {
    for (int i = 0; i < 128; ++i)
        add(real, box(0, 0, 30, 30));
    add(depth, box(300, 300, 40, 40));
    merge();
    EXPECT_EQ(out->num, 128);
    EXPECT_EQ(fix::rect(out->objs[127]), Rect({0, 0, 30, 30}));
}

TEST_F(Merge, LastFreePlaceGoesToTheFirstDepthBox) {
    for (int i = 0; i < 127; ++i)
        add(real, box(0, 0, 30, 30));
    add(depth, box(10, 300, 40, 40));  // in the border band: takes no place
    add(depth, box(300, 300, 41, 40));
    add(depth, box(500, 300, 42, 40));
    merge();
    EXPECT_EQ(out->num, 128);
    EXPECT_EQ(fix::rect(out->objs[127]), Rect({300, 300, 41, 40}));
}

TEST_F(Merge, CountsOutsideTheCapacityAreBroughtIntoRange) {
    add(depth, box(300, 300, 40, 40));
    for (const int num : {-1, -5000, INT_MIN}) {
        real->num = num;
        merge();
        EXPECT_EQ(out->num, 1) << num;
    }
    real->num = 0;
    for (auto& obj : real->objs)
        obj = box(0, 0, 30, 30);
    for (const int num : {129, 5000, INT_MAX}) {
        real->num = num;
        merge();
        EXPECT_EQ(out->num, 128) << num;
    }
    real->num = 0;
    for (auto& obj : depth->objs)
        obj = box(300, 300, 40, 40);
    for (const int num : {129, 5000, INT_MAX}) {
        depth->num = num;
        merge();
        EXPECT_EQ(out->num, 128) << num;
    }
    depth->num = -7;
    merge();
    EXPECT_EQ(out->num, 0);
}

TEST_F(Merge, WritesOnlyCountAndBoxesAndReadsOnly) {
    fix::cfg().InstallHeight = 4801;
    add(real, patterned(1));
    add(depth, patterned(2));
    depth->objs[0].x = 500;
    real->raw_objs[0] = patterned(3);
    const auto real_before = std::make_unique<DET_OBJECTS_S>(*real);
    const auto depth_before = std::make_unique<DET_OBJECTS_S>(*depth);
    std::memset(static_cast<void*>(out.get()), 0xA5, sizeof(*out));
    auto want = std::make_unique<DET_OBJECTS_S>(*out);
    want->num = 2;
    want->objs[0] = real->objs[0];
    want->objs[1] = depth->objs[0];
    merge();
    EXPECT_TRUE(fix::same(*out, *want));
    EXPECT_TRUE(fix::same(*real, *real_before));
    EXPECT_TRUE(fix::same(*depth, *depth_before));
}

TEST_F(Merge, SizeFilterUpToFourThousandEightHundred) {
    const struct {
        int height;
        int w, h;
        bool kept;
    } rows[] = {{4800, 24, 40, false}, {4800, 25, 40, true}, {4800, 40, 24, false},
                {4800, 40, 25, true},  {4801, 24, 24, true}, {4801, 0, 0, true},
                {3000, 24, 24, false}, {3000, 25, 25, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.height << ' ' << row.w << 'x' << row.h);
        fix::cfg().InstallHeight = row.height;
        real->num = 0;
        add(real, box(100, 100, row.w, row.h));
        merge();
        EXPECT_EQ(out->num, row.kept ? 1 : 0);
    }
}

struct Exclusion : MergeFixture {
    void SetUp() override {
        MergeFixture::SetUp();
        fix::cfg().ExclTotalEn = 1;
        fix::cfg().ExclEn[0] = 1;
        fix::cfg().ExclType[0] = 1;
    }

    bool dropped(const DET_OBJ_S& obj) {
        real->num = 0;
        add(real, obj);
        merge();
        return out->num == 0;
    }
};

TEST_F(Exclusion, DropsBoxesWhoseCentreFallsInASetCell) {
    // columns of 3 pixels: 300..302 are cell 100; rows of 540 / 181 = 2.98: 269..271 are cell 90
    fix::cfg().exclMask[0].mask[90][100] = 1;
    EXPECT_TRUE(dropped(centred(300, 269)));
    EXPECT_TRUE(dropped(centred(302, 271)));
    EXPECT_FALSE(dropped(centred(299, 270)));
    EXPECT_FALSE(dropped(centred(303, 270)));
    EXPECT_FALSE(dropped(centred(300, 268)));
    EXPECT_FALSE(dropped(centred(300, 272)));
}

TEST_F(Exclusion, AlsoDropsDepthBoxes) {
    fix::cfg().exclMask[0].mask[90][100] = 1;
    add(depth, centred(301, 270));
    add(depth, centred(601, 270));
    merge();
    EXPECT_THAT(merged(), ElementsAre(fix::rect(centred(601, 270))));
}

TEST_F(Exclusion, CentreHalvesTruncate) {
    fix::cfg().exclMask[0].mask[90][100] = 1;
    // 275 + 51 / 2 = 300
    EXPECT_TRUE(dropped(box(275, 250, 51, 41)));
    EXPECT_FALSE(dropped(box(274, 250, 51, 41)));
}

TEST_F(Exclusion, SwitchesOfTheRegion) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    std::memset(cfg.exclMask[0].mask, 1, sizeof(cfg.exclMask[0].mask));
    EXPECT_TRUE(dropped(centred(480, 270)));
    cfg.ExclTotalEn = 0;
    EXPECT_FALSE(dropped(centred(480, 270)));
    cfg.ExclTotalEn = 1;
    cfg.ExclEn[0] = 0;
    EXPECT_FALSE(dropped(centred(480, 270)));
    cfg.ExclEn[0] = 1;
    cfg.ExclType[0] = 0;
    EXPECT_FALSE(dropped(centred(480, 270)));
}

TEST_F(Exclusion, EveryRegionIsLookedAt) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    for (int r = 1; r < 4; ++r) {
        std::memset(&cfg.ExclEn, 0, sizeof(cfg.ExclEn));
        EXPECT_FALSE(dropped(centred(480, 270)));
        cfg.ExclEn[r] = 1;
        cfg.ExclType[r] = 1;
        cfg.exclMask[r].mask[90][160] = 1;
        EXPECT_TRUE(dropped(centred(480, 270))) << r;
    }
}

TEST_F(Exclusion, CentresOutsideTheGridAreNeverExcluded) {
    VCA_DEV_CFG_S& cfg = fix::cfg();
    std::memset(cfg.exclMask[0].mask, 1, sizeof(cfg.exclMask[0].mask));
    EXPECT_TRUE(dropped(centred(959, 270)));   // column 319.67
    EXPECT_FALSE(dropped(centred(960, 270)));  // column 320
    EXPECT_TRUE(dropped(centred(480, 539)));   // row 180.66
    EXPECT_FALSE(dropped(centred(480, 540)));  // row 181
    EXPECT_TRUE(dropped(centred(-2, 270)));    // column -0.67 truncates to 0
    EXPECT_FALSE(dropped(centred(-3, 270)));   // column -1
    EXPECT_TRUE(dropped(centred(480, -2)));
    EXPECT_FALSE(dropped(centred(480, -3)));
    EXPECT_FALSE(dropped(box(INT_MAX, INT_MAX, 40, 40)));
    EXPECT_FALSE(dropped(box(INT_MIN, INT_MIN, 40, 40)));
}

float iou_slowly(const DET_OBJ_S& a, const DET_OBJ_S& b) {
    const int w = std::max(0, std::min(a.x + a.w, b.x + b.w) - std::max(a.x, b.x));
    const int h = std::max(0, std::min(a.y + a.h, b.y + b.h) - std::max(a.y, b.y));
    const auto both = static_cast<float>(w * h);
    return both / (static_cast<float>(a.w * a.h) + static_cast<float>(b.w * b.h) - both);
}

bool excluded_slowly(const DET_OBJ_S& obj) {
    const VCA_DEV_CFG_S& cfg = fix::cfg();
    const POINT_POS_S c = fix::centre(obj);
    const float column = static_cast<float>(c.x) * (320.0f / 960.0f);
    const float row = static_cast<float>(c.y) * (181.0f / 540.0f);
    if (column <= -1.0f || row <= -1.0f || column >= 320.0f || row >= 181.0f) return false;
    for (int r = 0; r < 4; ++r)
        if (cfg.ExclEn[r] && cfg.ExclType[r] == 1 &&
            cfg.exclMask[r].mask[static_cast<int>(row)][static_cast<int>(column)])
            return true;
    return false;
}

std::vector<DET_OBJ_S> merge_slowly(const DET_OBJECTS_S& real, const DET_OBJECTS_S& depth) {
    std::vector<DET_OBJ_S> work(real.objs, real.objs + real.num);
    for (int i = 0; i < depth.num; ++i) {
        const DET_OBJ_S& d = depth.objs[i];
        const bool covered = std::any_of(real.objs, real.objs + real.num, [&](const DET_OBJ_S& r) {
            return iou_slowly(d, r) > 0.1f;
        });
        const bool inner = d.x >= 20 && d.y >= 20 && d.x + d.w <= 940 && d.y + d.h <= 520;
        if (work.size() < 128 && !covered && inner) work.push_back(d);
    }
    std::erase_if(work, [](const DET_OBJ_S& obj) {
        return excluded_slowly(obj) ||
               (fix::cfg().InstallHeight <= 4800 && std::min(obj.w, obj.h) < 25);
    });
    return work;
}

TEST_F(Exclusion, MergeAgreesWithThePlainRule) {
    std::mt19937 rng(6);
    const auto uniform = [&](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo, hi)(rng);
    };
    VCA_DEV_CFG_S& cfg = fix::cfg();
    for (int round = 0; round < 1500; ++round) {
        cfg.InstallHeight = uniform(4799, 4802);
        for (int r = 0; r < 4; ++r) {
            cfg.ExclEn[r] = uniform(0, 1) != 0;
            cfg.ExclType[r] = uniform(0, 1);
            for (int k = 0; k < 40; ++k)
                cfg.exclMask[r].mask[uniform(0, 180)][uniform(0, 319)] = 1;
        }
        const auto fill = [&](DET_OBJECTS_S& list, int count) {
            list.num = count;
            for (int i = 0; i < count; ++i)
                list.objs[i] = box(uniform(-30, 950), uniform(-30, 530), uniform(15, 200),
                                   uniform(15, 200), 0.5f, static_cast<uint8_t>(i));
        };
        fill(*real, round % 50 == 0 ? uniform(120, 128) : uniform(0, 6));
        fill(*depth, uniform(0, 30));
        const auto want = merge_slowly(*real, *depth);
        merge();
        ASSERT_EQ(out->num, static_cast<int>(want.size()));
        for (size_t i = 0; i < want.size(); ++i)
            ASSERT_TRUE(fix::same(out->objs[i], want[i]));
    }
}

}  // namespace
