// A connection to an MQTT broker that reconnects by itself and never makes its user wait.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

struct mosquitto;

namespace host {

struct MqttSettings {
    std::string host = "127.0.0.1";
    int port = 1883;
    std::string client_id;  // unique on the broker
    std::string user;       // empty: nobody
    std::string password;
    bool tls = false;
    std::string ca_file;  // PEM, of whoever signed the broker's certificate; empty: the system's
    std::string certificate;  // of the client, PEM, with its key; empty: none
    std::string key;
    // Pause before a new attempt to connect: doubled after every failed one up to the longest.
    double reconnect_first_s = 0.25;
    double reconnect_longest_s = 4.0;
    // The broker is considered dead when it is silent for this long; 5 s is the protocol library's
    // minimum. This also bounds what can pile up for a broker that has stopped reading.
    int keepalive_s = 5;
};

// User properties of an MQTT 5 message.
using MqttProperties = std::vector<std::pair<std::string, std::string>>;

// A received message; the views are valid during the call only.
struct MqttMessage {
    std::string_view topic;
    std::span<const std::uint8_t> payload;
    bool retained = false;  // an old message that the broker kept for new subscribers
    MqttProperties properties;
};

// A message to send. Quality 0 is sent at most once, 1 is repeated until the broker confirms it.
struct MqttSend {
    std::string topic;
    std::span<const std::uint8_t> payload;
    int quality = 0;
    bool retain = false;
    MqttProperties properties;
};

// What the broker publishes, retained, when the connection is lost without a goodbye.
struct MqttWill {
    std::string topic;
    std::string payload;
};

std::span<const std::uint8_t> as_payload(std::string_view text);

class MqttClient {
  public:
    // Both are called on the client's own thread and may publish.
    struct Hooks {
        std::function<void(const MqttMessage&)> on_message;
        // True after every connect, when the broker has confirmed the subscriptions; false, with
        // the reason, once at the beginning of every outage, including when the broker is away from
        // the start, and once more when it answers and refuses.
        std::function<void(bool connected, const std::string& reason)> on_connection{};
        // The broker has this message of quality 1, by the number that publish() gave; or it does
        // not want it, with its reason.
        std::function<void(int number, const std::string& refusal)> on_confirmed{};
    };

    // Starts connecting and returns at once. Throws std::invalid_argument or std::runtime_error
    // with one sentence when the settings cannot work.
    MqttClient(MqttSettings settings, std::vector<std::string> subscriptions, const MqttWill& will,
               Hooks hooks);
    ~MqttClient();
    MqttClient(const MqttClient&) = delete;
    MqttClient& operator=(const MqttClient&) = delete;

    // Queues a copy for the broker and gives it a number. Nothing, and nothing is kept, while there
    // is no connection.
    std::optional<int> publish(const MqttSend& message) noexcept;
    // Connected, and subscribed.
    bool connected() const { return connected_; }
    // Sends what is queued, says goodbye (so that there is no last will) and ends the thread. No
    // hook is called afterwards. Must not be called from a hook.
    void stop();

  private:
    struct Callbacks;
    struct Destroy {
        void operator()(mosquitto* client) const;
    };

    void work();
    void say_goodbye();
    // Waits before the next attempt; false when the client is being stopped.
    bool pause(double seconds);
    void report_connection();
    void report_outage(int error);
    std::string outage_text(int error) const;

    MqttSettings settings_;
    std::vector<std::string> subscriptions_;
    Hooks hooks_;
    std::unique_ptr<mosquitto, Destroy> client_;
    std::atomic<bool> connected_{false};
    // Only touched by the client's thread.
    bool outage_reported_ = false;
    std::string refusal_;  // by a broker that answers; empty: none yet
    std::string refusal_reported_;

    std::mutex mutex_;
    std::condition_variable stop_changed_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace host
