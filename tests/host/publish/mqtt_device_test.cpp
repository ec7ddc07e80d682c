// A device on a broker: every event in its order, whatever the broker does, and how things stand.
#include "host/publish/mqtt_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>
#include <thread>

#include "fake_broker.h"
#include "tests/host/store/store_folder.h"

namespace {

using host::MqttDevice;
using host::MqttDeviceNow;
using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<int> numbers(int from, int to) {
    std::vector<int> list(static_cast<std::size_t>(to - from + 1));
    std::iota(list.begin(), list.end(), from);
    return list;
}

class Publishing : public test::StoreFolder {
  protected:
    Publishing() : broker_(std::make_unique<test::FakeBroker>()) {}

    host::MqttDeviceSetup device_setup(host::MqttRole role = host::MqttRole::kCamera) {
        host::MqttDeviceSetup device;
        device.broker.port = broker_->port();
        device.broker.reconnect_first_s = 0.02;
        device.broker.reconnect_longest_s = 0.1;
        device.place = "shop";
        device.name = role == host::MqttRole::kCamera ? "entrance" : "place";
        device.role = role;
        device.database = path();
        device.time_zone = "UTC";
        device.pause = std::chrono::milliseconds(20);
        device.patience = std::chrono::seconds(120);
        device.wake = [] {};
        device.say = [this](host::LogLevel, const std::string& sentence) {
            const std::lock_guard lock(mutex_);
            said_.push_back(sentence);
        };
        return device;
    }
    void start(host::MqttRole role = host::MqttRole::kCamera) {
        device_ = std::make_unique<MqttDevice>(device_setup(role));
    }

    void count(int events) {
        host::Store store(setup());
        std::vector<host::StoredEvent> list;
        for (int i = 0; i < events; ++i)
            list.push_back(test::crossing(test::kMonday_us + i));
        store.commit(test::batch_of(list));
        store.close();
    }

    // Goes on as the service does. The limit only ends a test that has failed.
    bool until(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(120);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) return false;
            if (device_) device_->send_events();
            if (device_ && shown_) device_->show(*shown_);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }
    // Many rounds more, in which nothing else happens.
    void go_on() {
        int rounds = 0;
        until([&rounds] { return ++rounds > 200; });
    }

    std::vector<int> sequences() const {
        std::vector<int> list;
        for (const auto& event : broker_->received("/event"))
            list.push_back(json::parse(event.payload)["sequence"].get<int>());
        return list;
    }
    std::vector<std::string> told(const std::string& topic) const {
        std::vector<std::string> list;
        for (const auto& message : broker_->received(topic))
            list.push_back(message.payload);
        return list;
    }
    std::int64_t cursor() const { return integer("SELECT max(sequence) FROM cursors"); }
    int said(const std::string& part) const {
        const std::lock_guard lock(mutex_);
        int found = 0;
        for (const std::string& sentence : said_)
            found += sentence.find(part) != std::string::npos ? 1 : 0;
        return found;
    }

    MqttDeviceNow now(std::vector<std::string> lines = {"door"}) const {
        const host::MqttTopics& topics = device_->topics();
        MqttDeviceNow now;
        now.status = "online";
        now.states = {host::health_state(topics, {})};
        for (const std::string& line : lines)
            now.states.push_back({topics.line(line), "{\"in\":1}"});
        now.described = host::DiscoveredDevice{"shop", "entrance", "", {}, {}, {}, false};
        for (const std::string& line : lines)
            now.described->lines.push_back({line});
        return now;
    }

    mutable std::mutex mutex_;
    std::vector<std::string> said_;
    std::unique_ptr<test::FakeBroker> broker_;
    std::optional<MqttDeviceNow> shown_;
    std::unique_ptr<MqttDevice> device_;
};

TEST_F(Publishing, EveryEventOnceAndInItsOrder) {
    count(300);
    start();
    ASSERT_TRUE(until([this] { return sequences().size() >= 300; }));
    EXPECT_EQ(sequences(), numbers(1, 300));
    count(7);
    ASSERT_TRUE(until([this] { return sequences().size() >= 307; }));
    EXPECT_EQ(sequences(), numbers(1, 307));
    const json event = json::parse(told("/event")[0]);
    EXPECT_EQ(event["device"], "entrance");
    EXPECT_EQ(event["kind"], "crossing");
    EXPECT_EQ(event["place"], "door");
    EXPECT_EQ(event["direction"], 1);
    EXPECT_EQ(event["epoch"].get<std::string>(), text("SELECT epoch FROM epochs"));
    EXPECT_FALSE(broker_->received("/event")[0].retained);
    device_.reset();
    EXPECT_EQ(cursor(), 307) << "an orderly end saves it";
}

