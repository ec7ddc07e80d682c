// Thread, callbacks and reconnection of the MQTT connection.
#include "host/net/mqtt_client.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <system_error>

namespace host {
namespace {

using std::chrono::steady_clock;

constexpr const char* kSystemCertificates = "/etc/ssl/certs";
constexpr int kFirstRefusal = 128;  // of the reasons that a broker gives
constexpr int kLoopWait_ms = 1000;
constexpr std::chrono::milliseconds kGoodbyeTime{1000};

void init_library_once() {
    static const int result = mosquitto_lib_init();
    if (result != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error(std::string("cannot start the MQTT library: ") +
                                 mosquitto_strerror(result));
    }
}

void check(const MqttSettings& settings) {
    if (settings.host.empty()) throw std::invalid_argument("the broker's host name is empty");
    if (settings.port < 1 || settings.port > 65535) {
        throw std::invalid_argument("the broker's port is " + std::to_string(settings.port) +
                                    "; ports go from 1 to 65535");
    }
    if (settings.client_id.empty()) throw std::invalid_argument("the MQTT client id is empty");
    if (settings.keepalive_s < 5 || settings.keepalive_s > 65535) {
        throw std::invalid_argument("the MQTT keepalive time is " +
                                    std::to_string(settings.keepalive_s) +
                                    " s; it goes from 5 to 65535 s");
    }
    if (!(settings.reconnect_first_s > 0.0) ||
        !(settings.reconnect_longest_s >= settings.reconnect_first_s)) {
        throw std::invalid_argument(
            "the pauses between attempts to reach the broker must be above 0 s, and the longest "
            "not below the first");
    }
}

void must_succeed(int result, const std::string& what) {
    if (result == MOSQ_ERR_SUCCESS) return;
    throw std::runtime_error("cannot " + what + ": " + mosquitto_strerror(result));
}

void set_login(mosquitto* client, const MqttSettings& settings) {
    const auto text = [](const std::string& value) {
        return value.empty() ? nullptr : value.c_str();
    };
    if (!settings.user.empty()) {
        must_succeed(
            mosquitto_username_pw_set(client, settings.user.c_str(), text(settings.password)),
            "log in to the broker");
    }
    if (!settings.tls) return;
    if (settings.ca_file.empty()) {
        must_succeed(mosquitto_int_option(client, MOSQ_OPT_TLS_USE_OS_CERTS, 1),
                     "use the system's certificates");
    }
    const int result = mosquitto_tls_set(client, text(settings.ca_file),
                                         settings.ca_file.empty() ? kSystemCertificates : nullptr,
                                         text(settings.certificate), text(settings.key), nullptr);
    must_succeed(result, "use these certificates for the broker");
}

// A list of properties in the form of the MQTT library.
class PropertyList {
  public:
    explicit PropertyList(const MqttProperties& properties) {
        for (const auto& [name, value] : properties) {
            mosquitto_property_add_string_pair(&list_, MQTT_PROP_USER_PROPERTY, name.c_str(),
                                               value.c_str());
        }
    }
    ~PropertyList() { mosquitto_property_free_all(&list_); }
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;

    const mosquitto_property* get() const { return list_; }

