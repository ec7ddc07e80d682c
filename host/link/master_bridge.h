// The master's side of the link: hands the slaves' tracks, mapped into the master's picture, to the
// library, answers with the frame count, and knows which devices are missing.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/engine/bus.h"
#include "host/link/delay_samples.h"
#include "host/link/frame_rate.h"
#include "host/link/track_gate.h"
#include "host/net/mqtt_client.h"
#include "host/net/ticker.h"

namespace host {

struct MasterSettings {
    std::string site;
    std::string name;
    MqttSettings broker;  // an empty client id is replaced by one made of site and device
    std::vector<LinkDevice> slaves;
    GateSettings gate;
    double heartbeat_s = 1.0;  // between two status messages
};

struct MasterHooks {
    std::function<std::int32_t()> frame_count;  // the library's feed frame counter; any thread
    // Brings the coordinates of a slave's message into the master's picture; null leaves them
    // unchanged.
    std::function<void(int slave, SLAVE_MSG_S& message)> map;
    // One sentence about the connection or a device, for a person; called on the link's threads.
    std::function<void(const std::string&)> report;
    // The frame of the library's last pass, or of the one in progress; any thread. If null, the
    // time until a message is counted is not measured.
    std::function<std::int64_t()> frame_in_work{};
};

struct SlaveView {
    DeviceState state;
    DelaySummary delay;              // from the slave's sending to the hand-over to the library
    DelaySummary counting;           // to the end of the first pass that had the message
    double frames_per_second = 0.0;  // from the slave's last status
};

struct MasterStats {
    bool connected = false;
    bool reached = false;           // connected at least once
    int outages = 0;                // how often it was lost afterwards
    std::string outage;             // why the connection was last missing
    std::int64_t unknown = 0;       // messages that name no device of the site
    std::int64_t requests = 0;      // for the frame count
    std::vector<SlaveView> slaves;  // in the order of the settings
};

class MasterBridge {
  public:
    // Create it when the library is up and stop it before the library is stopped: it sends messages
    // to the library. Throws std::invalid_argument or std::runtime_error with one sentence.
    MasterBridge(Bus& bus, MasterSettings settings, MasterHooks hooks);
    ~MasterBridge();
    MasterBridge(const MasterBridge&) = delete;
    MasterBridge& operator=(const MasterBridge&) = delete;

    // Call it with every event of the library, on the bus thread; it does not wait.
    void on_event(const Event& event);
    MasterStats stats() const;
    // Leaves the site. Afterwards nothing more reaches the library.
    void stop();

  private:
    // In addition to the gate's own record of a device.
    struct Extra {
        DelaySamples delay;
        DelaySamples counting;
        double frames_per_second = 0.0;
    };

    // A message that waits for the end of a pass with it.
    struct Uncounted {
        int slave = 0;
        std::int64_t sent_us = 0;
        std::int64_t frame = 0;  // the last pass without it
    };

    void on_connection(bool connected, const std::string& reason);
    void on_message(const MqttMessage& message);
    void await_count(int slave, std::int64_t sent_us);
    void end_pass(std::int64_t frame);
    void take_tracks(std::string_view device, const MqttMessage& message);
    void take_status(std::string_view device, const MqttMessage& message);
    void take_request(std::string_view device);
    void deliver(MASTER_MSG_S& message, const MqttMessage& source);
    void refuse(std::string_view device, const std::string& why);
    void tick();
    std::string carry_out(const DeviceChange& change);
    void send_status(bool online);
    std::string status_text(bool online);
    void report(const std::string& sentence) const;
    Extra& extra_of(int slave);

    Bus& bus_;
    MasterSettings settings_;
    MasterHooks hooks_;
    const std::string status_topic_;

    mutable std::mutex mutex_;
    bool connected_ = false;
    bool reached_ = false;
    int outages_ = 0;
    std::string outage_;
    TrackGate gate_;
    std::vector<Extra> extras_;  // by the index of the device
    std::int64_t requests_ = 0;
    double next_heartbeat_s_ = 0.0;
    FrameRate frame_rate_;
    std::vector<Uncounted> uncounted_;       // only touched by the bus thread
    std::set<std::string> refused_devices_;  // only touched by the client's thread

    MqttClient client_;
    std::optional<Ticker> ticker_;
};

}  // namespace host
