// A slave's side of the link: sends the library's tracks to the master and sets the library's frame
// counter by the master's.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "host/engine/bus.h"
#include "host/link/frame_rate.h"
#include "host/link/track_gate.h"
#include "host/net/mqtt_client.h"
#include "host/net/ticker.h"

namespace host {

struct SlaveSettings {
    std::string site;
    LinkDevice device;
    MqttSettings broker;       // an empty client id is replaced by one made of site and device
    double ask_s = 2.0;        // between two requests for the master's frame count
    double heartbeat_s = 1.0;  // between two status messages
};

struct SlaveHooks {
    std::function<std::int32_t()> frame_count;  // the library's feed frame counter; any thread
    // One sentence about the connection, for a person; called on the link's threads.
    std::function<void(const std::string&)> report;
};

struct SlaveStats {
    bool connected = false;
    bool reached = false;           // connected at least once
    int outages = 0;                // how often it was lost afterwards
    std::string outage;             // why the connection was last missing
    bool synchronised = false;      // the master has answered
    std::int64_t sent = 0;          // track messages handed to the connection
    std::int64_t withheld = 0;      // not sent for lack of a frame number from the master
    std::int64_t disconnected = 0;  // not sent because there was no connection
    std::int64_t answers = 0;       // frame counts received
    std::int64_t refused = 0;       // messages that are not a frame count
};

class SlaveBridge {
  public:
    // Create it when the library is up and stop it before the library is stopped: it sends messages
    // to the library. Throws std::invalid_argument or std::runtime_error with one sentence.
    SlaveBridge(Bus& bus, SlaveSettings settings, SlaveHooks hooks);
    ~SlaveBridge();
    SlaveBridge(const SlaveBridge&) = delete;
    SlaveBridge& operator=(const SlaveBridge&) = delete;

    // Call it with every event of the library, on the bus thread; it does not wait.
    void on_event(const Event& event);
    SlaveStats stats() const;
    // Leaves the site. Afterwards on_event() sends nothing.
    void stop();

  private:
    void on_connection(bool connected, const std::string& reason);
    void on_message(const MqttMessage& message);
    void tick();
    void send_status(bool online);

    Bus& bus_;
    SlaveSettings settings_;
    SlaveHooks hooks_;
    const std::string tracks_topic_;
    const std::string ask_topic_;
    const std::string status_topic_;

    mutable std::mutex mutex_;
    SlaveStats stats_;
    SenderClock clock_;
    bool numbered_ = false;
    std::int32_t last_number_ = 0;
    double next_ask_s_ = 0.0;
    double next_heartbeat_s_ = 0.0;
    FrameRate frame_rate_;

    MqttClient client_;
    std::optional<Ticker> ticker_;
};

}  // namespace host
