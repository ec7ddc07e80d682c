// Checks of the messages one after the other, and the bookkeeping of silence.
#include "host/link/track_gate.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <stdexcept>

namespace host {
namespace {

void check_settings(const GateSettings& settings) {
    if (settings.max_age_frames < 1 || settings.max_ahead_frames < 1) {
        throw std::invalid_argument(
            "the greatest age and lead of a slave's tracks must be at least 1 frame");
    }
    if (!(settings.stale_s > 0.0) || !std::isfinite(settings.stale_s)) {
        throw std::invalid_argument(
            "the silence after which a device is missing must be above 0 s");
    }
}

void check_devices(const std::vector<LinkDevice>& devices) {
    std::set<std::string> names;
    std::set<int> indices;
    for (const LinkDevice& device : devices) {
        check_topic_name(device.name, "the device name");
        const std::string index = std::to_string(device.index);
        if (device.index < 0 || device.index >= VCA_SLAVE_MAX) {
            throw std::invalid_argument("the device " + device.name + " has the index " + index +
                                        "; slaves have 0 to 14");
        }
        if (!names.insert(device.name).second) {
            throw std::invalid_argument("two devices have the name " + device.name);
        }
        if (!indices.insert(device.index).second) {
            throw std::invalid_argument("two devices have the index " + index);
        }
    }
}

void count(Verdict verdict, DeviceCounters& counters) {
    ++counters.received;
    switch (verdict) {
        case Verdict::kDeliver:
            ++counters.delivered;
            break;
        case Verdict::kLate:
            ++counters.late;
            break;
        case Verdict::kForeignClock:
            ++counters.foreign_clock;
            break;
        case Verdict::kRepeated:
            ++counters.repeated;
            break;
        case Verdict::kOutOfOrder:
            ++counters.out_of_order;
            break;
        default:
            ++counters.refused;
            break;
    }
}

// The sender's frame travels where the library's record has a reserved word.
std::int32_t take_frame(MASTER_MSG_S& message) {
    const auto frame = static_cast<std::int32_t>(message.reserved);
    message.reserved = 0;
    return frame;
}

}  // namespace

bool is_refusal(Verdict verdict) {
    return verdict >= Verdict::kUnknownDevice;
}

TrackGate::TrackGate(std::vector<LinkDevice> devices, GateSettings settings, double now_s)
    : settings_(settings) {
    check_settings(settings);
    check_devices(devices);
    for (LinkDevice& device : devices) {
        Device entry;
        entry.state.device = std::move(device);
        entry.heard_s = entry.silent_since_s = now_s;
        devices_.push_back(std::move(entry));
    }
}

TrackGate::Device* TrackGate::find(std::string_view name) {
    const auto found = std::find_if(devices_.begin(), devices_.end(), [name](const Device& device) {
        return device.state.device.name == name;
    });
    if (found != devices_.end()) return &*found;
    ++unknown_;
    return nullptr;
}

std::optional<int> TrackGate::index_of(std::string_view name) const {
    for (const Device& device : devices_) {
        if (device.state.device.name == name) return device.state.device.index;
    }
    return std::nullopt;
}

Verdict TrackGate::check_message(const Device& device, const TracksArrival& arrival,
                                 MASTER_MSG_S& message) const {
    if (arrival.payload.size() != sizeof message) return Verdict::kWrongLength;
    std::memcpy(&message, arrival.payload.data(), sizeof message);
    if (message.slave_idx != static_cast<std::uint32_t>(device.state.device.index)) {
        return Verdict::kWrongIndex;
    }
    const bool fits = message.msg.count >= 0 && message.msg.count <= VCA_SLAVE_TRACK_MAX;
    return fits ? Verdict::kDeliver : Verdict::kWrongCount;
}

Verdict TrackGate::check_time(Device& device, const TracksArrival& arrival,
                              std::int32_t frame) const {
    const std::int32_t age = frames_after(arrival.master_frame, frame);
    if (age > settings_.max_age_frames) return Verdict::kLate;
    if (age < -settings_.max_ahead_frames) return Verdict::kForeignClock;
    // A last number far ahead of the master's count means that the master itself restarted.
    const std::int32_t last_ahead = frames_after(device.frame, arrival.master_frame);
    if (!device.ordered || last_ahead > settings_.max_ahead_frames) return Verdict::kDeliver;
    if (!arrival.clock.process.empty()) {
        if (device.clock.process != arrival.clock.process) return Verdict::kDeliver;
        if (arrival.clock.turn > device.clock.turn) return Verdict::kDeliver;
        if (arrival.clock.turn < device.clock.turn) return Verdict::kOutOfOrder;
    }
    if (frame == device.frame) return Verdict::kRepeated;
    return frames_after(frame, device.frame) > 0 ? Verdict::kDeliver : Verdict::kOutOfOrder;
}

Verdict TrackGate::judge(const TracksArrival& arrival, MASTER_MSG_S& message) {
    Device* device = find(arrival.device);
    if (device == nullptr) return Verdict::kUnknownDevice;
    Verdict verdict = check_message(*device, arrival, message);
    if (verdict == Verdict::kDeliver) {
        note_alive(*device, arrival.now_s);
        const std::int32_t frame = take_frame(message);
        verdict = check_time(*device, arrival, frame);
        if (verdict == Verdict::kDeliver) {
            device->ordered = true;
            if (!arrival.clock.process.empty()) device->clock = arrival.clock;
            device->state.last_frame = device->frame = frame;
            device->state.age_frames = frames_after(arrival.master_frame, frame);
            device->holds_people = message.msg.count > 0;
            device->delivered_s = arrival.now_s;
        }
    }
    count(verdict, device->state.counters);
    return verdict;
}

bool TrackGate::heard(std::string_view name, double now_s) {
    Device* device = find(name);
    if (device == nullptr) return false;
    note_alive(*device, now_s);
    return true;
}

void TrackGate::note_alive(Device& device, double now_s) {
    device.heard_s = now_s;
    device.gone = false;
}

bool TrackGate::refuse(std::string_view name) {
    Device* device = find(name);
    if (device == nullptr) return false;
    count(Verdict::kWrongLength, device->state.counters);
    return true;
}

bool TrackGate::said_goodbye(std::string_view name) {
    Device* device = find(name);
    if (device == nullptr) return false;
    device->gone = true;
    device->ordered = false;
    return true;
}

// People not confirmed for that long are cleared even when the device itself is alive: its last,
// empty message may have been lost, or all its messages are dropped.
void TrackGate::review_device(Device& device, double now_s, std::vector<DeviceChange>& due) const {
    DeviceState& state = device.state;
    const bool missing = device.gone || now_s - device.heard_s > settings_.stale_s;
    const bool outdated = missing || now_s - device.delivered_s > settings_.stale_s;
    if (missing && !state.missing) {
        state.missing = true;
        ++state.counters.stale_periods;
        device.silent_since_s = device.heard_s;
        due.push_back({DeviceChange::Kind::kMissing, state.device, 0.0});
    }
    if (!missing && state.missing) {
        state.missing = false;
        due.push_back(
            {DeviceChange::Kind::kBack, state.device, device.heard_s - device.silent_since_s});
    }
    if (outdated && device.holds_people) {
        device.holds_people = false;
        ++state.counters.cleared;
        due.push_back({DeviceChange::Kind::kClear, state.device, 0.0});
    }
}

std::vector<DeviceChange> TrackGate::review(double now_s) {
    std::vector<DeviceChange> due;
    for (Device& device : devices_)
        review_device(device, now_s, due);
    return due;
}

std::vector<DeviceState> TrackGate::states() const {
    std::vector<DeviceState> states;
    for (const Device& device : devices_)
        states.push_back(device.state);
    return states;
}

}  // namespace host