  private:
    mosquitto_property* list_ = nullptr;
};

MqttProperties read_properties(const mosquitto_property* list) {
    MqttProperties properties;
    char* name = nullptr;
    char* value = nullptr;
    bool skip_first = false;
    while ((list = mosquitto_property_read_string_pair(list, MQTT_PROP_USER_PROPERTY, &name, &value,
                                                       skip_first)) != nullptr) {
        properties.emplace_back(name, value);
        std::free(name);
        std::free(value);
        skip_first = true;
    }
    return properties;
}

}  // namespace

std::span<const std::uint8_t> as_payload(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// What the MQTT library calls, on the client's thread.
struct MqttClient::Callbacks {
    static void on_connect(mosquitto* client, void* self_ptr, int code, int,
                           const mosquitto_property*) {
        auto& self = *static_cast<MqttClient*>(self_ptr);
        if (code != 0) {
            self.refusal_ = mosquitto_reason_string(code);
            return;
        }
        if (self.subscriptions_.empty()) return self.report_connection();
        std::vector<char*> patterns;
        for (std::string& pattern : self.subscriptions_)
            patterns.push_back(pattern.data());
        mosquitto_subscribe_multiple(client, nullptr, static_cast<int>(patterns.size()),
                                     patterns.data(), 1, 0, nullptr);
    }

    static void on_subscribe(mosquitto* client, void* self_ptr, int, int count, const int* granted,
                             const mosquitto_property*) {
        auto& self = *static_cast<MqttClient*>(self_ptr);
        const bool refused = std::any_of(granted, granted + count,
                                         [](int quality) { return quality >= kFirstRefusal; });
        if (!refused) return self.report_connection();
        self.refusal_ = "the broker refuses a subscription";
        mosquitto_disconnect(client);
    }

    static void on_publish(mosquitto*, void* self_ptr, int number, int reason,
                           const mosquitto_property*) {
        auto& self = *static_cast<MqttClient*>(self_ptr);
        if (!self.hooks_.on_confirmed) return;
        self.hooks_.on_confirmed(number,
                                 reason < kFirstRefusal ? "" : mosquitto_reason_string(reason));
    }

    static void on_message(mosquitto*, void* self_ptr, const mosquitto_message* message,
                           const mosquitto_property* properties) {
        auto& self = *static_cast<MqttClient*>(self_ptr);
        if (!self.hooks_.on_message) return;
        self.hooks_.on_message({message->topic,
                                {static_cast<const std::uint8_t*>(message->payload),
                                 static_cast<std::size_t>(std::max(message->payloadlen, 0))},
                                message->retain,
                                read_properties(properties)});
    }
};

void MqttClient::Destroy::operator()(mosquitto* client) const {
    mosquitto_destroy(client);
}

MqttClient::MqttClient(MqttSettings settings, std::vector<std::string> subscriptions,
                       const MqttWill& will, Hooks hooks)
    : settings_(std::move(settings)),
      subscriptions_(std::move(subscriptions)),
      hooks_(std::move(hooks)) {
    check(settings_);
    for (const std::string& pattern : subscriptions_) {
        must_succeed(mosquitto_sub_topic_check(pattern.c_str()), "subscribe to " + pattern);
    }
    init_library_once();
    client_.reset(mosquitto_new(settings_.client_id.c_str(), true, this));
    if (!client_) throw std::runtime_error("cannot make an MQTT client; free some memory");
    must_succeed(mosquitto_int_option(client_.get(), MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5),
                 "use MQTT 5");
    // Tracks are small and wanted at once, so they must not wait for more to be sent.
    must_succeed(mosquitto_int_option(client_.get(), MOSQ_OPT_TCP_NODELAY, 1),
                 "send without delay");
    must_succeed(mosquitto_threaded_set(client_.get(), true), "use the MQTT client from threads");
    set_login(client_.get(), settings_);
    if (!will.topic.empty()) {
        must_succeed(
            mosquitto_will_set(client_.get(), will.topic.c_str(),
                               static_cast<int>(will.payload.size()), will.payload.data(), 1, true),
            "leave a last will under " + will.topic);
    }
    mosquitto_connect_v5_callback_set(client_.get(), Callbacks::on_connect);
    mosquitto_subscribe_v5_callback_set(client_.get(), Callbacks::on_subscribe);
    mosquitto_message_v5_callback_set(client_.get(), Callbacks::on_message);
    mosquitto_publish_v5_callback_set(client_.get(), Callbacks::on_publish);
    try {
        thread_ = std::thread([this] { work(); });
    } catch (const std::system_error&) {
        throw std::runtime_error(
            "cannot start the thread of the MQTT client; free some memory or raise the limit of "
            "threads");
    }
}

MqttClient::~MqttClient() {
    stop();
}

std::optional<int> MqttClient::publish(const MqttSend& message) noexcept {
    if (!connected_) return std::nullopt;
    try {
        const PropertyList properties(message.properties);
        int number = 0;
        const int result = mosquitto_publish_v5(
            client_.get(), &number, message.topic.c_str(), static_cast<int>(message.payload.size()),
            message.payload.data(), message.quality, message.retain, properties.get());
        if (result != MOSQ_ERR_SUCCESS) return std::nullopt;
        return number;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void MqttClient::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        stop_changed_.notify_all();
    }
    if (!thread_.joinable()) return;
    // Queued behind everything published so far; it also wakes the thread.
    mosquitto_disconnect(client_.get());
    thread_.join();
}

// Connecting does not block, so that a stop is never held up by an address that does not answer.
void MqttClient::work() {
    double delay_s = settings_.reconnect_first_s;
    int result = mosquitto_connect_async(client_.get(), settings_.host.c_str(), settings_.port,
                                         settings_.keepalive_s);
    while (pause(0.0)) {
        if (result == MOSQ_ERR_SUCCESS) {
            result = mosquitto_loop(client_.get(), kLoopWait_ms, 1);
            if (connected_) delay_s = settings_.reconnect_first_s;
            continue;
        }
        report_outage(result);
        if (!pause(delay_s)) break;
        delay_s = std::min(2.0 * delay_s, settings_.reconnect_longest_s);
        result = mosquitto_reconnect_async(client_.get());
    }
    say_goodbye();
}

void MqttClient::say_goodbye() {
    const auto end = steady_clock::now() + kGoodbyeTime;
    while (connected_ && steady_clock::now() < end) {
        if (mosquitto_loop(client_.get(), 50, 1) != MOSQ_ERR_SUCCESS) connected_ = false;
    }
    connected_ = false;
}

bool MqttClient::pause(double seconds) {
    std::unique_lock lock(mutex_);
    stop_changed_.wait_for(lock, std::chrono::duration<double>(seconds),
                           [this] { return stopping_; });
    return !stopping_;
}

void MqttClient::report_connection() {
    refusal_.clear();
    refusal_reported_.clear();
    outage_reported_ = false;
    connected_ = true;
    if (hooks_.on_connection) hooks_.on_connection(true, "");
}

void MqttClient::report_outage(int error) {
    const std::string reason = outage_text(error);
    connected_ = false;
    // A broker that was away may be back and refuse the password.
    if (outage_reported_ && refusal_ == refusal_reported_) return;
    outage_reported_ = true;
    refusal_reported_ = refusal_;
    if (hooks_.on_connection) hooks_.on_connection(false, reason);
}

std::string MqttClient::outage_text(int error) const {
    std::string why = mosquitto_strerror(error);
    if (error == MOSQ_ERR_ERRNO) why = std::generic_category().message(errno);
    if (!refusal_.empty()) why = refusal_;
    return "no connection to the broker at " + settings_.host + ":" +
           std::to_string(settings_.port) + " (" + why + ")";
}

}  // namespace host
