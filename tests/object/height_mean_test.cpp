// History and trimmed mean of the height samples, the clamp, and the out-of-range flag.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <numeric>
#include <random>

#include "tests/track/fixtures.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Mean : testing::Test {
    std::unique_ptr<TRACKER_RSLT_S> trk = fix::new_track(7);

    void SetUp() override {
        fix::set_up_device();
        trk->curObj = fix::box(100, 100, 60, 60);
    }

    // A frame with so many people: another track's update.
    static void see_crowd(int people) {
        const auto other = fix::new_track(8);
        other->age = 7;  // on which no height is measured
        fix::output_of([&] { vca_check_person_info_local(other.get(), people); });
    }

    // The height after all but the last of the samples were there already.
    float height_of(std::vector<float> samples) {
        const float last = samples.back();
        samples.pop_back();
        trk->heightSamples = std::move(samples);
        trk->height = 0;
        vca_dev_deal_obj_height(trk.get(), last);
        return trk->height;
    }
};

TEST_F(Mean, OneAndTwoSamplesAreNotTrimmed) {
    EXPECT_EQ(height_of({1700}), 1700.0f);
    EXPECT_EQ(height_of({1000, 1700}), 1350.0f);
}

TEST_F(Mean, ThreeSamplesLoseTheLargest) {
    EXPECT_EQ(height_of({1000, 1900, 1200}), 1100.0f);
}

TEST_F(Mean, FourSamplesLoseLargestAndSmallest) {
    EXPECT_EQ(height_of({1000, 1900, 1200, 1300}), 1250.0f);
}

TEST_F(Mean, SevenSamplesKeepTheThirdAndFourthSmallest) {
    // three maxima and two minima go
    EXPECT_EQ(height_of({700, 600, 1000, 900, 800, 1200, 1100}), 850.0f);
}

TEST_F(Mean, EightSamplesLoseMinMinMaxMin) {
    // 600, 700, then 1300, then 800: 900 .. 1200 stay
    EXPECT_EQ(height_of({700, 600, 1000, 900, 800, 1200, 1300, 1100}), 1050.0f);
}

TEST_F(Mean, TwelveSamplesLoseTwoLargestAndSixSmallest) {
    // min min max min, min min max min
    std::vector<float> samples(12);
    std::iota(samples.begin(), samples.end(), 0.0f);
    for (float& s : samples)
        s = 600 + 100 * s;
    // 600 .. 1700: 1200 .. 1500 stay
    EXPECT_EQ(height_of(samples), 1350.0f);
}

TEST_F(Mean, NineToElevenSamples) {
    // n - 4 removals of the order min min max | min min min max | ...
    EXPECT_EQ(height_of({600, 700, 800, 900, 1000, 1100, 1200, 1300, 1400}), 1150.0f);
    EXPECT_EQ(height_of({600, 700, 800, 900, 1000, 1100, 1200, 1300, 1400, 1500}), 1250.0f);
    EXPECT_EQ(height_of({600, 700, 800, 900, 1000, 1100, 1200, 1300, 1400, 1500, 1600}), 1250.0f);
}

TEST_F(Mean, MeanIsKeptUntruncatedAndHeightIsTruncated) {
    EXPECT_EQ(height_of({1000, 1001}), 1000.0f);
    EXPECT_THAT(trk->heightMeans, ElementsAre(1000.5f));
}

TEST_F(Mean, OnlyTheNewestMeanCounts) {
    height_of({1700});
    vca_dev_deal_obj_height(trk.get(), 1500.0f);
    EXPECT_THAT(trk->heightMeans, ElementsAre(1600.0f));
    EXPECT_EQ(trk->height, 1600.0f);
}

TEST_F(Mean, SamplesKeepTheirOrder) {
    for (const float h : {1700.0f, 1500.0f, 1600.0f})
        vca_dev_deal_obj_height(trk.get(), h);
    EXPECT_THAT(trk->heightSamples, ElementsAre(1700.0f, 1500.0f, 1600.0f));
}

