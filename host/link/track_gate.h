// Decides which track messages of the slaves reach the master's library: from known devices, in
// order and young enough by the common frame numbers; and which devices are missing. Knows neither
// network nor clock.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/link/link_topics.h"
#include "vca/cascade.h"

namespace host {

// A slave of the site.
struct LinkDevice {
    std::string name;
    int index = 0;  // 0 to 14, which is how the library tells slaves apart
};

struct GateSettings {
    int max_age_frames = 15;    // older ones are late
    int max_ahead_frames = 15;  // ones further ahead follow another clock
    double stale_s = 2.0;       // silence after which a device is missing
};

enum class Verdict {
    kDeliver,
    kLate,          // older than the limit on the master's clock
    kForeignClock,  // further ahead than the limit: not on the master's clock
    kRepeated,      // the number of the last message
    kOutOfOrder,    // a number, or a numbering, before the last message's
    kUnknownDevice,
    kWrongLength,
    kWrongIndex,  // not the index that the site gives the device
    kWrongCount   // a number of tracks that the record cannot hold
};

bool is_refusal(Verdict verdict);

// One message as it came from the network.
struct TracksArrival {
    std::string_view device;
    std::span<const std::uint8_t> payload;  // MASTER_MSG_S with the sender's frame in `reserved`
    SenderClock clock;
    std::int32_t master_frame = 0;  // the master's own frame counter
    double now_s = 0.0;
};

// All messages of a device are counted in `received` and in exactly one of the next six.
struct DeviceCounters {
    std::int64_t received = 0;
    std::int64_t delivered = 0;
    std::int64_t late = 0;
    std::int64_t foreign_clock = 0;
    std::int64_t repeated = 0;
    std::int64_t out_of_order = 0;
    std::int64_t refused = 0;
    std::int64_t stale_periods = 0;
    std::int64_t cleared = 0;  // empty messages delivered on the device's behalf
};

struct DeviceState {
    LinkDevice device;
    bool missing = false;
    DeviceCounters counters;
    std::int32_t last_frame = 0;  // of the last delivered message
    std::int32_t age_frames = 0;  // and its age at that time
};

// What has to be done about a device, as found by review().
struct DeviceChange {
    enum class Kind {
        kMissing,  // report it
        kBack,     // report it
        kClear     // deliver an empty message: the library would keep the last people for ever
    };
    Kind kind = Kind::kMissing;
    LinkDevice device;
    double silent_s = 0.0;  // kBack: how long nothing was heard
};

class TrackGate {
  public:
    // Throws std::invalid_argument with one sentence when names or indices are invalid or
    // duplicated, or a limit makes no sense. Times are seconds of any clock that never goes back.
    TrackGate(std::vector<LinkDevice> devices, GateSettings settings, double now_s);

    // Judges and counts a message; `message` is filled when it is to be delivered.
    Verdict judge(const TracksArrival& arrival, MASTER_MSG_S& message);
    // A sign of life, a goodbye, or another message that makes no sense. False when the device is
    // unknown.
    bool heard(std::string_view device, double now_s);
    bool said_goodbye(std::string_view device);
    bool refuse(std::string_view device);
    std::optional<int> index_of(std::string_view device) const;
    // What has become due, in the order in which it is to be done; each item once.
    std::vector<DeviceChange> review(double now_s);

    std::vector<DeviceState> states() const;
    // Messages that named no device of the site.
    std::int64_t unknown() const { return unknown_; }

  private:
    struct Device {
        DeviceState state;
        // The last delivered message.
        bool ordered = false;  // false: any number may come next
        SenderClock clock;
        std::int32_t frame = 0;
        bool holds_people = false;  // the library's copy of it
        double delivered_s = 0.0;
        // The last sign of life.
        double heard_s = 0.0;
        double silent_since_s = 0.0;  // of the last missing period
        bool gone = false;            // it said goodbye
    };

    // Null, and counted, when the name is not known.
    Device* find(std::string_view name);
    Verdict check_message(const Device& device, const TracksArrival& arrival,
                          MASTER_MSG_S& message) const;
    static void note_alive(Device& device, double now_s);
    Verdict check_time(Device& device, const TracksArrival& arrival, std::int32_t frame) const;
    void review_device(Device& device, double now_s, std::vector<DeviceChange>& due) const;

    std::vector<Device> devices_;
    GateSettings settings_;
    std::int64_t unknown_ = 0;
};

}  // namespace host
