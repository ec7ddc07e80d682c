// Master and slave over a real broker: synchronisation, outages, restarts and hostile messages.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <random>

#include "link_fixture.h"

namespace link_test {
namespace {

using nlohmann::json;

MASTER_MSG_S packet(int index, std::int32_t frame, int people) {
    MASTER_MSG_S message{};
    message.slave_idx = static_cast<std::uint32_t>(index);
    message.reserved = static_cast<std::uint32_t>(frame);
    message.msg.count = people;
    return message;
}

TEST_F(LinkTest, TracksArriveMappedAndOnTheMastersClock) {
    start_broker();
    master_.frame_count = 5000;
    start_master();
    start_slave();
    ASSERT_TRUE(eventually([&] { return slave_.times_set > 0; }));
    const std::int32_t frame = slave_.frame_count;
    EXPECT_EQ(frame, 5000);
    slave_.pass(3);
    ASSERT_TRUE(eventually([&] { return master_.received() == 1; }));
    const MASTER_MSG_S message = master_.message(0);
    EXPECT_EQ(message.slave_idx, static_cast<std::uint32_t>(kLeft));
    EXPECT_EQ(message.reserved, 0u);
    EXPECT_EQ(message.msg.count, 3);
    EXPECT_EQ(message.msg.frame, 5000u);
    EXPECT_EQ(message.msg.tracks[0].track_id, 40u);
    EXPECT_EQ(message.msg.tracks[0].foot_x, 100 + 1000 * kLeft);
    EXPECT_EQ(master_.left().last_frame, 5000);
    const host::DelaySummary delay = master_.bridge->stats().slaves[0].delay;
    EXPECT_EQ(delay.count, 1);
    EXPECT_GT(delay.median_ms, 0.0);
    slave_.bus->wait_idle();
    EXPECT_EQ(slave_.bridge->stats().sent, 1);
}

TEST_F(LinkTest, NothingIsSentBeforeTheMastersFirstAnswer) {
    start_broker();
    RawClient listener(broker_settings(), {"vca/hall/#"});
    start_slave();
    ASSERT_TRUE(eventually([&] { return slave_.bridge->stats().connected; }));
    for (int i = 0; i < 20; ++i)
        slave_.pass(1);
    ASSERT_TRUE(eventually([&] { return slave_.bridge->stats().withheld == 20; }));
    start_master();
    ASSERT_TRUE(frames_until([&] { return master_.received() > 0; }));
    EXPECT_GE(slave_.bridge->stats().withheld, 20);
    // Whatever was published was published after an answer.
    bool answered = false;
    bool tracks = false;
    for (const RawClient::Received& r : listener.received()) {
        if (r.topic == "vca/hall/frame-count") answered = true;
        if (r.topic != "vca/hall/left/tracks") continue;
        tracks = true;
        EXPECT_TRUE(answered);
    }
    EXPECT_TRUE(eventually([&] {
        const auto all = listener.received();
        return tracks || std::any_of(all.begin(), all.end(), [](const RawClient::Received& r) {
                   return r.topic == "vca/hall/left/tracks";
               });
    }));
}

TEST_F(LinkTest, TheSlaveAsksAgainAndAgain) {
    start_broker();
    start_master();
    start_slave(0.02);
    EXPECT_TRUE(eventually([&] { return slave_.bridge->stats().answers > 5; }));
    EXPECT_GT(master_.bridge->stats().requests, 5);
}

TEST_F(LinkTest, ASlaveWhoseClockRunsAheadLosesNothingWhenItIsSetBack) {
    start_broker();
    master_.frame_count = 100;
    start_master();
    start_slave(0.02);
    ASSERT_TRUE(eventually([&] { return slave_.times_set > 0; }));
    // The slave makes two frames for each of the master's, so every answer sets it back.
    ASSERT_TRUE(eventually([&] {
        ++master_.frame_count;
        slave_.pass(1);
        slave_.pass(1);
        slave_.bus->wait_idle();
        return slave_.times_set > 30;
    }));
    ASSERT_TRUE(eventually([&] {
        const auto sent = slave_.bridge->stats().sent;
        return master_.left().counters.received == sent && sent > 0;
    }));
    EXPECT_EQ(master_.left().counters.out_of_order, 0);
    EXPECT_EQ(master_.left().counters.repeated, 0);
}

TEST_F(LinkTest, ABrokerThatIsAwayStopsNobodyAndTheSlaveIsTakenBack) {
    start_broker();
    start_master();
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 20; }));
    const host::DeviceCounters reached = master_.left().counters;
    const int missing = master_.reports.count("the device left is missing");
    const int back = master_.reports.count("left is back after");
    broker_->stop();
    ASSERT_TRUE(frames_until([&] { return master_.left().missing; }));
    const std::int32_t frame_without = master_.frame_count;
    master_.bus->wait_idle();
    EXPECT_EQ(master_.last().msg.count, 0);  // the library no longer holds the slave's people
    EXPECT_EQ(master_.last().slave_idx, static_cast<std::uint32_t>(kLeft));
    EXPECT_EQ(master_.left().counters.cleared, reached.cleared + 1);
    EXPECT_TRUE(eventually(
        [&] { return master_.reports.count("the device left is missing") == missing + 1; }));
    EXPECT_EQ(master_.reports.count("no connection to the broker at 127.0.0.1:"), 1);
    ASSERT_TRUE(frames_until([&] { return master_.frame_count > frame_without + 500; }));
    const std::int64_t before = master_.left().counters.delivered;
    start_broker();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > before + 20; }));
    ASSERT_TRUE(frames_until([&] { return master_.reports.count("left is back after") > back; }));
    EXPECT_TRUE(frames_until([&] { return !master_.left().missing; }));
    EXPECT_EQ(master_.last().msg.count, 1);
    EXPECT_GT(slave_.bridge->stats().disconnected, 0);
    EXPECT_EQ(slave_.reports.count("connected to the broker"), 2);
}