TEST_F(Mean, LowSamplesAreNotStored) {
    height_of({1700});
    vca_dev_deal_obj_height(trk.get(), 499.0f);
    EXPECT_THAT(trk->heightSamples, ElementsAre(1700.0f));
    EXPECT_EQ(trk->height, 1700.0f);
    vca_dev_deal_obj_height(trk.get(), 500.0f);
    EXPECT_THAT(trk->heightSamples, ElementsAre(1700.0f, 500.0f));
}

TEST_F(Mean, SmallTargetsAreStoredFromTen) {
    trk->curObj.class_id = VCA_CLASS_SMALL;
    vca_dev_deal_obj_height(trk.get(), 9.0f);
    EXPECT_THAT(trk->heightSamples, IsEmpty());
    vca_dev_deal_obj_height(trk.get(), 10.0f);
    EXPECT_THAT(trk->heightSamples, ElementsAre(10.0f));
    EXPECT_EQ(trk->height, 10.0f);
}

TEST_F(Mean, EmptyHistoryIsLiftedToTheClassMinimum) {
    vca_dev_deal_obj_height(trk.get(), 100.0f);
    EXPECT_EQ(trk->height, 500.0f);
    EXPECT_THAT(trk->heightMeans, IsEmpty());
    const auto small = fix::new_track();
    small->curObj.class_id = VCA_CLASS_SMALL;
    vca_dev_deal_obj_height(small.get(), 1.0f);
    EXPECT_EQ(small->height, 10.0f);
}

TEST_F(Mean, HeightIsClampedToTheRangeOfTheClass) {
    EXPECT_EQ(height_of({1979}), 1979.0f);
    EXPECT_EQ(height_of({1980}), 1980.0f);
    EXPECT_EQ(height_of({2400}), 1980.0f);
    EXPECT_THAT(trk->heightMeans, ElementsAre(2400.0f));
    trk->curObj.class_id = VCA_CLASS_SMALL;
    EXPECT_EQ(height_of({1600}), 1500.0f);
    EXPECT_EQ(height_of({1499}), 1499.0f);
    trk->curObj.class_id = 0;
    EXPECT_EQ(height_of({1600}), 1600.0f);
}

TEST_F(Mean, OneSampleIsDroppedPerUpdate) {
    for (int i = 0; i < 12; ++i)
        vca_dev_deal_obj_height(trk.get(), 1000.0f + float(i));
    EXPECT_EQ(trk->heightSamples.size(), 12u);
    vca_dev_deal_obj_height(trk.get(), 1012.0f);
    EXPECT_EQ(trk->heightSamples.size(), 12u);
    EXPECT_EQ(trk->heightSamples.front(), 1001.0f);
    // a crowd shortens the history to 8: appended one, dropped one
    see_crowd(30);
    vca_dev_deal_obj_height(trk.get(), 1013.0f);
    EXPECT_EQ(trk->heightSamples.size(), 12u);
    // a sample that is not stored drops nothing
    vca_dev_deal_obj_height(trk.get(), 0.0f);
    EXPECT_EQ(trk->heightSamples.size(), 12u);
    EXPECT_EQ(trk->heightSamples.front(), 1002.0f);
}

TEST_F(Mean, HistoryIsAsLongAsTheLastFrameAllows) {
    const std::pair<int, size_t> lengths[] = {{0, 12},  {15, 10}, {30, 8},
                                              {100, 8}, {15, 10}, {0, 12}};
    for (const auto& [people, samples] : lengths) {
        see_crowd(people);
        trk->heightSamples.clear();
        for (int i = 0; i < 20; ++i)
            vca_dev_deal_obj_height(trk.get(), 1000.0f + float(i));
        EXPECT_EQ(trk->heightSamples.size(), samples) << people << " people";
    }
}

