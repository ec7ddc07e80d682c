// The message by which Home Assistant finds a device.
#include "host/publish/home_assistant.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "host/base/version.h"

namespace {

using host::DiscoveredDevice;
using host::discovery_message;
using host::MqttRole;
using host::MqttTopics;
using nlohmann::json;
using ::testing::ElementsAre;

const MqttTopics kEntrance("site", "entrance", MqttRole::kCamera);

DiscoveredDevice entrance() {
    return {"site", "entrance", "http://host:8080/", {{"door"}}, {"till"}, {}, false};
}

json parsed(const DiscoveredDevice& device, const std::string& before = "") {
    return json::parse(discovery_message(kEntrance, device, before));
}

TEST(HomeAssistant, HearsWhatACameraHas) {
    json expected = json::parse(R"({
        "dev": {"ids": ["vca_site_entrance"], "name": "Entrance", "mdl": "overhead counter",
                "sw": "?", "cu": "http://host:8080/", "sa": "Site"},
        "o": {"name": "vca", "sw": "?"},
        "avty": [{"t": "vca/site/entrance/status",
                  "val_tpl": "{{ 'online' if value == 'online' else 'offline' }}"}],
        "cmps": {
            "door_in": {"p": "sensor", "unique_id": "vca_site_entrance_door_in", "name": "Door in",
                        "stat_t": "vca/site/entrance/line/door", "val_tpl": "{{value_json.in}}",
                        "stat_cla": "total_increasing", "unit_of_meas": "people",
                        "ic": "mdi:location-enter"},
            "door_out": {"p": "sensor", "unique_id": "vca_site_entrance_door_out",
                         "name": "Door out", "stat_t": "vca/site/entrance/line/door",
                         "val_tpl": "{{value_json.out}}", "stat_cla": "total_increasing",
                         "unit_of_meas": "people", "ic": "mdi:location-exit"},
            "till_now": {"p": "sensor", "unique_id": "vca_site_entrance_till_now",
                         "name": "At the till", "stat_t": "vca/site/entrance/region/till",
                         "val_tpl": "{{value_json.now}}", "stat_cla": "measurement",
                         "unit_of_meas": "people"},
            "problem": {"p": "binary_sensor", "unique_id": "vca_site_entrance_problem",
                        "name": "Problem", "dev_cla": "problem", "ent_cat": "diagnostic",
                        "stat_t": "vca/site/entrance/health",
                        "val_tpl": "{{value_json.problem}}"}}})");
    expected["dev"]["sw"] = expected["o"]["sw"] = host::version_number();
    EXPECT_EQ(parsed(entrance()), expected);
}

TEST(HomeAssistant, ShowsWhatDirectionsAreCalledAndKnowsThemByTheSameName) {
    const json before = parsed(entrance());
    DiscoveredDevice device = entrance();
    device.lines = {{"door", {"towards the \"bar\"", "home"}}};
    json told = parsed(device, before.dump());
    EXPECT_EQ(told["cmps"]["door_in"]["name"], "Door towards the \"bar\"");
    EXPECT_EQ(told["cmps"]["door_out"]["name"], "Door home");
    told["cmps"]["door_in"]["name"] = "Door in";
    told["cmps"]["door_out"]["name"] = "Door out";
    EXPECT_EQ(told, before) << "a new name is no new sensor";
}

TEST(HomeAssistant, HearsOfTheAreasOfAPlace) {
    DiscoveredDevice place{"site", "site", "", {}, {}, {{"rooms", {}, 0, {}}}, false};
    const MqttTopics topics("site", "place", MqttRole::kPlace);
    json told = json::parse(discovery_message(topics, place, ""));
    EXPECT_FALSE(told["dev"].contains("cu"));
    EXPECT_EQ(told["cmps"].size(), 2U);
    EXPECT_EQ(told["cmps"]["rooms_inside"]["stat_t"], "vca/site/occupancy/rooms");
    EXPECT_EQ(told["cmps"]["rooms_inside"]["stat_cla"], "measurement");
    place.resets = true;
    told = json::parse(discovery_message(topics, place, ""));
    EXPECT_EQ(told["cmps"]["rooms_reset"]["p"], "button");
    EXPECT_EQ(told["cmps"]["rooms_reset"]["cmd_t"], "vca/site/occupancy/rooms/reset");
    EXPECT_EQ(told["cmps"]["rooms_reset"]["pl_prs"], "reset");
}

