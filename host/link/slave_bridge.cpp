// Numbering, sending and synchronisation of a slave.
#include "host/link/slave_bridge.h"

#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>

#include "host/base/text.h"
#include "host/link/link_parts.h"
#include "vca/cascade.h"
#include "vca/messages.h"

namespace host {
namespace {

SlaveSettings checked(SlaveSettings settings) {
    if (settings.device.index < 0 || settings.device.index >= VCA_SLAVE_MAX) {
        throw std::invalid_argument("the device " + settings.device.name + " has the index " +
                                    std::to_string(settings.device.index) +
                                    "; slaves have 0 to 14");
    }
    if (!(settings.ask_s > 0.0) || !(settings.heartbeat_s > 0.0)) {
        throw std::invalid_argument(
            "the times between two requests and between two heartbeats must be above 0 s");
    }
    return settings;
}

std::string new_process_id() {
    std::random_device random;
    return format_text("%08x%08x", random(), random());
}

}  // namespace

SlaveBridge::SlaveBridge(Bus& bus, SlaveSettings settings, SlaveHooks hooks)
    : bus_(bus),
      settings_(checked(std::move(settings))),
      hooks_(std::move(hooks)),
      tracks_topic_(device_topic(settings_.site, settings_.device.name, kTracksTopic)),
      ask_topic_(device_topic(settings_.site, settings_.device.name, kAskFrameCountTopic)),
      status_topic_(device_topic(settings_.site, settings_.device.name, kStatusTopic)),
      clock_{new_process_id(), 0},
      client_(broker_for(settings_.broker, settings_.site, settings_.device.name),
              {frame_count_topic(settings_.site)}, {status_topic_, offline_status("slave")},
              {[this](const MqttMessage& message) { on_message(message); },
               [this](bool connected, const std::string& reason) {
                   on_connection(connected, reason);
               }}) {
    ticker_.emplace(kLinkTick, [this] { tick(); });
}

SlaveBridge::~SlaveBridge() {
    stop();
}

void SlaveBridge::stop() {
    if (!ticker_) return;
    ticker_.reset();
    send_status(false);
    client_.stop();
}

void SlaveBridge::on_connection(bool connected, const std::string& reason) {
    {
        const std::lock_guard lock(mutex_);
        stats_.connected = connected;
        if (!connected && stats_.reached) ++stats_.outages;
        stats_.reached = stats_.reached || connected;
        if (!connected) stats_.outage = reason;
        // At once: the master may have restarted meanwhile.
        next_ask_s_ = next_heartbeat_s_ = 0.0;
    }
    if (hooks_.report) hooks_.report(connected ? "connected to the broker" : reason + kTriedAgain);
    if (connected) tick();
}

void SlaveBridge::on_message(const MqttMessage& message) {
    {
        const std::lock_guard lock(mutex_);
        if (message.payload.size() != sizeof(std::int32_t) || message.retained) {
            ++stats_.refused;
            return;
        }
        ++stats_.answers;
        stats_.synchronised = true;
    }
    bus_.send_to_library(VCA_MSG_FRAME_COUNT, message.payload.data(), message.payload.size());
}

void SlaveBridge::on_event(const Event& event) {
    const auto* tracks = std::get_if<SlaveTracks>(&event.payload);
    if (tracks == nullptr) return;
    std::string clock;
    {
        const std::lock_guard lock(mutex_);
        if (!stats_.synchronised) {
            ++stats_.withheld;
            return;
        }
        if (numbered_ && frames_after(event.feed_count, last_number_) <= 0) ++clock_.turn;
        numbered_ = true;
        last_number_ = event.feed_count;
        clock = to_text(clock_);
    }
    const MASTER_MSG_S packet{static_cast<std::uint32_t>(settings_.device.index),
                              static_cast<std::uint32_t>(event.feed_count), *tracks->message};
    const auto sent =
        client_.publish({tracks_topic_,
                         bytes_of(packet),
                         0,
                         false,
                         {{std::string(kClockProperty), clock},
                          {std::string(kSentProperty), std::to_string(wall_clock_us())}}});
    const std::lock_guard lock(mutex_);
    ++(sent ? stats_.sent : stats_.disconnected);
}

void SlaveBridge::tick() {
    const double now_s = link_clock_s();
    bool ask_now = false;
    bool beat_now = false;
    {
        const std::lock_guard lock(mutex_);
        if (!stats_.connected) return;
        ask_now = now_s >= next_ask_s_;
        beat_now = now_s >= next_heartbeat_s_;
        if (ask_now) next_ask_s_ = now_s + settings_.ask_s;
        if (beat_now) next_heartbeat_s_ = now_s + settings_.heartbeat_s;
    }
    // Not confirmed: an answer to a request that had to wait would be a wrong count.
    if (ask_now) client_.publish({ask_topic_, {}, 0, false, {}});
    if (beat_now) send_status(true);
}

void SlaveBridge::send_status(bool online) {
    nlohmann::ordered_json status{{"online", online}, {"role", "slave"}};
    const std::int32_t frame = hooks_.frame_count();
    {
        const std::lock_guard lock(mutex_);
        status["index"] = settings_.device.index;
        status["frame"] = frame;
        status["fps"] = frame_rate_.read(frame, link_clock_s());
        status["synchronised"] = stats_.synchronised;
        status["sent"] = stats_.sent;
    }
    const std::string text = status.dump();
    client_.publish({status_topic_, as_payload(text), 1, true, {}});
}

SlaveStats SlaveBridge::stats() const {
    const std::lock_guard lock(mutex_);
    return stats_;
}

}  // namespace host