TEST_F(LinkTest, ABrokerThatStopsReadingStopsNobody) {
    start_broker();
    start_master();
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 5; }));
    ASSERT_EQ(kill(broker_->process_id(), SIGSTOP), 0);
    // 12 MB, more than any socket holds.
    for (int i = 0; i < 2000; ++i) {
        ++master_.frame_count;
        slave_.pass(1);
    }
    slave_.bus->wait_idle();
    EXPECT_TRUE(eventually([&] { return master_.left().missing; }));
    ASSERT_EQ(kill(broker_->process_id(), SIGCONT), 0);
    const std::int64_t before = master_.left().counters.delivered;
    EXPECT_TRUE(frames_until([&] { return master_.left().counters.delivered > before + 20; }));
    EXPECT_TRUE(frames_until([&] { return !master_.left().missing; }));
}

TEST_F(LinkTest, ARestartedSlaveIsTakenBack) {
    start_broker();
    master_.frame_count = 700;
    start_master();
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 20; }));
    stop_slave();
    ASSERT_TRUE(eventually([&] { return master_.left().missing; }));
    ASSERT_TRUE(eventually([&] { return master_.last().msg.count == 0; }));
    slave_.frame_count = 0;
    const std::int64_t before = master_.left().counters.delivered;
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > before + 20; }));
    EXPECT_TRUE(eventually([&] { return !master_.left().missing; }));
    EXPECT_GT(slave_.frame_count, 700);
}

TEST_F(LinkTest, ARestartedMasterTakesTheSlaveOnItsNewClock) {
    start_broker();
    master_.frame_count = 100000;
    start_master();
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 20; }));
    stop_master();
    for (int i = 0; i < 50; ++i)
        slave_.pass(1);
    slave_.bus->wait_idle();
    master_.frame_count = 0;
    start_master();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 20; }));
    EXPECT_LT(master_.left().last_frame, 100000);
}

