// The vote over a track's samples: gender by sums that must beat the best so far, staff by hits
// among the newest samples; what is printed of both.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/object/human_attr_fixture.h"

namespace {

using attr::empty_samples;
using attr::gender_sample;
using attr::HumanAttr;
using attr::staff_sample;
using test::host;
using testing::ElementsAre;
using testing::IsEmpty;

using Samples = std::vector<HUMAN_ATTR_S>;

Samples genders(size_t count, float male, float female) {
    return Samples(count, gender_sample(male, female));
}

// `count` empty samples but for staff hits at the given places.
Samples hits_at(size_t count, const std::vector<size_t>& places, float score = 0.5f) {
    Samples samples(count);
    for (const size_t place : places)
        samples[place] = staff_sample(1, score);
    return samples;
}

struct Vote : HumanAttr {
    int32_t gender_after(const Samples& samples, int32_t kept, float max) {
        trk->genderKeep = kept;
        trk->genderMaxProb = max;
        vote(samples);
        return trk->genderKeep;
    }
};

using GenderVote = Vote;
using StaffVote = Vote;
using VoteText = Vote;

// ---- Gender ----

TEST_F(GenderVote, LargestSumWins) {
    // 4 * 0.75 = 3 against 4 * 0.125 = 0.5 and 4 * 0.125
    EXPECT_EQ(gender_after(genders(4, 0.75f, 0.125f), 0, 0), 1);
    EXPECT_EQ(trk->genderMaxProb, 3.0f);
    EXPECT_EQ(gender_after(genders(4, 0.125f, 0.75f), 0, 0), 2);
    EXPECT_EQ(trk->genderMaxProb, 3.0f);
    // unknown: 1 - 0.125 - 0.125 = 0.75
    EXPECT_EQ(gender_after(genders(4, 0.125f, 0.125f), 1, 0), 0);
    EXPECT_EQ(trk->genderMaxProb, 3.0f);
}

TEST_F(GenderVote, OnlyALargerSumReplacesTheStored) {
    EXPECT_EQ(gender_after(genders(4, 0.75f, 0.125f), 2, 3.0f), 2) << "3.0 is not above 3.0";
    EXPECT_EQ(trk->genderMaxProb, 3.0f);
    EXPECT_EQ(gender_after(genders(4, 0.75f, 0.125f), 2, std::nextafterf(3.0f, 0.0f)), 1);
    EXPECT_EQ(trk->genderMaxProb, 3.0f);
    EXPECT_EQ(gender_after(genders(4, 0.125f, 0.75f), 1, 3.0f), 1);
    EXPECT_EQ(gender_after(genders(4, 0.125f, 0.75f), 1, std::nextafterf(3.0f, 0.0f)), 2);
    EXPECT_EQ(gender_after(genders(4, 0.125f, 0.125f), 1, 3.0f), 1);
    EXPECT_EQ(gender_after(genders(4, 0.125f, 0.125f), 1, std::nextafterf(3.0f, 0.0f)), 0);
}

TEST_F(GenderVote, TiesKeepTheEarlierOfMaleFemaleUnknown) {
    EXPECT_EQ(gender_after(genders(2, 0.5f, 0.5f), 0, 0), 1);
    EXPECT_EQ(trk->genderMaxProb, 1.0f);
    EXPECT_EQ(gender_after(genders(2, 0.0f, 0.5f), 0, 0), 2) << "female and unknown are even";
    EXPECT_EQ(gender_after(genders(2, 0.5f, 0.0f), 0, 0), 1) << "male and unknown are even";
}

TEST_F(GenderVote, BestIsRaisedFromOneComparisonToTheNext) {
    // male 1.25, female 1.5, unknown 1.25: each beats 1.0, the second stays
    const Samples samples = {gender_sample(0.5f, 0.25f), gender_sample(0.25f, 0.75f),
                             gender_sample(0.25f, 0.25f), gender_sample(0.25f, 0.25f)};
    EXPECT_EQ(gender_after(samples, 0, 1.0f), 2);
    EXPECT_EQ(trk->genderMaxProb, 1.5f);
    // male 1, female 1.25, unknown 1.75
    const Samples unknown = {gender_sample(0.25f, 0.5f), gender_sample(0.25f, 0.25f),
                             gender_sample(0.25f, 0.25f), gender_sample(0.25f, 0.25f)};
    EXPECT_EQ(gender_after(unknown, 1, 0.5f), 0);
    EXPECT_EQ(trk->genderMaxProb, 1.75f);
}

TEST_F(GenderVote, OnlyValidSamplesCount) {
    Samples samples = genders(6, 0.5f, 0.25f);
    samples[1].gender_valid = 0;
    samples[4].gender_valid = 0;
    samples[1].prob_female = samples[4].prob_female = 50.0f;
    EXPECT_EQ(gender_after(samples, 0, 0), 1);
    EXPECT_EQ(trk->genderMaxProb, 2.0f);
    EXPECT_EQ(trk->genderMean, 0.5f);
}

TEST_F(GenderVote, BestClassOfTheSamplesIsNotRead) {
    Samples samples = genders(2, 0.75f, 0.25f);
    for (auto& sample : samples)
        sample.gender = VCA_GENDER_FEMALE;
    EXPECT_EQ(gender_after(samples, 0, 0), 1);
}

TEST_F(GenderVote, SumsOverTheWholeList) {
    gender_after(genders(20, 0.75f, 0.25f), 0, 0);
    EXPECT_EQ(trk->genderMaxProb, 15.0f);
    // A gender decided on a full list stands against every later list.
    gender_after(genders(20, 0.25f, 0.75f), 1, 15.0f);
    EXPECT_EQ(trk->genderKeep, 1);
}

TEST_F(GenderVote, MeanIsOfTheMaleProbability) {
    vote({gender_sample(0.25f, 0.5f), gender_sample(0.5f, 0.5f), gender_sample(1.0f, 0.0f),
          staff_sample(1, 0.5f)});
    EXPECT_EQ(trk->genderMean, static_cast<float>(1.75f / 3.0f));
}

TEST_F(GenderVote, MeanWithoutValidSamplesIsNotANumber) {
    trk->genderMean = 0.5f;
    trk->genderKeep = 2;
    vote(empty_samples(3));
    EXPECT_TRUE(std::isnan(trk->genderMean)) << trk->genderMean;
    EXPECT_EQ(trk->genderKeep, 2);
    EXPECT_EQ(trk->genderMaxProb, 0.0f);
}

TEST_F(GenderVote, SumsThatAreNotNumbersChangeNothing) {
    EXPECT_EQ(gender_after({gender_sample(NAN, NAN)}, 2, 0.5f), 2);
    EXPECT_EQ(trk->genderMaxProb, 0.5f);
    EXPECT_TRUE(std::isnan(trk->genderMean));
    // 1 - NaN - 0.75 is NaN too
    EXPECT_EQ(gender_after({gender_sample(NAN, 0.75f)}, 1, 0.5f), 2);
    EXPECT_EQ(trk->genderMaxProb, 0.75f);
}

TEST_F(GenderVote, ZerosOfFailedCallsAreAVoteForUnknown) {
    EXPECT_EQ(gender_after(genders(4, 0, 0), 1, 3.0f), 0);
    EXPECT_EQ(trk->genderMaxProb, 4.0f);
    EXPECT_EQ(gender_after(genders(3, 0, 0), 1, 3.0f), 1);
}

TEST_F(GenderVote, NothingHappensWithoutSamples) {
    trk->staffChkCnt = 1;
    trk->genderKeep = 2;
    trk->genderMean = 0.25f;
    attr::set_switch(attr::kSwAttr, true);
    EXPECT_THAT(fix::printed_by([&] { vote({}); }), IsEmpty());
    EXPECT_EQ(trk->staffChkCnt, 1u);
    EXPECT_EQ(trk->genderKeep, 2);
    EXPECT_EQ(trk->genderMean, 0.25f);
}

TEST_F(GenderVote, DecisionOfOneTrackStaysWithIt) {
    auto other = fix::new_track(6);
    other->attrSamples = genders(4, 0.125f, 0.75f);
    vote(genders(4, 0.75f, 0.125f));
    vca_obj_update_human_attr(other.get());
    EXPECT_EQ(trk->genderKeep, 1);
    EXPECT_EQ(other->genderKeep, 2);
}

TEST_F(GenderVote, SumGrowsFromUpdateToUpdate) {
    host().gender_answer = test::GenderAnswer{1, 0.75f, 0.125f};
    for (int i = 0; i < 40; ++i)
        update();
    // ten of twenty samples are the classifier's
    EXPECT_EQ(trk->genderKeep, 1);
    EXPECT_EQ(trk->genderMaxProb, 7.5f);
    host().gender_answer = test::GenderAnswer{2, 0.25f, 0.75f};
    for (int i = 0; i < 40; ++i)
        update();
    EXPECT_EQ(trk->genderKeep, 1) << "7.5 is not above 7.5";
    host().gender_answer = test::GenderAnswer{2, 0.125f, 0.875f};
    for (int i = 0; i < 40; ++i)
        update();
    EXPECT_EQ(trk->genderKeep, 2);
    EXPECT_EQ(trk->genderMaxProb, 8.75f);
}

// ---- Staff ----

TEST_F(StaffVote, OneHitIsNeverEnough) {
    for (int i = 0; i < 10; ++i) {
        vote(hits_at(5, {2}));
        EXPECT_EQ(trk->staffChkCnt, 1u);
        EXPECT_EQ(trk->staffKeep, 0);
        EXPECT_EQ(trk->staffConf, 0.0f);
    }
}

TEST_F(StaffVote, TwoHitsInOneVoteMakeItStaffForGood) {
    vote(hits_at(5, {0, 4}));
    EXPECT_EQ(trk->staffChkCnt, 2u);
    EXPECT_EQ(trk->staffKeep, 1);
    for (int i = 0; i < 10; ++i)
        vote(empty_samples(20));
    EXPECT_EQ(trk->staffKeep, 1);
    EXPECT_EQ(trk->staffChkCnt, 2u) << "kept once it has reached 2";
}

TEST_F(StaffVote, CountBelowTwoDoesNotCarryOver) {
    vote(hits_at(5, {4}));
    EXPECT_EQ(trk->staffChkCnt, 1u);
    vote(empty_samples(5));
    EXPECT_EQ(trk->staffChkCnt, 0u);
    trk->staffChkCnt = 1;
    vote(hits_at(5, {4}));
    EXPECT_EQ(trk->staffChkCnt, 1u);
    EXPECT_EQ(trk->staffKeep, 0);
}

TEST_F(StaffVote, OnlyTheNewestFiveCount) {
    const struct {
        size_t count;
        std::vector<size_t> places;
        uint32_t counted;
    } rows[] = {{6, {0, 5}, 1},    {6, {1, 5}, 2},      {20, {14, 15}, 1},
                {20, {15, 19}, 2}, {20, {0, 1, 14}, 0}, {5, {0, 1}, 2},
                {2, {0, 1}, 2},    {1, {0}, 1},         {4, {0, 3}, 2}};
    // at every installation height alike
    for (const int32_t install_mm : {0, 2000, 3000, 4000, 6000, 9000}) {
        fix::cfg().InstallHeight = install_mm;
        for (const auto& row : rows) {
            trk->staffChkCnt = 0;
            trk->staffKeep = 0;
            vote(hits_at(row.count, row.places));
            const auto places = testing::PrintToString(row.places);
            EXPECT_EQ(trk->staffChkCnt, row.counted) << places << " at " << install_mm;
            EXPECT_EQ(trk->staffKeep, row.counted == 2 ? 1 : 0) << places << " at " << install_mm;
        }
    }
}

TEST_F(StaffVote, OnlyHitsOfValidSamplesCount) {
    Samples samples = {staff_sample(0, 0.9f), staff_sample(2, 0.9f), staff_sample(-1, 0.9f),
                       staff_sample(1, 0.25f), staff_sample(1, 0.9f)};
    samples[4].staff_valid = 0;
    vote(samples);
    EXPECT_EQ(trk->staffChkCnt, 1u);
    EXPECT_EQ(trk->staffKeep, 0);
}

TEST_F(StaffVote, CountingStopsAtTwo) {
    vote(hits_at(5, {0, 1, 2, 3, 4}));
    EXPECT_EQ(trk->staffChkCnt, 2u);
}

TEST_F(StaffVote, ConfidenceIsTheBestOfTheCountedScores) {
    Samples samples = hits_at(5, {1, 2});
    samples[0] = staff_sample(0, 0.875f);  // no hit
    samples[1].staff_score = 0.75f;
    samples[2].staff_score = 0.5f;
    samples[3] = staff_sample(1, 1.0f);  // the count is at 2 already
    vote(samples);
    EXPECT_EQ(trk->staffConf, 0.75f);
    // and stays as it was at the decision
    vote(hits_at(5, {0, 1, 2, 3, 4}, 1.0f));
    EXPECT_EQ(trk->staffConf, 0.75f);
}

TEST_F(StaffVote, LaterScoreCanBeTheBest) {
    Samples samples = hits_at(20, {0, 16, 18});
    samples[0].staff_score = 1.0f;  // too old
    samples[16].staff_score = 0.25f;
    samples[18].staff_score = 0.625f;
    vote(samples);
    EXPECT_EQ(trk->staffConf, 0.625f);
}

TEST_F(StaffVote, CountOfTwoDecidesAgainWhenTheDecisionWasTakenAway) {
    // As the mask of a switched-off detection leaves it.
    trk->staffChkCnt = 2;
    trk->staffKeep = 0;
    trk->staffConf = 0.75f;
    vote(empty_samples(5));
    EXPECT_EQ(trk->staffKeep, 1);
    EXPECT_EQ(trk->staffConf, 0.0f) << "no score was counted in this vote";
}

TEST_F(StaffVote, OtherValuesOfTheDecisionAreReplaced) {
    trk->staffKeep = 2;
    vote(hits_at(5, {0, 1}, 0.5f));
    EXPECT_EQ(trk->staffKeep, 1);
    EXPECT_EQ(trk->staffConf, 0.5f);
}

TEST_F(StaffVote, GenderAndStaffShareTheList) {
    vote({gender_sample(0.75f, 0.25f), staff_sample(1, 0.5f), gender_sample(0.75f, 0.25f),
          staff_sample(1, 0.25f)});
    EXPECT_EQ(trk->genderKeep, 1);
    EXPECT_EQ(trk->genderMaxProb, 1.5f);
    EXPECT_EQ(trk->staffKeep, 1);
    EXPECT_EQ(trk->staffConf, 0.5f);
}

// Staff who are recognised by every look: how many updates it takes. Two looks must fall into five
// samples, so from a sampling of every 5th update on a track is never decided.
TEST_F(StaffVote, UpdatesUntilAStaffTrackIsDecided) {
    const struct {
        int32_t count;
        int updates;
    } rows[] = {{0, 4}, {7, 4}, {8, 5}, {15, 6}, {19, 6}, {20, 0}, {30, 0}};
    host().staff_answer = test::StaffAnswer{1, 0.5f};
    for (const auto& row : rows) {
        auto fresh = fix::new_track(9);
        int decided = 0;
        for (int i = 1; i <= 300 && decided == 0; ++i) {
            vca_obj_deal_human_attr(fresh.get(), &real, row.count);
            ++fresh->age;
            if (fresh->staffKeep == 1) decided = i;
        }
        EXPECT_EQ(decided, row.updates) << row.count;
    }
}

// ---- Texts ----

TEST_F(VoteText, VoteIsPrintedWithTheSwitch) {
    const Samples samples = {gender_sample(0.75f, 0.125f), staff_sample(1, 0.5f),
                             staff_sample(1, 0.25f)};
    EXPECT_THAT(fix::printed_by([&] { vote(samples); }), IsEmpty());
    attr::set_switch(attr::kSwAttr, true);
    trk->trackId = -7;
    EXPECT_THAT(fix::printed_by([&] { vote(samples); }),
                ElementsAre("plain: Attr: ", "log: [-7] Gender=1 MaxProb=0.750",
                            "log: [-7] Staff=1 chkCnt=2 chkMax=5"));
    for (const auto& line : fix::lines_of(fix::output_of([&] { vote(samples); }))) {
        if (line.text != "Attr: ") {
            EXPECT_EQ(line.function, "vca_obj_update_human_attr");
        }
    }
}

TEST_F(VoteText, NumbersAreThoseAfterTheVote) {
    attr::set_switch(attr::kSwAttr, true);
    trk->genderMaxProb = 0.0625f;
    EXPECT_THAT(fix::printed_by([&] { vote(hits_at(3, {1})); }),
                ElementsAre("plain: Attr: ", "log: [5] Gender=0 MaxProb=0.062",
                            "log: [5] Staff=0 chkCnt=1 chkMax=5"));
    EXPECT_THAT(fix::printed_by([&] { vote(genders(20, 0.125f, 0.8125f)); }),
                ElementsAre("plain: Attr: ", "log: [5] Gender=2 MaxProb=16.250",
                            "log: [5] Staff=0 chkCnt=0 chkMax=5"));
}

TEST_F(VoteText, SampleAndDecisionsWithTheirLabels) {
    attr::set_switch(attr::kSwAttr, true);
    const struct {
        int32_t sample_gender, sample_staff, keep_gender, keep_staff;
        const char *obj, *kept;
    } rows[] = {
        {1, 1, 2, 0, "log: Obj[5] Gender(1)=Male Staff(1 0.63)=Staff",
         "log: Trk[5] Gender(2)=Female Staff(0)=Comm"},
        {2, 0, 1, 1, "log: Obj[5] Gender(2)=Female Staff(0 0.63)=Comm",
         "log: Trk[5] Gender(1)=Male Staff(1)=Staff"},
        {0, 2, 0, -1, "log: Obj[5] Gender(0)=Unknown Staff(2 0.63)=Comm",
         "log: Trk[5] Gender(0)=Unknown Staff(-1)=Comm"},
        {3, -1, -1, 2, "log: Obj[5] Gender(3)=Unknown Staff(-1 0.63)=Comm",
         "log: Trk[5] Gender(-1)=Unknown Staff(2)=Comm"},
    };
    for (const auto& row : rows) {
        HUMAN_ATTR_S sample = staff_sample(row.sample_staff, 0.63f);
        sample.gender = row.sample_gender;
        trk->genderKeep = row.keep_gender;
        trk->staffKeep = row.keep_staff;
        const auto print = [&] { vca_obj_print_attr_info(trk.get(), &sample); };
        EXPECT_THAT(fix::printed_by(print), ElementsAre(row.obj, row.kept));
        for (const auto& line : fix::lines_of(fix::output_of(print)))
            EXPECT_EQ(line.function, "vca_obj_print_attr_info");
        attr::set_switch(attr::kSwAttr, false);
        EXPECT_THAT(fix::printed_by(print), IsEmpty());
        attr::set_switch(attr::kSwAttr, true);
    }
}

TEST_F(VoteText, UpdatePrintsVoteThenSampleThenDecision) {
    attr::set_switch(attr::kSwAttr, true);
    host().gender_answer = test::GenderAnswer{2, 0.25f, 0.625f};
    host().staff_answer = test::StaffAnswer{1, 0.875f};
    EXPECT_THAT(fix::printed_by([&] { update(); }),
                ElementsAre("plain: Attr: ", "log: [5] Gender=2 MaxProb=0.625",
                            "log: [5] Staff=0 chkCnt=0 chkMax=5",
                            "log: Obj[5] Gender(2)=Female Staff(0 0.00)=Comm",
                            "log: Trk[5] Gender(2)=Female Staff(0)=Comm"));
    EXPECT_THAT(fix::printed_by([&] { update(); }),
                ElementsAre("plain: Attr: ", "log: [5] Gender=2 MaxProb=0.625",
                            "log: [5] Staff=0 chkCnt=1 chkMax=5",
                            "log: Obj[5] Gender(0)=Unknown Staff(1 0.88)=Staff",
                            "log: Trk[5] Gender(2)=Female Staff(0)=Comm"));
    attr::set_switch(attr::kSwAttr, false);
    EXPECT_THAT(fix::printed_by([&] { update(); }), IsEmpty());
}

TEST_F(VoteText, DecisionIsPrintedBeforeTheConfigurationMasksIt) {
    fix::cfg().GenderRecognize = 0;
    attr::set_switch(attr::kSwAttr, true);
    host().gender_answer = test::GenderAnswer{1, 0.75f, 0.125f};
    const auto printed = fix::printed_by([&] { update(); });
    ASSERT_EQ(printed.size(), 5u);
    EXPECT_EQ(printed[4], "log: Trk[5] Gender(1)=Male Staff(0)=Comm");
    EXPECT_EQ(trk->genderKeep, 0);
}

}  // namespace