TEST_F(Mean, ExtremeSamples) {
    vca_dev_deal_obj_height(trk.get(), 1e30f);
    EXPECT_THAT(trk->heightSamples, ElementsAre(1e30f));
    EXPECT_EQ(trk->height, 1980.0f);
    vca_dev_deal_obj_height(trk.get(), -1e30f);
    vca_dev_deal_obj_height(trk.get(), std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(trk->heightSamples.size(), 1u);
}

// Removes by the order of the rule, first of equal values first.
std::vector<float> trim_slowly(std::vector<float> v) {
    const auto drop_max = [&] { v.erase(std::max_element(v.begin(), v.end())); };
    const auto drop_min = [&] { v.erase(std::min_element(v.begin(), v.end())); };
    const size_t n = v.size();
    if (n >= 8)
        for (size_t i = 0; v.size() > 4; ++i)
            i % 4 == 2 ? drop_max() : drop_min();
    else if (n >= 3)
        for (size_t i = 0; v.size() > 2; ++i)
            i % 2 == 0 ? drop_max() : drop_min();
    return v;
}

TEST_F(Mean, AgreesWithThePlainRule) {
    std::mt19937 rng(9);
    for (int i = 0; i < 5000; ++i) {
        const int spread = i % 2 == 0 ? 3 : 1400;  // many equal values, and few
        std::uniform_int_distribution<int> value(550, 550 + spread);
        std::vector<float> samples(std::uniform_int_distribution<size_t>(1, 12)(rng));
        for (float& s : samples)
            s = static_cast<float>(value(rng));
        const auto left = trim_slowly(samples);
        double sum = 0;
        for (const float s : left)
            sum += double{s};
        const auto mean = static_cast<float>(sum / static_cast<double>(left.size()));
        height_of(samples);
        ASSERT_THAT(trk->heightMeans, ElementsAre(mean)) << testing::PrintToString(samples);
        ASSERT_EQ(trk->height, std::clamp(std::trunc(mean), 500.0f, 1980.0f));
    }
}

TEST_F(Mean, HistoryLinesFollowTheHeightSwitch) {
    fix::set_switch(fix::kSwHeight, true);
    trk->age = 3;
    trk->heightSamples = {1000, 1900};
    EXPECT_THAT(fix::printed_by([&] { vca_dev_deal_obj_height(trk.get(), 1200); }),
                ElementsAre("log: $objHeight=1200.00",
                            testing::MatchesRegex("plain: Prev H: 1000[.0]* 1900[.0]* 1200[.0]* 3"),
                            testing::MatchesRegex("plain: Prev vTmpH: 1000[.0]* 1200[.0]* 2"),
                            testing::MatchesRegex("plain: \\$Obj-7 H = 1100[.0]* ok-3")));
    fix::set_switch(fix::kSwHeight, false);
    EXPECT_THAT(fix::printed_by([&] { vca_dev_deal_obj_height(trk.get(), 1200); }), IsEmpty());
}

// ---- Out-of-range flag ----

struct Range : Mean {
    void SetUp() override {
        Mean::SetUp();
        fix::cfg().TargetHeightMin = 1200;
        fix::cfg().TargetHeightMax = 2000;
        trk->age = 2;
    }

    std::vector<std::string> check(float height) {
        trk->height = height;
        return fix::printed_by([this] { dev_obj_height_chk_exceed(trk.get()); });
    }
};

TEST_F(Range, GrossExcessSetsTheFlagAtOnce) {
    EXPECT_THAT(check(1000), ElementsAre("plain: ===Obj[7] H=1000.00 exceed=(1200 2000) ! "));
    EXPECT_EQ(trk->heightExceed, 1);
    EXPECT_EQ(trk->heightExceedCnt, 6);
}

TEST_F(Range, ModerateExcessSetsTheFlagOnTheThirdUpdate) {
    for (int count : {2, 4}) {
        EXPECT_THAT(check(1150), IsEmpty());
        EXPECT_EQ(trk->heightExceedCnt, count);
        EXPECT_EQ(trk->heightExceed, 0);
    }
    EXPECT_THAT(check(1150), ElementsAre("plain: ===Obj[7] H=1150.00 exceed=(1200 2000) ! "));
    EXPECT_EQ(trk->heightExceedCnt, 6);
    EXPECT_EQ(trk->heightExceed, 1);
}

TEST_F(Range, EightyMillimetresAreStillModerate) {
    const struct {
        float height;
        int count;
    } rows[] = {{1120, 2},    {1119.5f, 6}, {1199.5f, 2}, {1200, 0}, {2000, 0},
                {2000.5f, 2}, {2080, 2},    {2080.5f, 6}, {1600, 0}};
    for (const auto& row : rows) {
        trk->heightExceed = 0;
        trk->heightExceedCnt = 0;
        check(row.height);
        EXPECT_EQ(trk->heightExceedCnt, row.count) << row.height;
        EXPECT_EQ(trk->heightExceed, row.count > 4) << row.height;
    }
}

TEST_F(Range, CounterStandsStillWhileTheFlagIsSet) {
    check(1000);
    EXPECT_THAT(check(1000), IsEmpty());
    EXPECT_EQ(trk->heightExceedCnt, 6);
}

TEST_F(Range, CounterDoesNotDecayWhileTheFlagIsClear) {
    check(1150);
    check(1600);
    check(1600);
    check(1150);
    EXPECT_EQ(trk->heightExceedCnt, 4);
    check(1600);
    check(1150);
    EXPECT_EQ(trk->heightExceed, 1);
}

TEST_F(Range, HalfAsManyGoodUpdatesClearTheFlag) {
    check(1000);
    EXPECT_THAT(check(1600), IsEmpty());
    EXPECT_EQ(trk->heightExceedCnt, 4);
    EXPECT_THAT(check(1600), IsEmpty());
    EXPECT_THAT(check(1601.5f), ElementsAre("plain: ===Obj[7] H=1601.50 restore=(1200 2000) ! "));
    EXPECT_EQ(trk->heightExceedCnt, 0);
    EXPECT_EQ(trk->heightExceed, 0);
    EXPECT_THAT(check(1600), IsEmpty());
    EXPECT_EQ(trk->heightExceedCnt, 0);
}

TEST_F(Range, CounterReachesTenFromFour) {
    check(1150);
    check(1150);
    check(1000);
    EXPECT_EQ(trk->heightExceedCnt, 10);
    int updates = 0;
    while (trk->heightExceed && updates < 20) {
        check(1600);
        ++updates;
    }
    EXPECT_EQ(updates, 5);
}

TEST_F(Range, OddCounterClearsTheFlagOnlyBelowOne) {
    trk->heightExceed = 1;
    trk->heightExceedCnt = 3;
    EXPECT_THAT(check(1600), IsEmpty());
    EXPECT_EQ(trk->heightExceedCnt, 1);
    EXPECT_EQ(trk->heightExceed, 1);
    EXPECT_THAT(check(1600), testing::SizeIs(1));
    EXPECT_EQ(trk->heightExceedCnt, -1);
    EXPECT_EQ(trk->heightExceed, 0);
}

TEST_F(Range, FlagWithoutACountStays) {
    trk->heightExceed = 1;
    EXPECT_THAT(check(1600), IsEmpty());
    EXPECT_EQ(trk->heightExceedCnt, 0);
    EXPECT_EQ(trk->heightExceed, 1);
}

TEST_F(Range, FirstTwoUpdatesAreNotJudged) {
    for (const int age : {0, 1}) {
        trk->age = age;
        EXPECT_THAT(check(1000), IsEmpty());
        EXPECT_EQ(trk->heightExceedCnt, 0);
    }
}

TEST_F(Range, SmallTargetsAreNeverFlagged) {
    check(1000);
    trk->curObj.class_id = VCA_CLASS_SMALL;
    EXPECT_THAT(check(1000), IsEmpty());
    EXPECT_EQ(trk->heightExceed, 0);
    EXPECT_EQ(trk->heightExceedCnt, 6);
    trk->age = 0;
    trk->heightExceed = 1;
    check(1000);
    EXPECT_EQ(trk->heightExceed, 0);
}

}  // namespace