TEST_F(LinkTest, RepeatedDisorderedAndOldMessagesAreDroppedAndCounted) {
    gate_ = {15, 15, 1.0};
    start_broker();
    master_.frame_count = 1000;
    start_master();
    RawClient raw(broker_settings(), {});
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().connected; }));
    for (const std::int32_t frame : {998, 998, 999, 997, 984, 1016, 1000, 1000})
        raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, frame, 1)));
    ASSERT_TRUE(eventually([&] { return master_.left().counters.received == 8; }));
    const host::DeviceCounters c = master_.left().counters;
    EXPECT_EQ(c.delivered, 3);
    EXPECT_EQ(c.repeated, 2);
    EXPECT_EQ(c.out_of_order, 1);
    EXPECT_EQ(c.late, 1);
    EXPECT_EQ(c.foreign_clock, 1);
    master_.bus->wait_idle();
    EXPECT_EQ(master_.received(), 3u);
}

TEST_F(LinkTest, MessagesInjectedIntoALivingSlavesTracksAreDropped) {
    start_broker();
    master_.frame_count = 1000;
    start_master();
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 5; }));
    slave_.bus->wait_idle();
    const auto settled = [&] {
        return master_.left().counters.received == slave_.bridge->stats().sent;
    };
    ASSERT_TRUE(eventually(settled));
    const host::DeviceState before = master_.left();
    RawClient raw(broker_settings(), {});
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, before.last_frame, 9)));
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, before.last_frame - 1, 9)));
    ASSERT_TRUE(eventually(
        [&] { return master_.left().counters.received == before.counters.received + 2; }));
    EXPECT_EQ(master_.left().counters.repeated, before.counters.repeated + 1);
    EXPECT_EQ(master_.left().counters.out_of_order, before.counters.out_of_order + 1);
    EXPECT_EQ(master_.left().counters.delivered, before.counters.delivered);
}

TEST_F(LinkTest, GarbageOfAnyLengthIsRefusedAndTheLinkGoesOn) {
    start_broker();
    master_.frame_count = 1000;
    start_master();
    RawClient raw(broker_settings(), {});
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().connected; }));
    std::mt19937 random(7);
    std::vector<std::uint8_t> bytes(20000);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(random());
    const std::size_t lengths[] = {0, 1, 4, 7, 8, 6135, 6136, 6143, 6144, 6145, 6152, 20000};
    for (const char* kind : {"tracks", "status"}) {
        for (const std::size_t length : lengths)
            raw.send(std::string("vca/hall/left/") + kind, {bytes.data(), length});
    }
    for (const char* text : {"{", "[]", "null", "{}", "{\"online\":1}", "{\"online\":\"true\"}"})
        raw.send("vca/hall/left/status", text);
    raw.send("vca/hall/left/status", std::string(60000, '['));
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(0, 1000, 1)));  // of another device
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(15, 1000, 1)));
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, 1000, 1000)));
    ASSERT_TRUE(eventually([&] { return master_.left().counters.refused == 34; }))
        << master_.left().counters.refused;
    EXPECT_EQ(master_.left().counters.received, 34);
    EXPECT_EQ(master_.reports.count("is refused"), 1);
    EXPECT_EQ(master_.received(), 0u);
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, 1000, 1)),
             {{"clock", "x"}, {"sent-us", "nonsense"}, {"clock", "a.1"}});
    ASSERT_TRUE(eventually([&] { return master_.received() == 1; }));
    EXPECT_EQ(master_.bridge->stats().slaves[0].delay.count, 0);
    EXPECT_EQ(master_.bus->refused(), 0);
}

TEST_F(LinkTest, AMessageMayClaimAnyMomentOfSending) {
    start_broker();
    master_.frame_count = 1000;
    start_master();
    RawClient raw(broker_settings(), {});
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().connected; }));
    const auto delay = [this] { return master_.bridge->stats().slaves[0].delay; };
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, 1000, 1)),
             {{"sent-us", "-9223372036854775808"}});
    ASSERT_TRUE(eventually([&] { return delay().count == 1; }));
    EXPECT_GT(delay().greatest_ms, 9.2e15);
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, 1001, 1)),
             {{"sent-us", "9223372036854775807"}});
    ASSERT_TRUE(eventually([&] { return delay().count == 2; }));
    EXPECT_LT(delay().median_ms, -9.2e15);
}