TEST(HomeAssistant, HasAnIdOfItsOwnForEachName) {
    DiscoveredDevice device = entrance();
    device.lines = {{"a b"}, {"a_20b"}, {"a-b"}, {"problem"}, {"\xC3\xA4"}};
    device.regions = {"a b", "problem", "door_in", "a b_in"};
    std::set<std::string> ids;
    const json told = parsed(device);
    for (const json& component : told["cmps"])
        ids.insert(component["unique_id"].get<std::string>());
    EXPECT_EQ(ids.size(), 5U * 2 + 4 + 1);
    for (const std::string& id : ids) {
        EXPECT_EQ(id.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                       "0123456789_-"),
                  std::string::npos)
            << id;
    }
}

TEST(HomeAssistant, IsToldWhatIsGone) {
    const std::string before = discovery_message(kEntrance, entrance(), "");
    DiscoveredDevice device = entrance();
    device.lines = {{"gate"}};
    const json told = parsed(device, before);
    EXPECT_EQ(told["cmps"]["door_in"], (json{{"p", "sensor"}}));
    EXPECT_EQ(told["cmps"]["door_out"], (json{{"p", "sensor"}}));
    EXPECT_EQ(told["cmps"]["gate_in"]["unique_id"], "vca_site_entrance_gate_in");
    EXPECT_EQ(told["cmps"]["till_now"], parsed(entrance())["cmps"]["till_now"]);
    EXPECT_EQ(parsed(device, told.dump()), told) << "once more says the same";
    EXPECT_EQ(parsed(entrance(), told.dump())["cmps"]["door_in"],
              parsed(entrance())["cmps"]["door_in"])
        << "and it may come back";
}

TEST(HomeAssistant, TakesNoHarmFromWhatOthersPut) {
    const json plain = parsed(entrance());
    for (const char* const before :
         {"", "x", "[]", "1", "{}", R"({"cmps":1})", R"({"cmps":[1]})", R"({"cmps":{"a":1}})",
          R"({"cmps":{"a":{}}})", R"({"cmps":{"a":{"p":1}}})"})
        EXPECT_EQ(parsed(entrance(), before), plain) << before;
    json many = plain;
    for (int i = 0; i < 1000; ++i)
        many["cmps"]["x" + std::to_string(i)] = {{"p", "sensor"}};
    EXPECT_EQ(parsed(entrance(), many.dump())["cmps"].size(), 4U + 100);
}

TEST(HomeAssistant, TopicsOfAMessageAreFoundAgain) {
    const std::string message = discovery_message(kEntrance, entrance(), "");
    EXPECT_EQ(host::status_topic_of(message), kEntrance.status());
    EXPECT_THAT(host::state_topics_of(message),
                ::testing::UnorderedElementsAre(kEntrance.status(), kEntrance.line("door"),
                                                kEntrance.line("door"), kEntrance.region("till"),
                                                kEntrance.health()));
    for (const char* const other : {"", "x", "{}", R"({"avty":[]})", R"({"avty":[{"t":1}]})"})
        EXPECT_EQ(host::status_topic_of(other), "") << other;
    EXPECT_EQ(host::discovery_topic("a"), "homeassistant/device/a/config");
    EXPECT_EQ(host::discovered_id("homeassistant/device/a/config"), "a");
    EXPECT_EQ(host::discovered_id("homeassistant/device/a/other"), "");
    EXPECT_EQ(host::discovered_id("homeassistant/device/config"), "");
}

}  // namespace
