// What one device of a place, a camera or the place as a whole, publishes to an MQTT broker: each
// of its events, in their order, until the broker has confirmed it; and, retained, how things
// stand.
//
// At most 20 events are on their way. A confirmation moves the cursor in the device's database;
// after a lost connection sending goes on at the cursor, so that an event may come twice, always
// with the same device, epoch and sequence.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/base/log_lines.h"
#include "host/net/mqtt_client.h"
#include "host/publish/home_assistant.h"
#include "host/publish/mqtt_topics.h"
#include "host/store/subscription.h"

namespace host {

struct MqttDeviceSetup {
    MqttSettings broker;
    std::string place;
    std::string name;  // of the camera, or of the place's own device
    MqttRole role = MqttRole::kCamera;
    std::string database;  // which need not exist yet
    std::string time_zone;
    bool home_assistant = true;
    // One sentence when the connection comes and goes; any thread.
    std::function<void(LogLevel, const std::string&)> say;
    // There is something to do; any thread.
    std::function<void()> wake;
    // Somebody wants this area to be empty; on the client's thread. Null where nobody may.
    std::function<void(const std::string& area)> reset{};
    std::chrono::milliseconds pause{10'000};   // after a message that the broker did not want
    std::chrono::milliseconds patience{1000};  // with confirmations when it ends
};

// How a device stands at the moment.
struct MqttDeviceNow {
    std::string status;
    std::vector<MqttState> states;
    // Where it is known what the device has: lines, regions and areas that are neither among the
    // states nor here are taken away from the broker.
    std::optional<DiscoveredDevice> described;
    // Of the place's own device: the devices that the place has. Others of it that are described on
    // the broker are taken away.
    std::set<std::string> ids{};
};

class MqttDevice {
  public:
    // Throws std::runtime_error and std::invalid_argument for settings that cannot work.
    explicit MqttDevice(MqttDeviceSetup setup);
    // Waits a little for what is on its way, and says that it was stopped.
    ~MqttDevice();
    MqttDevice(const MqttDevice&) = delete;
    MqttDevice& operator=(const MqttDevice&) = delete;

    const MqttTopics& topics() const { return topics_; }
    // Whether there is a broker that takes something. Throws as the constructor does.
    bool ready();
    // Sends what has come since.
    void send_events();
    // Publishes what is not as it was told last.
    void show(const MqttDeviceNow& now);

  private:
    using Clock = std::chrono::steady_clock;
    struct OnItsWay {
        int message = 0;
        Committed event;
        bool confirmed = false;
    };

    std::vector<std::string> subscriptions() const;
    void connect();
    void on_connection(bool connected, const std::string& reason);
    void on_message(const MqttMessage& message);
    void keep_description(const std::string& id, const std::string& text);
    void on_confirmed(int message, const std::string& refusal);
    bool was_refused();
    bool open_subscription();
    void forget_events();
    void take_confirmed();
    void wait_for_confirmations();
    bool send(const ToldEvent& event);
    bool tell(const std::string& topic, const std::string& text);
    void remove_stale(const std::vector<MqttState>& states);
    void remove_devices(const std::set<std::string>& ids);
    void describe(const DiscoveredDevice& device);

    const MqttDeviceSetup setup_;
    const MqttTopics topics_;
    const TimeZone zone_;

    // Shared with the client's thread.
    std::mutex mutex_;
    std::condition_variable confirmed_;
    bool was_connected_ = false;
    bool broken_ = false;   // the connection, after it had been there
    bool settled_ = false;  // the broker has answered, so what it keeps has come before
    bool describe_again_ = false;
    std::string refusal_;                           // why the broker did not want something
    std::map<std::string, std::string> described_;  // devices of the place by their id
    std::set<std::string, std::less<>> kept_;       // changing topics of which the broker has one
    std::deque<OnItsWay> on_their_way_;             // events
    std::set<int> telling_;                         // of the rest

    std::string refusal_said_;
    Clock::time_point pause_until_{};
    std::optional<Subscription> subscription_;
    Clock::time_point next_attempt_{};
    std::deque<ToldEvent> waiting_;
    std::map<std::string, std::string> told_;  // by topic

    std::unique_ptr<MqttClient> client_;
};

}  // namespace host
