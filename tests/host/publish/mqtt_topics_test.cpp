// Where counts lie on a broker, and what is said there.
#include "host/publish/mqtt_topics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/store/store_folder.h"

namespace {

using host::MqttRole;
using host::MqttTopics;
using nlohmann::json;
using ::testing::ElementsAre;

TEST(MqttTopics, AreThoseOfTheDevice) {
    const MqttTopics topics("museum", "door", MqttRole::kCamera);
    EXPECT_EQ(topics.status(), "vca/museum/door/status");
    EXPECT_EQ(topics.health(), "vca/museum/door/health");
    EXPECT_EQ(topics.event(), "vca/museum/door/event");
    EXPECT_EQ(topics.line("west"), "vca/museum/door/line/west");
    EXPECT_EQ(topics.region("till"), "vca/museum/door/region/till");
    EXPECT_EQ(topics.occupancy("rooms"), "vca/museum/occupancy/rooms");
    EXPECT_EQ(topics.reset("rooms"), "vca/museum/occupancy/rooms/reset");
    EXPECT_EQ(topics.place(), "vca/museum/");
    EXPECT_EQ(topics.id(), "vca_museum_door");
}

TEST(MqttTopics, OfNamesWithCharactersThatHaveAMeaning) {
    const MqttTopics topics("a", "b", MqttRole::kCamera);
    EXPECT_EQ(topics.line("in/out +1 #2 5%"), "vca/a/b/line/in%2Fout %2B1 %232 5%25");
    EXPECT_EQ(topics.region("T\xC3\xBCr\x7f"), "vca/a/b/region/T\xC3\xBCr%7F");
}

TEST(MqttTopics, IdentifiersOfDifferentNamesDiffer) {
    EXPECT_EQ(host::identifier_part("front-door 2"), "front-door_202");
    EXPECT_EQ(host::identifier_part("T\xC3\xBCr"), "T_c3_bcr");
    EXPECT_NE(MqttTopics("a_b", "c", MqttRole::kCamera).id(),
              MqttTopics("a", "b_c", MqttRole::kCamera).id());
}

TEST(MqttTopics, TellWhichAreaIsReset) {
    const MqttTopics topics("a", "place", MqttRole::kPlace);
    EXPECT_EQ(topics.reset_area("vca/a/occupancy/rooms/reset"), "rooms");
    for (const char* const other : {"vca/a/occupancy/rooms", "vca/a/occupancy/reset",
                                    "vca/a/occupancy//reset", "vca/b/occupancy/rooms/reset", ""})
        EXPECT_FALSE(topics.reset_area(other)) << other;
}

TEST(MqttTopics, KnowWhatComesAndGoesWithTheSettings) {
    const MqttTopics camera("a", "b", MqttRole::kCamera);
    EXPECT_THAT(camera.changing_patterns(), ElementsAre("vca/a/b/line/+", "vca/a/b/region/+"));
    EXPECT_TRUE(camera.is_changing(camera.line("x")));
    EXPECT_TRUE(camera.is_changing(camera.region("x/y")));
    EXPECT_FALSE(camera.is_changing(camera.status()));
    EXPECT_FALSE(camera.is_changing(camera.occupancy("x")));
    const MqttTopics place("a", "place", MqttRole::kPlace);
    EXPECT_THAT(place.changing_patterns(), ElementsAre("vca/a/occupancy/+"));
    EXPECT_TRUE(place.is_changing(place.occupancy("x")));
    EXPECT_FALSE(place.is_changing(place.reset("x"))) << "a command is nothing that was told";
}

class MqttStates : public test::StoreFolder {
  protected:
    const MqttTopics topics_{"a", "b", MqttRole::kCamera};
    const host::TimeZone zone_{"UTC"};
};

TEST_F(MqttStates, OfALineAreItsTotalsInBothDirections) {
    host::StoreSetup setup = this->setup();
    setup.lines = {"door", "gone"};
    host::Store store(setup);
    store.commit(test::batch_of(
        {test::crossing(test::kMonday_us), test::crossing(test::kMonday_us + 1'000'000, "door", 2),
         test::crossing(test::kMonday_us + 2'000'000, "door", 1, host::PersonKind::kChild),
         test::crossing(test::kMonday_us + 3'000'000, "door", 1, host::PersonKind::kStaff)}));
    const auto states = host::line_states(topics_, host::StoreReader(path()),
                                          {{"door", {"hinein", "hinaus"}}, {"coming"}}, zone_);
    ASSERT_EQ(states.size(), 1U);
    EXPECT_EQ(states[0].topic, "vca/a/b/line/door");
    json told = json::parse(states[0].payload);
    EXPECT_EQ(told["epoch"].get<std::string>(), store.last().epoch);
    EXPECT_TRUE(told["since"].is_string());
    told.erase("epoch");
    told.erase("since");
    EXPECT_EQ(told, json::parse(R"({"in":3,"out":1,
        "names":{"in":"hinein","out":"hinaus"},
        "kinds":{"in":{"adult":1,"child":1,"staff":1},"out":{"adult":1,"child":0,"staff":0}},
        "sequence":4,"time":"2026-03-02T08:00:03.000+00:00"})"));
}

TEST_F(MqttStates, OfRegionsAreWhoIsThereNow) {
    host::CameraFigures figures;
    figures.regions.push_back({"till", 2, 61'500, host::Histogram(host::kStayBounds_s)});
    const auto states = host::region_states(topics_, figures);
    ASSERT_EQ(states.size(), 1U);
    EXPECT_EQ(states[0].topic, "vca/a/b/region/till");
    EXPECT_EQ(states[0].payload, R"({"now":2,"longest_stay_s":61})");
}

TEST_F(MqttStates, OfHealthNameTheWorstFault) {
    EXPECT_EQ(host::health_state(topics_, {}).payload,
              R"({"problem":"OFF","level":"ok","faults":[]})");
    const json told = json::parse(
        host::health_state(topics_, {{1, host::HealthLevel::kFailed, "x", "It is \xff."},
                                     {2, host::HealthLevel::kDegraded, "y", "And that."}})
            .payload);
    EXPECT_EQ(told["problem"], "ON");
    EXPECT_EQ(told["level"], "failed");
    EXPECT_EQ(told["faults"][1],
              (json{{"fault", "y"}, {"level", "degraded"}, {"text", "And that."}}));
}

TEST_F(MqttStates, OfAnAreaSayWhetherItIsFull) {
    host::Area area{"rooms", {}, 0, {}};
    host::AreaBalance balance;
    balance.in = 5;
    balance.out = 2;
    EXPECT_EQ(host::area_state(topics_, area, balance).payload,
              R"({"inside":3,"in":5,"out":2,"removed":0,"corrections":0})");
    area.capacity = 3;
    EXPECT_EQ(
        host::area_state(topics_, area, balance).payload,
        R"({"inside":3,"in":5,"out":2,"removed":0,"corrections":0,"capacity":3,"level":"full"})");
    area.capacity = 4;
    EXPECT_THAT(host::area_state(topics_, area, balance).payload,
                ::testing::HasSubstr(R"("level":"ok")"));
}

}  // namespace