TEST_F(Publishing, AtMostTwentyAreOnTheirWay) {
    count(100);
    broker_->confirm(false);
    start();
    ASSERT_TRUE(until([this] { return sequences().size() >= 20; }));
    go_on();
    EXPECT_EQ(sequences(), numbers(1, 20));
    EXPECT_EQ(cursor(), 0) << "nothing has arrived";
    broker_->confirm(true);
    ASSERT_TRUE(until([this] { return sequences().size() >= 100; }));
    EXPECT_EQ(sequences(), numbers(1, 100));
}

TEST_F(Publishing, AConfirmationMovesTheCursor) {
    count(30);
    start();
    ASSERT_TRUE(until([this] { return sequences().size() >= 30; }));
    ASSERT_TRUE(until([this] { return cursor() > 0; }));
    device_.reset();
    start();
    count(2);
    ASSERT_TRUE(until([this] { return sequences().size() >= 32; }));
    EXPECT_EQ(sequences(), numbers(1, 32)) << "nothing twice after an orderly end";
}

// What the broker had received and not confirmed comes again, and nothing else: a client that kept
// its queue would send more with each outage.
TEST_F(Publishing, GoesOnAtTheCursorAfterEachOutage) {
    count(100);
    broker_->confirm(false);
    start();
    std::vector<int> expected;
    for (int round = 1; round <= 5; ++round) {
        const std::size_t there = static_cast<std::size_t>(round) * 20;
        ASSERT_TRUE(until([&] { return sequences().size() >= there; })) << round;
        go_on();
        for (const int number : numbers(1, 20))
            expected.push_back(number);
        EXPECT_EQ(sequences(), expected);
        broker_->drop_clients();
        ASSERT_TRUE(until([&] { return broker_->connections() > round; }));
    }
    broker_->confirm(true);
    ASSERT_TRUE(until([&] { return sequences().size() >= expected.size() + 100; }));
    for (const int number : numbers(1, 100))
        expected.push_back(number);
    EXPECT_EQ(sequences(), expected);
}

TEST_F(Publishing, ABrokerThatIsAwayMissesNothing) {
    const int port = broker_->port();
    broker_.reset();
    broker_ = std::make_unique<test::FakeBroker>(port);
    host::MqttDeviceSetup setup = device_setup();
    broker_.reset();
    count(50);
    device_ = std::make_unique<MqttDevice>(setup);
    go_on();
    count(50);
    go_on();
    EXPECT_FALSE(device_->ready());
    broker_ = std::make_unique<test::FakeBroker>(port);
    ASSERT_TRUE(until([this] { return sequences().size() >= 100; }));
    EXPECT_EQ(sequences(), numbers(1, 100));
    EXPECT_EQ(said("no connection to the broker"), 1);
    EXPECT_EQ(said("publishes to the broker"), 1);
}

TEST_F(Publishing, WhatTheBrokerRefusesIsSentAgain) {
    count(30);
    broker_->refuse(0x87);
    start();
    ASSERT_TRUE(until([this] { return sequences().size() >= 60; }));
    EXPECT_EQ(said("the broker refuses what is published to it (Not authorized)"), 1);
    EXPECT_EQ(cursor(), 0) << "refused is not arrived";
    broker_->refuse(0);
    ASSERT_TRUE(until([this] { return cursor() > 0 && sequences().back() == 30; }));
    device_.reset();
    EXPECT_EQ(cursor(), 30);
}

TEST_F(Publishing, ADatabaseMayComeLater) {
    start();
    go_on();
    count(3);
    ASSERT_TRUE(until([this] { return sequences().size() >= 3; }));
    EXPECT_EQ(sequences(), numbers(1, 3));
}

TEST_F(Publishing, HowThingsStandIsToldWhenItChanges) {
    start();
    shown_ = now();
    ASSERT_TRUE(until([this] { return !told("/config").empty(); }));
    go_on();
    EXPECT_THAT(told("entrance/status"), ElementsAre("online"));
    EXPECT_THAT(told("line/door"), ElementsAre("{\"in\":1}"));
    EXPECT_TRUE(broker_->received("line/door")[0].retained);
    shown_->states[1].payload = "{\"in\":2}";
    ASSERT_TRUE(until([this] { return told("line/door").size() == 2; }));
    EXPECT_EQ(told("line/door")[1], "{\"in\":2}");
    EXPECT_EQ(told("/health").size(), 1U);
    broker_->drop_clients();
    ASSERT_TRUE(until([this] { return told("entrance/status").size() == 2; }))
        << "a new connection is told everything: its will may have been published";
    device_.reset();
    EXPECT_TRUE(until([this] { return told("entrance/status").back() == "stopped"; }));
}

TEST_F(Publishing, ASlowBrokerHearsTheLastOnly) {
    start();
    shown_ = now();
    ASSERT_TRUE(until([this] { return !told("/config").empty(); }));
    go_on();
    broker_->confirm(false);
    for (int i = 2; i < 500; ++i) {
        shown_->states[1].payload = "{\"in\":" + std::to_string(i) + "}";
        device_->show(*shown_);
    }
    broker_->confirm(true);
    ASSERT_TRUE(until([this] { return told("line/door").back() == "{\"in\":499}"; }));
    EXPECT_LT(told("line/door").size(), 10U);
}

