// Which slots lines and regions have, by what tracks remember.
#include "host/engine/place_slots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::CountingLine;
using host::CountingRegion;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

CountingLine line(const std::string& name, double x) {
    return {name, {{x, 0.0}, {x, 500.0}}, false, {}, false};
}

CountingRegion region(const std::string& name, double x) {
    return {name, {{x, 0.0}, {x + 50.0, 0.0}, {x, 50.0}}};
}

class Slots : public ::testing::Test {
  protected:
    // The names of those in force, "-" for a slot that counts nobody.
    static std::vector<std::string> names(const host::PlaceSlots& slots) {
        std::vector<std::string> list;
        for (const CountingLine& each : slots.lines())
            list.push_back(each.points.empty() ? "-" : each.name);
        return list;
    }
    static void tell(host::PlaceSlots& slots, int kind, int track, int slot, int detail = 0,
                     float value = -1.0f) {
        host::Decision decision{};
        decision.kind = kind;
        decision.track = track;
        decision.place = slot;
        decision.detail = detail;
        decision.value = value;
        host::Event event;
        event.payload = decision;
        slots.on_event(event);
    }
};

TEST_F(Slots, AreKeptByNameWhateverTheOrder) {
    host::PlaceSlots slots({line("a", 1), line("b", 2)}, {});
    slots.want({line("c", 3), line("b", 2), line("a", 1)}, {});
    EXPECT_THAT(names(slots), ElementsAre("a", "b", "c", "-"));
    slots.want({line("b", 2)}, {});
    EXPECT_THAT(names(slots), ElementsAre("-", "b", "-", "-"));
    EXPECT_EQ(slots.lines()[0].name, "a");  // for what is still told about it
}

TEST_F(Slots, ALineWhoseDirectionsAreCalledOtherwiseKeepsItsOwn) {
    host::PlaceSlots slots({line("a", 1), line("b", 2)}, {});
    CountingLine named = line("b", 2);
    named.directions = {"hinein", "hinaus"};
    slots.want({named, line("a", 1)}, {});
    EXPECT_THAT(names(slots), ElementsAre("a", "b", "-", "-"));
    EXPECT_THAT(slots.lines()[1].directions, ElementsAre("hinein", "hinaus"));
}

TEST_F(Slots, ALineThatIsMovedOrFlippedGetsACleanOne) {
    host::PlaceSlots slots({line("a", 1), line("b", 2)}, {});
    CountingLine flipped = line("b", 2);
    flipped.flip = true;
    slots.want({line("a", 9), flipped}, {});
    EXPECT_THAT(names(slots), ElementsAre("-", "-", "a", "b"));
    EXPECT_THAT(slots.waiting_lines(), IsEmpty());
}

TEST_F(Slots, OneThatWasUsedIsCleanWhenNobodyRemembersIt) {
    host::PlaceSlots slots({line("a", 1), line("b", 2), line("c", 3), line("d", 4)}, {});
    tell(slots, VCA_DECISION_NEAR_LINE, 7, 0, 1);
    tell(slots, VCA_DECISION_NEAR_LINE, 8, 1, 0);  // before it, which leaves nothing
    slots.want({line("a", 11), line("b", 2), line("c", 3), line("d", 4)}, {});
    EXPECT_THAT(slots.waiting_lines(), ElementsAre("a"));
    slots.end_frame({});
    EXPECT_FALSE(slots.could_settle());
    tell(slots, VCA_DECISION_ENDED, 8, -1);
    EXPECT_FALSE(slots.could_settle());
    tell(slots, VCA_DECISION_ENDED, 7, -1);
    EXPECT_TRUE(slots.could_settle());
    EXPECT_TRUE(slots.settle());
    EXPECT_THAT(names(slots), ElementsAre("a", "b", "c", "d"));
    EXPECT_FALSE(slots.could_settle());
    EXPECT_FALSE(slots.settle());
}

TEST_F(Slots, OneThatWasUsedIsParkedForAPassEvenWithoutAnybody) {
    host::PlaceSlots slots({line("a", 1), line("b", 2), line("c", 3), line("d", 4)}, {});
    slots.want({line("a", 11), line("b", 2), line("c", 3), line("d", 4)}, {});
    EXPECT_FALSE(slots.could_settle());
    slots.end_frame({});
    EXPECT_TRUE(slots.could_settle());
}

TEST_F(Slots, OneWithAnOpenGroupIsNotClean) {
    host::PlaceSlots slots({line("a", 1), line("b", 2), line("c", 3), line("d", 4)}, {});
    tell(slots, VCA_DECISION_COUNTED, 7, 0, 1, 3.0f);
    tell(slots, VCA_DECISION_ENDED, 7, -1);
    slots.want({line("a", 11), line("b", 2), line("c", 3), line("d", 4)}, {});
    slots.end_frame({});
    EXPECT_FALSE(slots.could_settle());
    tell(slots, VCA_DECISION_GROUP_CLOSED, -1, 0, 3);
    EXPECT_TRUE(slots.could_settle());
}

TEST_F(Slots, TracksOfOtherListsAreOthers) {
    host::PlaceSlots slots({line("a", 1), line("b", 2), line("c", 3), line("d", 4)}, {});
    tell(slots, VCA_DECISION_CROSSED, 7, 0);
    slots.want({line("b", 2), line("c", 3), line("d", 4), line("e", 5)}, {});
    slots.end_frame({});
    host::Decision ended{};
    ended.kind = VCA_DECISION_ENDED;
    ended.list = VCA_LIST_MERGED;
    ended.track = 7;
    ended.place = -1;
    host::Event event;
    event.payload = ended;
    slots.on_event(event);
    EXPECT_FALSE(slots.could_settle());
    tell(slots, VCA_DECISION_ENDED, 7, -1);
    EXPECT_TRUE(slots.could_settle());
}

TEST_F(Slots, RegionsWaitForAPassOnly) {
    host::PlaceSlots slots({},
                           {region("a", 1), region("b", 100), region("c", 200), region("d", 300)});
    slots.want({}, {region("a", 9), region("b", 100), region("c", 200), region("d", 300)});
    EXPECT_THAT(slots.waiting_regions(), ElementsAre("a"));
    slots.end_frame({});
    EXPECT_TRUE(slots.settle());
    EXPECT_EQ(slots.regions()[0].points[0].x, 9.0);
    slots.want({}, {region("b", 100), region("e", 500)});
    slots.end_frame({});
    slots.want({}, {region("b", 101), region("e", 500)});
    EXPECT_THAT(slots.waiting_regions(), IsEmpty());
}

}  // namespace
