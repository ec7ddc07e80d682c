// Reception, delivery and supervision of the slaves.
#include "host/link/master_bridge.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/base/text.h"
#include "host/link/link_parts.h"
#include "vca/messages.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

// Devices whose refusal is reported one by one; a stranger could invent any number of names.
constexpr std::size_t kMostRefusals = 32;
constexpr std::size_t kLongestShownName = 64;

// Messages that wait for a pass that shows somebody: far more than come between two passes.
constexpr std::size_t kMostUncounted = 1024;

MasterSettings checked(MasterSettings settings) {
    if (!(settings.heartbeat_s > 0.0)) {
        throw std::invalid_argument("the time between two heartbeats must be above 0 s");
    }
    for (const LinkDevice& slave : settings.slaves) {
        if (slave.name != settings.name) continue;
        throw std::invalid_argument("the master and a slave have the same name " + slave.name);
    }
    return settings;
}

std::vector<std::string> subscriptions(const std::string& site) {
    return {device_topic(site, "+", kTracksTopic), device_topic(site, "+", kStatusTopic),
            device_topic(site, "+", kAskFrameCountTopic)};
}

std::string refusal_text(Verdict verdict, std::size_t length) {
    switch (verdict) {
        case Verdict::kUnknownDevice:
            return "it is not a slave of this site";
        case Verdict::kWrongLength:
            return "its length is " + std::to_string(length) + " bytes, not " +
                   std::to_string(sizeof(MASTER_MSG_S));
        case Verdict::kWrongIndex:
            return "its device index is not the one of this site";
        default:
            return "its number of tracks is not within 0 to 90";
    }
}

// A name from the network, fit to be shown.
std::string shown_name(std::string_view name) {
    std::string shown(name.substr(0, kLongestShownName));
    for (char& c : shown) {
        if (c < ' ' || c > '~') c = '?';
    }
    return shown;
}

// Milliseconds since a device's own clock said `sent_us`. In double precision, because a device may
// claim any time at all; real ones, below 2^53 us, are exact.
double delay_ms(std::int64_t now_us, std::int64_t sent_us) {
    return (static_cast<double>(now_us) - static_cast<double>(sent_us)) / 1000.0;
}

std::string seconds_text(double seconds) {
    return format_text("%.1f s", seconds);
}

}  // namespace

MasterBridge::MasterBridge(Bus& bus, MasterSettings settings, MasterHooks hooks)
    : bus_(bus),
      settings_(checked(std::move(settings))),
      hooks_(std::move(hooks)),
      status_topic_(device_topic(settings_.site, settings_.name, kStatusTopic)),
      gate_(settings_.slaves, settings_.gate, link_clock_s()),
      extras_(VCA_SLAVE_MAX),
      client_(broker_for(settings_.broker, settings_.site, settings_.name),
              subscriptions(settings_.site), {status_topic_, offline_status("master")},
              {[this](const MqttMessage& message) { on_message(message); },
               [this](bool connected, const std::string& reason) {
                   on_connection(connected, reason);
               }}) {
    ticker_.emplace(kLinkTick, [this] { tick(); });
}

MasterBridge::~MasterBridge() {
    stop();
}

void MasterBridge::stop() {
    if (!ticker_) return;
    ticker_.reset();
    send_status(false);
    client_.stop();
}

void MasterBridge::report(const std::string& sentence) const {
    if (hooks_.report) hooks_.report(sentence);
}

MasterBridge::Extra& MasterBridge::extra_of(int slave) {
    return extras_[static_cast<std::size_t>(slave)];
}

void MasterBridge::on_connection(bool connected, const std::string& reason) {
    {
        const std::lock_guard lock(mutex_);
        connected_ = connected;
        if (!connected && reached_) ++outages_;
        reached_ = reached_ || connected;
        if (!connected) outage_ = reason;
    }
    report(connected ? "connected to the broker" : reason + kTriedAgain);
    if (connected) send_status(true);
}

void MasterBridge::on_event(const Event& event) {
    if (std::holds_alternative<TracksShown>(event.payload)) return end_pass(event.frame_number);
    const auto* count = std::get_if<FrameCount>(&event.payload);
    if (count == nullptr) return;
    // Neither confirmed nor retained: a count that had to wait would be a wrong count.
    const std::int32_t number = count->frame_count;
    client_.publish({frame_count_topic(settings_.site), bytes_of(number), 0, false, {}});
}

void MasterBridge::on_message(const MqttMessage& message) {
    const std::optional<DeviceTopic> topic = split_topic(settings_.site, message.topic);
    // What the broker kept says nothing about the present.
    if (!topic || message.retained || topic->device == settings_.name) return;
    if (topic->kind == kTracksTopic) take_tracks(topic->device, message);
    if (topic->kind == kStatusTopic) take_status(topic->device, message);
    if (topic->kind == kAskFrameCountTopic) take_request(topic->device);
}

void MasterBridge::take_tracks(std::string_view device, const MqttMessage& message) {
    MASTER_MSG_S packet;
    Verdict verdict = Verdict::kUnknownDevice;
    {
        const std::lock_guard lock(mutex_);
        verdict = gate_.judge(
            {device, message.payload, parse_sender_clock(property(message, kClockProperty)),
             hooks_.frame_count(), link_clock_s()},
            packet);
        // Under the lock, so that no empty message of the supervision overtakes it.
        if (verdict == Verdict::kDeliver) deliver(packet, message);
    }
    if (is_refusal(verdict)) refuse(device, refusal_text(verdict, message.payload.size()));
}