TEST_F(Publishing, ItIsDescribedAgainAtABirth) {
    broker_->keep("homeassistant/status", "offline");
    start();
    shown_ = now();
    ASSERT_TRUE(until([this] { return told("/config").size() == 1; }));
    go_on();
    EXPECT_EQ(told("/config").size(), 1U) << "and not without one";
    broker_->keep("homeassistant/status", "online");
    broker_->keep("homeassistant/device/vca_shop_entrance/config", told("/config")[0]);
    broker_->drop_clients();
    ASSERT_TRUE(until([this] { return told("/config").size() == 2; }));
    EXPECT_EQ(told("/config")[0], told("/config")[1]);
}

TEST_F(Publishing, WhatIsGoneIsTakenAway) {
    broker_->keep("vca/shop/entrance/line/old", "{}");
    broker_->keep("vca/shop/entrance/region/old", "{}");
    start();
    shown_ = now({"door", "gate"});
    ASSERT_TRUE(until([this] { return !told("/config").empty(); }));
    EXPECT_THAT(told("line/old"), ElementsAre("")) << "from before the start";
    EXPECT_THAT(told("region/old"), ElementsAre(""));
    EXPECT_EQ(told("line/gate").size(), 1U);
    shown_ = now({"door"});
    ASSERT_TRUE(until([this] { return told("/config").size() == 2; }));
    EXPECT_EQ(told("line/gate").back(), "");
    EXPECT_EQ(json::parse(told("/config")[1])["cmps"]["gate_in"], (json{{"p", "sensor"}}));
    go_on();
    EXPECT_EQ(told("line/gate").size(), 2U) << "once";
    EXPECT_EQ(told("line/door").size(), 1U);
}

// The description that the broker keeps tells what was there before.
TEST_F(Publishing, WhatIsGoneIsToldAfterARestart) {
    const host::MqttTopics topics("shop", "entrance", host::MqttRole::kCamera);
    const host::DiscoveredDevice before{"shop", "entrance", "", {{"door"}, {"old"}}, {}, {}, false};
    broker_->keep(host::discovery_topic(topics.id()), host::discovery_message(topics, before, ""));
    start();
    shown_ = now();
    ASSERT_TRUE(until([this] { return !told("/config").empty(); }));
    EXPECT_EQ(json::parse(told("/config")[0])["cmps"]["old_in"], (json{{"p", "sensor"}}));
}

TEST_F(Publishing, ThePlaceTakesAwayCamerasThatItHasNoMore) {
    const auto keep = [this](const std::string& place, const std::string& camera) {
        const host::MqttTopics topics(place, camera, host::MqttRole::kCamera);
        broker_->keep(
            host::discovery_topic(topics.id()),
            host::discovery_message(topics, {place, camera, "", {{"l"}}, {}, {}, false}, ""));
    };
    keep("shop", "gone");
    keep("shop", "entrance");
    keep("shop2", "other");
    broker_->keep("homeassistant/device/lamp/config", R"({"cmps":{}})");
    start(host::MqttRole::kPlace);
    shown_ = now({});
    shown_->described = host::DiscoveredDevice{"shop", "shop", "", {}, {}, {}, false};
    shown_->ids = {"vca_shop_entrance", device_->topics().id()};
    ASSERT_TRUE(until([this] { return !told("vca_shop_gone/config").empty(); }));
    go_on();
    EXPECT_THAT(told("vca_shop_gone/config"), ElementsAre(""));
    EXPECT_EQ(told("gone/status"), (std::vector<std::string>{""}));
    EXPECT_THAT(told("vca_shop_entrance/config"), IsEmpty());
    EXPECT_THAT(told("other/config"), IsEmpty());
    EXPECT_THAT(told("lamp/config"), IsEmpty());
    EXPECT_THAT(told("vca_shop2_other/config"), IsEmpty());
}

// A broker would repeat one at every connection.
TEST_F(Publishing, ACommandThatTheBrokerKeepsIsNone) {
    broker_->keep("vca/shop/occupancy/hall/reset", "reset");
    host::MqttDeviceSetup setup = device_setup(host::MqttRole::kPlace);
    std::atomic<int> resets{0};
    setup.reset = [&resets](const std::string&) { ++resets; };
    device_ = std::make_unique<MqttDevice>(setup);
    count(1);
    ASSERT_TRUE(until([this] { return sequences().size() == 1; }));
    device_.reset();
    EXPECT_EQ(resets, 0);
}

TEST_F(Publishing, NobodyIsDescribedWhereThatIsOff) {
    host::MqttDeviceSetup setup = device_setup();
    setup.home_assistant = false;
    device_ = std::make_unique<MqttDevice>(setup);
    shown_ = now();
    ASSERT_TRUE(until([this] { return !told("line/door").empty(); }));
    go_on();
    EXPECT_THAT(told("/config"), IsEmpty());
}

}  // namespace
