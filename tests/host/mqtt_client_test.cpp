// The MQTT connection: settings, outages, properties and its end.
#include "host/net/mqtt_client.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "link_fixture.h"

namespace link_test {
namespace {

host::MqttSettings settings_for(int port) {
    host::MqttSettings settings;
    settings.port = port;
    settings.client_id = "a";
    settings.reconnect_first_s = 0.02;
    settings.reconnect_longest_s = 0.1;
    return settings;
}

void expect_refused(const host::MqttSettings& settings, const std::string& part,
                    const std::vector<std::string>& topics = {}) {
    try {
        const MqttClient client(settings, topics, {}, {});
        ADD_FAILURE() << "accepted: " << part;
    } catch (const std::exception& error) {
        EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
    }
}

TEST(MqttClientTest, UnfitSettingsAreRefusedWithASentence) {
    host::MqttSettings settings = settings_for(1883);
    settings.host = "";
    expect_refused(settings, "host name is empty");
    for (const int port : {0, -1, 65536})
        expect_refused(settings_for(port), "ports go from 1 to 65535");
    settings = settings_for(1883);
    settings.client_id = "";
    expect_refused(settings, "client id is empty");
    settings = settings_for(1883);
    settings.keepalive_s = 4;
    expect_refused(settings, "goes from 5 to 65535 s");
    settings = settings_for(1883);
    settings.reconnect_first_s = 0.0;
    expect_refused(settings, "above 0 s");
    settings = settings_for(1883);
    settings.reconnect_longest_s = 0.01;
    expect_refused(settings, "not below the first");
    expect_refused(settings_for(1883), "cannot subscribe to a/#/b", {"a/#/b"});
}

TEST(MqttClientTest, KeepsNothingAndTellsOnceWhileTheBrokerIsAway) {
    Reports reports;
    MqttClient client(
        settings_for(host::free_loopback_port()), {}, {},
        {{}, [hook = reports.hook()](bool, const std::string& reason) { hook(reason); }});
    ASSERT_TRUE(eventually([&] { return reports.count("Connection refused") > 0; }));
    EXPECT_FALSE(client.publish({"a", host::as_payload("x"), 1, false, {}}));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // several attempts
    EXPECT_EQ(reports.count("no connection to the broker at 127.0.0.1:"), 1);
    EXPECT_FALSE(client.connected());
}

TEST(MqttClientTest, AnUnknownHostNameIsToldAndStopsNothing) {
    Reports reports;
    host::MqttSettings settings = settings_for(1883);
    settings.host = "no-such-host.invalid";
    MqttClient client(settings, {}, {},
                      {{}, [hook = reports.hook()](bool, const std::string& why) { hook(why); }});
    EXPECT_TRUE(eventually([&] { return reports.count("no-such-host.invalid:1883") == 1; }));
    client.stop();
}

// An address of the range reserved for documentation, which no host has.
TEST(MqttClientTest, StopsWhileAnAddressDoesNotAnswer) {
    host::MqttSettings settings = settings_for(1883);
    settings.host = "192.0.2.1";
    const auto start = std::chrono::steady_clock::now();
    {
        MqttClient client(settings, {}, {}, {});
        EXPECT_FALSE(client.publish({"a", {}, 0, false, {}}));
    }
    // The system itself would try for two minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(MqttClientTest, CarriesPayloadPropertiesAndRetention) {
    const Folder folder;
    const host::BrokerProcess broker(folder.path(), host::free_loopback_port());
    std::mutex mutex;
    std::vector<std::pair<std::string, host::MqttProperties>> received;
    const auto count = [&] {
        const std::lock_guard lock(mutex);
        return received.size();
    };
    std::atomic<int> connections{0};
    MqttClient client(settings_for(broker.port()), {"t/+/x"}, {},
                      {[&](const host::MqttMessage& message) {
                           const std::lock_guard lock(mutex);
                           received.emplace_back(
                               std::string(message.payload.begin(), message.payload.end()),
                               message.properties);
                       },
                       [&](bool connected, const std::string&) { connections += connected; }});
    ASSERT_TRUE(eventually([&] { return client.connected(); }));
    const std::string payload("a\0b", 3);
    EXPECT_TRUE(client.publish({"t/1/y", host::as_payload("other topic"), 0, false, {}}));
    EXPECT_TRUE(client.publish(
        {"t/1/x", host::as_payload(payload), 0, false, {{"k", "v"}, {"k", ""}, {"l", "w"}}}));
    EXPECT_TRUE(client.publish({"t/2/x", {}, 1, false, {}}));
    ASSERT_TRUE(eventually([&] { return count() == 2; }));
    EXPECT_EQ(received[0].first, payload);
    EXPECT_EQ(received[0].second, (host::MqttProperties{{"k", "v"}, {"k", ""}, {"l", "w"}}));
    EXPECT_EQ(received[1].first, "");
    EXPECT_TRUE(received[1].second.empty());
    EXPECT_EQ(connections, 1);
    EXPECT_FALSE(client.publish({"t/#", {}, 0, false, {}}));  // no topic to publish under
    client.stop();
    EXPECT_FALSE(client.publish({"t/1/x", {}, 0, false, {}}));
    client.stop();
}

TEST(MqttClientTest, ComesBackWithItsSubscriptions) {
    const Folder folder;
    const int port = host::free_loopback_port();
    auto broker = std::make_unique<host::BrokerProcess>(folder.path(), port);
    std::atomic<int> received{0};
    MqttClient client(settings_for(port), {"t"}, {},
                      {[&](const host::MqttMessage&) { ++received; }, {}});
    for (int round = 1; round <= 3; ++round) {
        ASSERT_TRUE(eventually([&] { return client.connected(); }));
        EXPECT_TRUE(client.publish({"t", {}, 0, false, {}}));
        ASSERT_TRUE(eventually([&] { return received == round; }));
        broker.reset();
        ASSERT_TRUE(eventually([&] { return !client.connected(); }));
        broker = std::make_unique<host::BrokerProcess>(folder.path(), port);
    }
}

TEST(BrokerProcessTest, StartsAndStopsByItsProcessId) {
    const Folder folder;
    host::BrokerProcess broker(folder.path(), host::free_loopback_port());
    const pid_t pid = broker.process_id();
    EXPECT_EQ(kill(pid, 0), 0);
    broker.stop();
    EXPECT_NE(kill(pid, 0), 0);
    EXPECT_EQ(broker.process_id(), -1);
    broker.stop();
}

TEST(BrokerProcessTest, IsStartedAgainWhenItEndsByItself) {
    const Folder folder;
    host::BrokerProcess broker(folder.path(), host::free_loopback_port());
    MqttClient client(settings_for(broker.port()), {}, {}, {});
    ASSERT_TRUE(eventually([&] { return client.connected(); }));
    const pid_t first = broker.process_id();
    ASSERT_EQ(kill(first, SIGKILL), 0);
    ASSERT_TRUE(eventually([&] { return broker.restarts() == 1; }));
    EXPECT_NE(broker.process_id(), first);
    ASSERT_TRUE(eventually([&] { return client.connected(); }));
    broker.stop();
    EXPECT_EQ(broker.process_id(), -1);
}

TEST(BrokerProcessTest, EndsWithAKilledParent) {
    const Folder folder;
    const int port = host::free_loopback_port();
    const pid_t parent = fork();
    ASSERT_GE(parent, 0);
    if (parent == 0) {
        const host::BrokerProcess broker(folder.path(), port);
        while (true)
            pause();
    }
    const MqttClient client(settings_for(port), {}, {}, {});
    const bool up = eventually([&] { return client.connected(); });
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    ASSERT_TRUE(up);
    EXPECT_TRUE(eventually([&] { return !client.connected(); }));
}

TEST(BrokerProcessTest, ATakenPortAndAFolderThatIsNotThereAreTold) {
    const Folder folder;
    const host::BrokerProcess broker(folder.path(), host::free_loopback_port());
    EXPECT_THROW(host::BrokerProcess(folder.path(), broker.port()), std::runtime_error);
    EXPECT_THROW(host::BrokerProcess(folder.path() + "/none", host::free_loopback_port()),
                 std::runtime_error);
}

}  // namespace
}  // namespace link_test