TEST_F(LinkTest, UnknownDevicesAreRefusedAndNamedOnce) {
    start_broker();
    master_.frame_count = 1000;
    start_master();
    RawClient raw(broker_settings(), {});
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().connected; }));
    for (int i = 0; i < 3; ++i) {
        raw.send("vca/hall/stranger/tracks", host::bytes_of(packet(kLeft, 1000 + i, 1)));
        raw.send("vca/hall/stranger/status", "{\"online\":true}");
        raw.send("vca/hall/stranger/ask-frame-count", "");
        raw.send("vca/hall/\xc3\xa4/status", "{\"online\":false}");
        raw.send("vca/hallo/left/tracks", host::bytes_of(packet(kLeft, 1000 + i, 1)));
    }
    for (int i = 0; i < 100; ++i)
        raw.send("vca/hall/x" + std::to_string(i) + "/tracks", "");
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().unknown == 112; }));
    EXPECT_EQ(master_.reports.count("\"stranger\" is refused, because it is not a slave"), 1);
    EXPECT_EQ(master_.reports.count("is refused"), 32);
    EXPECT_EQ(master_.received(), 0u);
    EXPECT_EQ(master_.bridge->stats().requests, 0);
    EXPECT_EQ(master_.left().counters.received, 0);
}

TEST_F(LinkTest, ASlaveTakesOnlyFrameCounts) {
    start_broker();
    start_slave();
    RawClient raw(broker_settings(), {});
    ASSERT_TRUE(eventually([&] { return slave_.bridge->stats().connected; }));
    const std::vector<std::uint8_t> bytes(100, 1);
    for (const std::size_t length : {0u, 1u, 3u, 5u, 100u})
        raw.send("vca/hall/frame-count", {bytes.data(), length});
    ASSERT_TRUE(eventually([&] { return slave_.bridge->stats().refused == 5; }));
    EXPECT_FALSE(slave_.bridge->stats().synchronised);
    const std::int32_t count = -12345;
    raw.send("vca/hall/frame-count", host::bytes_of(count));
    ASSERT_TRUE(eventually([&] { return slave_.frame_count == -12345; }));
    EXPECT_TRUE(slave_.bridge->stats().synchronised);
    EXPECT_EQ(slave_.bus->refused(), 0);
}

// The last status that the broker keeps of a device.
json kept_status(const host::MqttSettings& broker, const std::string& device) {
    json status;
    EXPECT_TRUE(eventually([&] {
        const RawClient reader(broker, {"vca/hall/" + device + "/status"});
        EXPECT_TRUE(eventually([&] { return !reader.received().empty(); }));
        const auto all = reader.received();
        const auto& r = all.front();
        status = json::parse(r.payload.begin(), r.payload.end());
        return r.retained;
    }));
    return status;
}

TEST_F(LinkTest, StatusesAreKeptByTheBroker) {
    start_broker();
    master_.frame_count = 300;
    start_master();
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 3; }));
    ASSERT_TRUE(
        eventually([&] { return kept_status(broker_settings(), "left").value("sent", 0) > 3; }));
    const json slave = kept_status(broker_settings(), "left");
    EXPECT_EQ(slave["online"], true);
    EXPECT_EQ(slave["role"], "slave");
    EXPECT_EQ(slave["index"], kLeft);
    EXPECT_EQ(slave["synchronised"], true);
    EXPECT_GE(slave["frame"], 300);
    EXPECT_GE(slave["fps"], 0.0);
    ASSERT_TRUE(eventually([&] {
        return kept_status(broker_settings(), "middle")["missing"] == json::array({"right"});
    }));
    const json master = kept_status(broker_settings(), "middle");
    EXPECT_EQ(master["role"], "master");
    EXPECT_GE(master["frame"], 300);
    stop_slave();
    stop_master();
    EXPECT_EQ(kept_status(broker_settings(), "left")["online"], false);
    EXPECT_EQ(kept_status(broker_settings(), "middle")["online"], false);
}

