// Stories of tracks: which decisions they hold, and the sentence for each fate.
#include "host/score/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::Decision;
using host::Event;
using host::Story;
using host::StoryBook;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const host::StoryNames kNames{{"door", "gate"}, {"till"}};

// A decision about track 7.
Decision about(VCA_DECISION_E kind, int place = -1, int detail = 0, float value = 0.0f,
               float limit = 0.0f) {
    return {kind, 0, VCA_LIST_LOCAL, 7, place, detail, 480, 272, value, limit};
}

class Fate : public ::testing::Test {
  protected:
    // The sentence for a track that was born and could count, and of which this was decided.
    static std::string why(std::vector<Decision> decisions) {
        decisions.insert(decisions.begin(), about(VCA_DECISION_COUNTABLE));
        return story_sentence(story(std::move(decisions)), kNames);
    }

    static Story story(std::vector<Decision> decisions) {
        decisions.insert(decisions.begin(), about(VCA_DECISION_BORN));
        decisions.push_back(about(VCA_DECISION_ENDED, -1, VCA_ENDED_LOST, 5, 4));
        StoryBook book;
        std::int64_t frame = 0;
        for (const Decision& decision : decisions) {
            const double time_s = static_cast<double>(frame) / 10.0;
            EXPECT_THAT(book.add({host::kDecisionId, frame++, time_s, decision}), IsEmpty());
        }
        frame += StoryBook::kReturnFrames;
        EXPECT_THAT(book.add({6077, frame - 1, 0.0, host::InstallHeight{3000}}), IsEmpty());
        const std::vector<Story> ended = book.add({6077, frame, 0.0, host::InstallHeight{3000}});
        EXPECT_THAT(ended, SizeIs(1));
        EXPECT_THAT(book.rest(), IsEmpty());
        return ended.at(0);
    }
};

TEST_F(Fate, Counted) {
    EXPECT_EQ(
        why({about(VCA_DECISION_NEAR_LINE, 1, 0, 9, 22), about(VCA_DECISION_CROSSED, 1, 0, 30, 22),
             about(VCA_DECISION_COUNTED, 1, VCA_DIR_2, -1, 0)}),
        "was counted on line gate in direction 2");
    EXPECT_EQ(why({about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, 3, 2)}),
              "was counted on line door in direction 1 in group 3, as number 2");
    EXPECT_EQ(why({about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, 3, 1)}),
              "was counted on line door in direction 1 as the first of group 3");
    EXPECT_EQ(why({about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, -1, 0),
                   about(VCA_DECISION_COUNTED, 0, VCA_DIR_2, -1, 0)}),
              "was counted on line door in direction 1 and in 2");
    EXPECT_EQ(why({about(VCA_DECISION_NEAR_LINE, 0, 1, 12, 26),
                   about(VCA_DECISION_AT_END, 0, VCA_DIR_1, 5, 12),
                   about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, -1, 0)}),
              "was counted on line door in direction 1 when the track ended, 5 passes after it was "
              "seen 12 px past it");
}

TEST_F(Fate, NotCountedOnALine) {
    EXPECT_EQ(why({about(VCA_DECISION_NEAR_LINE, 0, 0, 20, 22),
                   about(VCA_DECISION_NEAR_LINE, 0, 0, 14, 22),
                   about(VCA_DECISION_NEAR_LINE, 0, 0, 21, 22)}),
              "came within 14 px of line door and did not cross it");
    EXPECT_EQ(why({about(VCA_DECISION_NEAR_LINE, 0, 1, 8, 22),
                   about(VCA_DECISION_NEAR_LINE, 0, 1, 14, 22),
                   about(VCA_DECISION_NEAR_LINE, 0, 1, 3, 22)}),
              "went 14 px past line door, 22 px were needed, and went back");
    EXPECT_EQ(
        why({about(VCA_DECISION_WAITS, 0, VCA_DIR_1, 1), about(VCA_DECISION_TURNED_BACK, 0, 0, 2)}),
        "turned back on line door");
    EXPECT_EQ(why({about(VCA_DECISION_WAITS, 0, VCA_DIR_1, 1)}),
              "crossed line door and was lost before leaving its U-turn area");
    EXPECT_EQ(why({about(VCA_DECISION_CROSSED, 0, 0, 30, 22),
                   about(VCA_DECISION_SAME_SIDE, 0, VCA_DIR_1)}),
              "crossed line door to the side where their last crossing ended");
    EXPECT_EQ(why({about(VCA_DECISION_NOT_COUNTING, 0, VCA_DIR_1)}),
              "crossed line door while counting was off");
}

