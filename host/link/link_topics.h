// Names of what travels between the devices of a site; docs/network.md describes them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace host {

// A topic below "vca/SITE/DEVICE".
struct DeviceTopic {
    std::string_view device;
    std::string_view kind;
};

inline constexpr std::string_view kTracksTopic = "tracks";
inline constexpr std::string_view kAskFrameCountTopic = "ask-frame-count";
inline constexpr std::string_view kStatusTopic = "status";

// User properties of a tracks message.
inline constexpr std::string_view kClockProperty = "clock";
inline constexpr std::string_view kSentProperty = "sent-us";

// Throws std::invalid_argument unless a name of a site or device can be used in a topic: 1 to 64
// letters, digits, '-' and '_'. `what` begins the sentence.
void check_topic_name(std::string_view name, std::string_view what);

std::string device_topic(std::string_view site, std::string_view device, std::string_view kind);
std::string frame_count_topic(std::string_view site);
std::string client_id(std::string_view site, std::string_view device);

// The device and the kind of a topic of this site; nothing for topics of another form.
std::optional<DeviceTopic> split_topic(std::string_view site, std::string_view topic);

// Which numbering a frame number belongs to. A sender starts a new one whenever its numbers go
// back: with each start of its process, and when it is set back to the master's count.
struct SenderClock {
    std::string process;  // chosen anew with every start; empty when the sender does not say
    std::uint32_t turn = 0;
};

std::string to_text(const SenderClock& clock);
// Text in any other form gives a clock without a process.
SenderClock parse_sender_clock(std::string_view text);

// How many frames `a` is after `b`; counters wrap.
inline std::int32_t frames_after(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

// The bytes of a plain record.
template <typename Record>
std::span<const std::uint8_t> bytes_of(const Record& record) {
    return {reinterpret_cast<const std::uint8_t*>(&record), sizeof record};
}

}  // namespace host
