// A broker of the test's own, and stand-ins for the libraries of a master and a slave.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/link/master_bridge.h"
#include "host/link/slave_bridge.h"
#include "host/net/broker_process.h"
#include "tests/support/bus_functions.h"
#include "vca/messages.h"

namespace link_test {

using host::Bus;
using host::Event;
using host::MasterBridge;
using host::MqttClient;
using host::SlaveBridge;
using test::BusFunctions;

inline constexpr const char* kSite = "hall";
inline constexpr int kLeft = 2;

// Waits for what must happen sooner or later; the limit only ends a test that has failed.
inline bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(40);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

class Folder {
  public:
    Folder() {
        constexpr std::size_t kMarks = 6;  // letters X that mkdtemp replaces
        std::string name = (std::filesystem::temp_directory_path() / "vca-link-").string() +
                           std::string(kMarks, 'X');
        if (mkdtemp(name.data()) != nullptr) path_ = name;
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

// Sentences that were reported, from several threads.
class Reports {
  public:
    std::function<void(const std::string&)> hook() {
        return [this](const std::string& sentence) {
            const std::lock_guard lock(mutex_);
            sentences_.push_back(sentence);
        };
    }
    int count(const std::string& part) const {
        const std::lock_guard lock(mutex_);
        int found = 0;
        for (const std::string& sentence : sentences_)
            found += sentence.find(part) != std::string::npos ? 1 : 0;
        return found;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> sentences_;
};

// What the master's library does with the link's messages.
struct MasterLibrary {
    std::atomic<std::int32_t> frame_count{0};
    std::unique_ptr<BusFunctions> client;
    std::unique_ptr<Bus> bus;
    std::unique_ptr<MasterBridge> bridge;
    Reports reports;

    std::size_t received() const {
        const std::lock_guard lock(mutex);
        return messages.size();
    }
    MASTER_MSG_S message(std::size_t i) const {
        const std::lock_guard lock(mutex);
        return messages.at(i);
    }
    MASTER_MSG_S last() const {
        const std::lock_guard lock(mutex);
        return messages.back();
    }
    host::DeviceState left() const { return bridge->stats().slaves.at(0).state; }

    mutable std::mutex mutex;
    std::vector<MASTER_MSG_S> messages;
};

struct SlaveLibrary {
    std::atomic<std::int32_t> frame_count{0};
    std::atomic<int> times_set{0};
    std::unique_ptr<BusFunctions> client;
    std::unique_ptr<Bus> bus;
    std::unique_ptr<SlaveBridge> bridge;
    Reports reports;

    // One frame pass with so many people.
    void pass(int people) {
        SLAVE_MSG_S message{};
        message.count = people;
        message.frame = static_cast<std::uint32_t>(frame_count.load());
        message.tracks[0].track_id = 40;
        message.tracks[0].foot_x = 100;
        bus->queue_from_library(VCA_MSG_SLAVE_TRACKS, &message, sizeof message);
        ++frame_count;
    }
};

// The handlers of the libraries get no context.
inline MasterLibrary* master_library = nullptr;
inline SlaveLibrary* slave_library = nullptr;

inline void take_tracks(int, void* payload) {
    MASTER_MSG_S message;
    std::memcpy(&message, payload, sizeof message);
    const std::lock_guard lock(master_library->mutex);
    master_library->messages.push_back(message);
}

inline void answer_frame_count(int, void*) {
    const std::int32_t count = master_library->frame_count;
    master_library->bus->queue_from_library(VCA_MSG_FRAME_COUNT, &count, sizeof count);
}

inline void set_frame_count(int, void* payload) {
    std::int32_t count = 0;
    std::memcpy(&count, payload, sizeof count);
    slave_library->frame_count = count;
    ++slave_library->times_set;
}

class LinkTest : public ::testing::Test {
  protected:
    LinkTest() : port_(host::free_loopback_port()) {
        master_library = &master_;
        slave_library = &slave_;
    }
    ~LinkTest() override {
        stop_master();
        stop_slave();
    }

    void start_broker() { broker_ = std::make_unique<host::BrokerProcess>(folder_.path(), port_); }

    host::MqttSettings broker_settings() const {
        host::MqttSettings settings;
        settings.port = port_;
        settings.reconnect_first_s = 0.02;
        settings.reconnect_longest_s = 0.1;
        return settings;
    }

    host::MqttSettings named_broker(const std::string& id) const {
        host::MqttSettings settings = broker_settings();
        settings.client_id = id;
        return settings;
    }

    host::MasterSettings master_settings() const {
        host::MasterSettings settings;
        settings.site = kSite;
        settings.name = "middle";
        settings.broker = broker_settings();
        settings.slaves = {{"left", kLeft}, {"right", 0}};
        settings.gate = gate_;
        settings.heartbeat_s = 0.1;
        return settings;
    }

    void start_master() {
        master_.client = std::make_unique<BusFunctions>([this](const Event& event) {
            if (master_ready_) master_.bridge->on_event(event);
        });
        master_.bus = std::make_unique<Bus>(*master_.client);
        static constexpr SOCK_REQUEST_S kTable[] = {
            {VCA_MSG_SLAVE_TRACKS, 0, take_tracks, 0},
            {VCA_MSG_ASK_FRAME_COUNT, 0, answer_frame_count, 0}};
        master_.bus->add_handlers(kTable, 2);
        const auto map = [](int slave, SLAVE_MSG_S& message) {
            for (SLAVE_TRACK_S& track : message.tracks)
                track.foot_x += 1000 * slave;
        };
        master_.bridge = std::make_unique<MasterBridge>(
            *master_.bus, master_settings(),
            host::MasterHooks{[this] { return master_.frame_count.load(); }, map,
                              master_.reports.hook()});
        master_ready_ = true;
    }

    void start_slave(double ask_s = 0.1) {
        slave_.client = std::make_unique<BusFunctions>(
            [this](const Event& event) {
                if (slave_ready_) slave_.bridge->on_event(event);
            },
            [this] {
                return host::FrameStamp{0, 0.0, slave_.frame_count.load()};
            });
        slave_.bus = std::make_unique<Bus>(*slave_.client);
        static constexpr SOCK_REQUEST_S kTable[] = {{VCA_MSG_FRAME_COUNT, 0, set_frame_count, 0}};
        slave_.bus->add_handlers(kTable, 1);
        slave_.bridge = std::make_unique<SlaveBridge>(
            *slave_.bus, host::SlaveSettings{kSite, {"left", kLeft}, broker_settings(), ask_s, 0.1},
            host::SlaveHooks{[this] { return slave_.frame_count.load(); }, slave_.reports.hook()});
        slave_ready_ = true;
    }

    // The order that a host keeps: the link, what is still queued, the bus, and then what its
    // listener used.
    void stop_master() {
        if (master_.bridge) master_.bridge->stop();
        if (master_.bus) master_.bus->wait_idle();
        master_.bus.reset();
        master_ready_ = false;
        master_.bridge.reset();
    }
    void stop_slave() {
        if (slave_.bridge) slave_.bridge->stop();
        if (slave_.bus) slave_.bus->wait_idle();
        slave_.bus.reset();
        slave_ready_ = false;
        slave_.bridge.reset();
    }

    // Both devices work through a frame, as long as `condition` does not hold.
    bool frames_until(const std::function<bool()>& condition, int people = 1) {
        return eventually([&] {
            ++master_.frame_count;
            if (slave_.bus) slave_.pass(people);
            return condition();
        });
    }

    Folder folder_;
    int port_;
    // Wide limits, because the frames of these tests come much faster than those of a camera.
    host::GateSettings gate_{500, 500, 1.0};
    std::unique_ptr<host::BrokerProcess> broker_;
    MasterLibrary master_;
    SlaveLibrary slave_;
    std::atomic<bool> master_ready_{false};
    std::atomic<bool> slave_ready_{false};
};

// A client that sends whatever it likes.
class RawClient {
  public:
    RawClient(const host::MqttSettings& broker, const std::vector<std::string>& topics)
        : client_(with_id(broker), topics, {},
                  {[this](const host::MqttMessage& message) {
                       const std::lock_guard lock(mutex_);
                       received_.push_back({std::string(message.topic),
                                            {message.payload.begin(), message.payload.end()},
                                            message.retained});
                   },
                   {}}) {
        EXPECT_TRUE(eventually([this] { return client_.connected(); }));
    }

    struct Received {
        std::string topic;
        std::vector<std::uint8_t> payload;
        bool retained = false;
    };

    void send(const std::string& topic, std::span<const std::uint8_t> payload,
              const host::MqttProperties& properties = {}) {
        EXPECT_TRUE(client_.publish({topic, payload, 1, false, properties}));
    }
    void send(const std::string& topic, const std::string& text) {
        send(topic, host::as_payload(text));
    }
    std::vector<Received> received() const {
        const std::lock_guard lock(mutex_);
        return received_;
    }

  private:
    static host::MqttSettings with_id(host::MqttSettings broker) {
        broker.client_id = "raw";
        return broker;
    }

    mutable std::mutex mutex_;
    std::vector<Received> received_;
    MqttClient client_;
};

}  // namespace link_test