TEST_F(Fate, TheEndOfTheRunIsNoLoss) {
    Story told = story({about(VCA_DECISION_WAITS, 0, VCA_DIR_1, 1)});
    told.steps.back().decision.detail = VCA_ENDED_STOPPED;
    EXPECT_EQ(story_sentence(told, kNames),
              "crossed line door and was still in its U-turn area when the run ended");
}

TEST_F(Fate, OfADevicesOwnTrack) {
    host::StoryNames site = kNames;
    site.counts_merged = true;
    Story told = story({});
    EXPECT_EQ(story_sentence(told, site),
              "was followed for the site, whose merged tracks are counted");
    told.list = VCA_LIST_MERGED;
    EXPECT_EQ(story_sentence(told, site), "was seen too briefly to count");
}

TEST_F(Fate, EachLineHasItsClause) {
    EXPECT_EQ(why({about(VCA_DECISION_COUNTED, 1, VCA_DIR_1, -1, 0),
                   about(VCA_DECISION_NEAR_LINE, 0, 0, 14, 22)}),
              "came within 14 px of line door and did not cross it; was counted on line gate in "
              "direction 1");
}

TEST_F(Fate, OfThePersonAsAWhole) {
    EXPECT_EQ(why({}), "came near no line");
    EXPECT_EQ(story_sentence(story({}), kNames), "was seen too briefly to count");
    EXPECT_EQ(why({about(VCA_DECISION_HEIGHT_OUT, -1, 0, 700, 800)}),
              "measured 700 mm, which is below the limit of 800 mm for counting");
    EXPECT_EQ(why({about(VCA_DECISION_HEIGHT_OUT, -1, 0, 2400, 2200),
                   about(VCA_DECISION_HEIGHT_BACK, -1, 0, 2100)}),
              "came near no line");
    EXPECT_EQ(why({about(VCA_DECISION_FURNITURE, -1, 0, 61, 61)}),
              "stood still with a low score, as furniture does");
    EXPECT_EQ(why({about(VCA_DECISION_FURNITURE, -1, 0, 61, 61),
                   about(VCA_DECISION_NO_FURNITURE, -1, 0, 4, 4)}),
              "came near no line");
    EXPECT_EQ(why({about(VCA_DECISION_ENTERED, 0), about(VCA_DECISION_LEFT, 0, 0, 900),
                   about(VCA_DECISION_ENTERED, 0), about(VCA_DECISION_STAFF, -1, 0, 2, 2)}),
              "was in region till; is staff");
}

TEST(LeftOut, IsToldAsACountThatDoesNotCount) {
    StoryBook book;
    const auto add = [&book](const host::Payload& payload) { book.add({0, 3, 0.1, payload}); };
    add(about(VCA_DECISION_BORN));
    add(about(VCA_DECISION_COUNTABLE));
    add(about(VCA_DECISION_AT_END, 0, VCA_DIR_1, 40, 5));
    add(about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, -1, 0));
    host::PersonCounted counted;
    counted.track = 7;
    counted.at_end = {VCA_LIST_LOCAL, 40, -60.0};
    add(host::CountLeftOut{counted, VCA_LIST_LOCAL, host::LeftOut::kWentBack});
    const std::vector<Story> stories = book.rest();
    ASSERT_EQ(stories.size(), 1u);
    EXPECT_EQ(story_sentence(stories[0], kNames),
              "touched line door and went back, so that a count in direction 1 when the track "
              "ended was left out");
    EXPECT_EQ(step_text(stories[0].steps.back(), kNames),
              "left out, having gone back: counted on line door in direction 1");
}