void MasterBridge::deliver(MASTER_MSG_S& packet, const MqttMessage& source) {
    const int slave = static_cast<int>(packet.slave_idx);
    if (hooks_.map) hooks_.map(slave, packet.msg);
    bus_.send_to_library(VCA_MSG_SLAVE_TRACKS, &packet, sizeof packet);
    const std::string_view text = property(source, kSentProperty);
    std::int64_t sent_us = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), sent_us);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return;
    extra_of(slave).delay.add(delay_ms(wall_clock_us(), sent_us));
    await_count(slave, sent_us);
}

// The library takes the message between two passes, when frame_in_work() is that of the pass
// before.
void MasterBridge::await_count(int slave, std::int64_t sent_us) {
    if (!hooks_.frame_in_work) return;
    bus_.call([this, slave, sent_us] {
        if (uncounted_.size() >= kMostUncounted) return;
        uncounted_.push_back({slave, sent_us, hooks_.frame_in_work()});
    });
}

// The merged scene of a frame is sent in the pass that counts it.
void MasterBridge::end_pass(std::int64_t frame) {
    if (uncounted_.empty()) return;
    const std::int64_t now_us = wall_clock_us();
    const std::lock_guard lock(mutex_);
    std::erase_if(uncounted_, [&](const Uncounted& message) {
        if (frame <= message.frame) return false;
        extra_of(message.slave).counting.add(delay_ms(now_us, message.sent_us));
        return true;
    });
}

void MasterBridge::refuse(std::string_view device, const std::string& why) {
    const std::string name = shown_name(device);
    if (refused_devices_.size() >= kMostRefusals || !refused_devices_.insert(name).second) return;
    report("a message of the device \"" + name + "\" is refused, because " + why +
           "; further ones are only counted");
}

void MasterBridge::take_status(std::string_view device, const MqttMessage& message) {
    const Json status = Json::parse(message.payload.begin(), message.payload.end(), nullptr, false);
    const auto online = status.is_object() ? status.find("online") : status.end();
    const bool fits = online != status.end() && online->is_boolean();
    bool known = false;
    {
        const std::lock_guard lock(mutex_);
        if (!fits) {
            known = gate_.refuse(device);
        } else if (online->get<bool>()) {
            known = gate_.heard(device, link_clock_s());
        } else {
            known = gate_.said_goodbye(device);
        }
        const auto rate = fits ? status.find("fps") : status.end();
        const std::optional<int> index = gate_.index_of(device);
        if (index && rate != status.end() && rate->is_number()) {
            extra_of(*index).frames_per_second = rate->get<double>();
        }
    }
    if (!known) return refuse(device, refusal_text(Verdict::kUnknownDevice, 0));
    if (!fits) refuse(device, "its status is not understood");
}

void MasterBridge::take_request(std::string_view device) {
    bool known = false;
    {
        const std::lock_guard lock(mutex_);
        known = gate_.index_of(device).has_value() || gate_.refuse(device);
        if (known) ++requests_;
    }
    if (!known) return refuse(device, refusal_text(Verdict::kUnknownDevice, 0));
    bus_.send_to_library(VCA_MSG_ASK_FRAME_COUNT, nullptr, 0);
}

std::string MasterBridge::carry_out(const DeviceChange& change) {
    const std::string name = "the device " + change.device.name;
    switch (change.kind) {
        case DeviceChange::Kind::kMissing:
            return name + " is missing";
        case DeviceChange::Kind::kBack:
            return name + " is back after " + seconds_text(change.silent_s);
        default: {
            MASTER_MSG_S nobody{};
            nobody.slave_idx = static_cast<std::uint32_t>(change.device.index);
            bus_.send_to_library(VCA_MSG_SLAVE_TRACKS, &nobody, sizeof nobody);
            return "the people last seen by " + name + " are taken out of the scene";
        }
    }
}

void MasterBridge::tick() {
    std::vector<std::string> sentences;
    bool beat_now = false;
    const double now_s = link_clock_s();
    {
        const std::lock_guard lock(mutex_);
        for (const DeviceChange& change : gate_.review(now_s))
            sentences.push_back(carry_out(change));
        beat_now = connected_ && now_s >= next_heartbeat_s_;
        if (beat_now) next_heartbeat_s_ = now_s + settings_.heartbeat_s;
    }
    for (const std::string& sentence : sentences)
        report(sentence);
    if (beat_now) send_status(true);
}

std::string MasterBridge::status_text(bool online) {
    const std::int32_t frame = hooks_.frame_count();
    const std::lock_guard lock(mutex_);
    Json missing = Json::array();
    for (const DeviceState& state : gate_.states()) {
        if (state.missing) missing.push_back(state.device.name);
    }
    return Json{{"online", online},
                {"role", "master"},
                {"frame", frame},
                {"fps", frame_rate_.read(frame, link_clock_s())},
                {"missing", std::move(missing)}}
        .dump();
}

void MasterBridge::send_status(bool online) {
    const std::string text = status_text(online);
    client_.publish({status_topic_, as_payload(text), 1, true, {}});
}

MasterStats MasterBridge::stats() const {
    const std::lock_guard lock(mutex_);
    MasterStats stats{connected_, reached_, outages_, outage_, gate_.unknown(), requests_, {}};
    for (DeviceState& state : gate_.states()) {
        const Extra& extra = extras_[static_cast<std::size_t>(state.device.index)];
        stats.slaves.push_back({std::move(state), extra.delay.summary(), extra.counting.summary(),
                                extra.frames_per_second});
    }
    return stats;
}

}  // namespace host