TEST_F(LinkTest, AKeptStatusIsNoSignOfLife) {
    start_broker();
    start_slave();
    ASSERT_TRUE(eventually([&] { return slave_.bridge->stats().connected; }));
    EXPECT_EQ(kept_status(broker_settings(), "left")["online"], true);
    slave_.bridge->stop();
    start_master();
    ASSERT_TRUE(eventually([&] { return master_.left().missing; }));
    // The status of a slave whose end the broker did not notice.
    MqttClient writer(named_broker("writer"), {}, {}, {});
    ASSERT_TRUE(eventually([&] { return writer.connected(); }));
    const std::string online = "{\"online\":true}";
    ASSERT_TRUE(writer.publish({"vca/hall/left/status", host::as_payload(online), 1, true, {}}));
    ASSERT_TRUE(eventually([&] { return master_.reports.count("left is back") == 1; }));
    ASSERT_TRUE(eventually([&] { return master_.left().missing; }));
    // The master loses its connection to another client of the same name, and gets what the broker
    // kept when it connects again.
    {
        host::MqttSettings same = named_broker("vca-hall-middle");
        same.reconnect_first_s = same.reconnect_longest_s = 3600.0;
        const MqttClient thief(same, {}, {}, {});
        ASSERT_TRUE(eventually([&] { return master_.reports.count("connected to the") == 2; }));
    }
    RawClient raw(broker_settings(), {});
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().connected; }));
    raw.send("vca/hall/left/ask-frame-count", "");
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().requests > 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // time to report a mistake
    EXPECT_TRUE(master_.left().missing);
    EXPECT_EQ(master_.reports.count("left is back"), 1);
}

// Runs a slave in a process of its own until it is killed.
[[noreturn]] void run_slave_process(const host::MqttSettings& broker) {
    SlaveLibrary slave;
    slave_library = &slave;
    slave.client = std::make_unique<BusFunctions>();
    slave.bus = std::make_unique<Bus>(*slave.client);
    const SlaveBridge bridge(*slave.bus, {kSite, {"left", kLeft}, broker, 0.1, 0.1},
                             {[] { return 0; }, {}});
    while (true)
        pause();
}

TEST_F(LinkTest, AKilledSlaveIsMissingByItsLastWillAndTheBrokerMayComeLater) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) run_slave_process(broker_settings());
    start_broker();
    start_master();
    const bool came = eventually([&] { return master_.bridge->stats().requests > 0; });
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(came);
    EXPECT_TRUE(eventually([&] { return master_.left().missing; }));
    EXPECT_EQ(kept_status(broker_settings(), "left"), (json{{"online", false}, {"role", "slave"}}));
}

TEST_F(LinkTest, StoppingSaysGoodbyeAndEndsEverySending) {
    start_broker();
    start_master();
    start_slave();
    ASSERT_TRUE(frames_until([&] { return master_.left().counters.delivered > 3; }));
    slave_.bridge->stop();
    slave_.bus->wait_idle();
    const std::int64_t sent = slave_.bridge->stats().sent;
    for (int i = 0; i < 10; ++i)
        slave_.pass(1);
    slave_.bus->wait_idle();
    EXPECT_EQ(slave_.bridge->stats().sent, sent);
    EXPECT_TRUE(eventually([&] { return master_.left().missing; }));
    master_.bridge->stop();
    master_.bus->wait_idle();
    const std::size_t received = master_.received();
    RawClient raw(broker_settings(), {});
    raw.send("vca/hall/left/tracks", host::bytes_of(packet(kLeft, master_.frame_count, 1)));
    raw.send("vca/hall/left/ask-frame-count", "");
    EXPECT_EQ(kept_status(broker_settings(), "left")["online"], false);
    master_.bus->wait_idle();
    EXPECT_EQ(master_.received(), received);
}

}  // namespace
}  // namespace link_test