TEST(LeftOut, IsToldOfACrossingAfterTheLastFrame) {
    StoryBook book;
    const auto add = [&book](const host::Payload& payload) { book.add({0, 3, 0.1, payload}); };
    add(about(VCA_DECISION_BORN));
    add(about(VCA_DECISION_CROSSED, 0, VCA_DIR_1, 70, 21));
    add(about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, -1, 0));
    host::PersonCounted counted;
    counted.track = 7;
    add(host::CountLeftOut{counted, VCA_LIST_LOCAL, host::LeftOut::kUnseen});
    const std::vector<Story> stories = book.rest();
    ASSERT_EQ(stories.size(), 1u);
    EXPECT_EQ(story_sentence(stories[0], kNames),
              "was near line door when the source ended, so that a count in direction 1 after its "
              "last frame was left out");
    EXPECT_EQ(step_text(stories[0].steps.back(), kNames),
              "left out, after the last frame: counted on line door in direction 1");
}

TEST(Step, SaysWhatWasDecidedAndByWhat) {
    const auto text = [](const Decision& decision) {
        return step_text({0, 0.0, decision}, kNames);
    };
    EXPECT_EQ(text(about(VCA_DECISION_BORN, -1, 0, 0.95f, 0.5f)), "appeared with a score of 0.95");
    EXPECT_EQ(text(about(VCA_DECISION_COUNTABLE)), "can be counted from here on");
    EXPECT_EQ(text(about(VCA_DECISION_ENDED, -1, VCA_ENDED_LOST, 5, 4)),
              "was not seen for 5 passes: the track ended");
    EXPECT_EQ(text(about(VCA_DECISION_ENDED, -1, VCA_ENDED_STOPPED, 0, 4)),
              "was there when the run ended");
    EXPECT_EQ(text(about(VCA_DECISION_FURNITURE, -1, 0, 61, 61)),
              "stood still with a low score for 61 updates: taken for furniture");
    EXPECT_EQ(text(about(VCA_DECISION_NO_FURNITURE)), "moved: not furniture after all");
    EXPECT_EQ(text(about(VCA_DECISION_HEIGHT_OUT, -1, 0, 700, 800)),
              "measured 700 mm, with a limit of 800 mm: does not count");
    EXPECT_EQ(text(about(VCA_DECISION_HEIGHT_BACK, -1, 0, 900)), "measured 900 mm: counts again");
    EXPECT_EQ(text(about(VCA_DECISION_PROMOTED, -1, 0, 1500, 1500)),
              "measured 1500 mm: a person, not a small object");
    EXPECT_EQ(text(about(VCA_DECISION_GENDER, -1, VCA_GENDER_FEMALE)), "taken for a woman");
    EXPECT_EQ(text(about(VCA_DECISION_GENDER, -1, VCA_GENDER_MALE)), "taken for a man");
    EXPECT_EQ(text(about(VCA_DECISION_STAFF)), "recognised as staff");
    EXPECT_EQ(text(about(VCA_DECISION_NEAR_LINE, 0, 0, 3, 22)), "3 px before line door");
    EXPECT_EQ(text(about(VCA_DECISION_NEAR_LINE, 0, 1, 9, 22)),
              "9 px past line door, 22 px are needed");
    EXPECT_EQ(text(about(VCA_DECISION_CROSSED, 1, 0, 30, 22)),
              "crossed line gate: 30 px past it, 22 px are needed");
    EXPECT_EQ(text(about(VCA_DECISION_SAME_SIDE, 1, VCA_DIR_1)),
              "crossed line gate to the side where their last crossing ended: not counted");
    EXPECT_EQ(text(about(VCA_DECISION_WAITS, 1, VCA_DIR_2, 1)),
              "crossed line gate in direction 2: decided on leaving the U-turn area");
    EXPECT_EQ(text(about(VCA_DECISION_TURNED_BACK, 1)),
              "left the U-turn area of line gate on the side it came from: not counted");
    EXPECT_EQ(text(about(VCA_DECISION_AT_END, 0, VCA_DIR_1, 5, 12)),
              "was 12 px past line door when last near it, 5 passes ago: enough at the end of a "
              "track");
    EXPECT_EQ(text(about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, -1, 0)),
              "counted on line door in direction 1");
    EXPECT_EQ(text(about(VCA_DECISION_COUNTED, 0, VCA_DIR_1, 3, 2)),
              "counted on line door in direction 1 in group 3, as number 2");
    EXPECT_EQ(text(about(VCA_DECISION_NOT_COUNTING, 0, VCA_DIR_1)),
              "crossed line door in direction 1 while counting was off");
    EXPECT_EQ(text(about(VCA_DECISION_ENTERED, 0)), "entered region till");
    EXPECT_EQ(text(about(VCA_DECISION_LEFT, 0, 0, 533)), "left region till after 0.5 s");
    EXPECT_EQ(text(about(VCA_DECISION_MERGED, 9, 0)), "is track 9 of the master");
    EXPECT_EQ(text(about(VCA_DECISION_MERGED, 9, 5)), "is track 9 of slave 4");
}

TEST_F(Fate, ApproachesInARowAreOneStep) {
    const Story told = story(
        {about(VCA_DECISION_NEAR_LINE, 0, 0, 20, 22), about(VCA_DECISION_NEAR_LINE, 0, 0, 14, 22),
         about(VCA_DECISION_NEAR_LINE, 1, 0, 5, 22), about(VCA_DECISION_NEAR_LINE, 0, 0, 9, 22)});
    std::vector<float> values;
    for (const host::StoryStep& step : told.steps)
        values.push_back(step.decision.value);
    EXPECT_THAT(values, ElementsAre(0, 14, 5, 9, 5));
    EXPECT_EQ(told.steps[1].frame, 1);
}

TEST_F(Fate, AStoryHasABoundButKeepsCountsAndItsEnd) {
    std::vector<Decision> decisions;
    for (int i = 0; i < 300; ++i)
        decisions.push_back(about(VCA_DECISION_SAME_SIDE, 0, VCA_DIR_1));
    decisions.push_back(about(VCA_DECISION_COUNTED, 0, VCA_DIR_2, -1, 0));
    const Story told = story(decisions);
    EXPECT_THAT(told.steps, SizeIs(Story::kMostSteps + 2));
    EXPECT_EQ(told.left_out, 101);
    EXPECT_EQ(told.steps.back().decision.kind, VCA_DECISION_ENDED);
}

TEST(StoryBook, KeepsListsApartAndGivesTheRestAtTheEnd) {
    StoryBook book;
    Decision local = about(VCA_DECISION_BORN);
    Decision merged = local;
    merged.list = VCA_LIST_MERGED;
    EXPECT_THAT(book.add({host::kDecisionId, 1, 0.1, local}), IsEmpty());
    EXPECT_THAT(book.add({host::kDecisionId, 1, 0.1, merged}), IsEmpty());
    Decision nobody = about(VCA_DECISION_EXCLUDED, 0);
    nobody.track = -1;
    EXPECT_THAT(book.add({host::kDecisionId, 1, 0.1, nobody}), IsEmpty());
    EXPECT_THAT(book.add({6077, 1, 0.1, host::InstallHeight{3000}}), IsEmpty());
    EXPECT_THAT(book.rest(), SizeIs(2));
    EXPECT_THAT(book.rest(), IsEmpty());
}

// The tracker may report somebody again under the same id after the library has let him go.
TEST(StoryBook, WhoComesBackGoesOn) {
    StoryBook book;
    EXPECT_THAT(book.add({host::kDecisionId, 1, 0.1, about(VCA_DECISION_BORN)}), IsEmpty());
    EXPECT_THAT(book.add({host::kDecisionId, 9, 0.9, about(VCA_DECISION_ENDED)}), IsEmpty());
    EXPECT_THAT(book.add({host::kDecisionId, 15, 1.5, about(VCA_DECISION_BORN)}), IsEmpty());
    EXPECT_THAT(book.add({6077, 200, 20.0, host::InstallHeight{3000}}), IsEmpty());
    const std::vector<Story> rest = book.rest();
    ASSERT_THAT(rest, SizeIs(1));
    EXPECT_THAT(rest[0].steps, SizeIs(3));
}

TEST(Story, EveryKindHasAName) {
    for (int kind = VCA_DECISION_BORN; kind <= VCA_DECISION_STAFF; ++kind)
        EXPECT_STRNE(host::decision_name(kind), "unknown") << kind;
    for (int kind = VCA_DECISION_NEAR_LINE; kind <= VCA_DECISION_GROUP_CLOSED; ++kind)
        EXPECT_STRNE(host::decision_name(kind), "unknown") << kind;
    EXPECT_STREQ(host::decision_name(1000), "unknown");
    EXPECT_EQ(host::story_name(kNames.lines, 1), "gate");
    EXPECT_EQ(host::story_name(kNames.lines, 2), "3");
}

}  // namespace
