// Where counts lie on an MQTT broker, and what is there to be read.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/sinks/camera_figures.h"
#include "host/store/store_reader.h"
#include "host/store/visitors.h"

namespace host {

// What stands under the status of a device.
namespace mqtt_status {
inline constexpr const char* kOnline = "online";
inline constexpr const char* kStopped = "stopped";  // by somebody who asked for it
inline constexpr const char* kOffline = "offline";
}  // namespace mqtt_status
inline constexpr const char* kResetPayload = "reset";
// Direction 1 and 2 in payloads and identifiers, whatever they are called.
inline constexpr std::array kDirectionKeys{"in", "out"};

enum class MqttRole { kCamera, kPlace };

// Topics of a device: a camera, or the place as a whole.
class MqttTopics {
  public:
    // Names of letters, digits, - and _.
    MqttTopics(const std::string& place, const std::string& device, MqttRole role);

    std::string status() const { return base_ + "/status"; }
    std::string health() const { return base_ + "/health"; }
    std::string event() const { return base_ + "/event"; }
    std::string line(const std::string& name) const;
    std::string region(const std::string& name) const;
    // Of the place.
    std::string occupancy(const std::string& area) const;
    std::string reset(const std::string& area) const;
    std::string reset_pattern() const { return occupancies_ + "+/reset"; }
    // The area that a topic resets; nothing for another topic.
    std::optional<std::string> reset_area(std::string_view topic) const;

    // Of what comes and goes with the settings: lines and regions, of the place its areas.
    std::vector<std::string> changing_patterns() const;
    bool is_changing(std::string_view topic) const;

    // "vca/museum/", which the topics of a place begin with, and those of no other.
    const std::string& place() const { return place_; }
    // "vca_museum_door", which other programs know the device by.
    const std::string& id() const { return id_; }

  private:
    std::string place_;
    std::string occupancies_;
    std::string base_;
    std::string id_;
    std::vector<std::string> changing_;  // what these topics begin with
};

// A name as a part of a topic: the characters that have a meaning there, and control characters,
// are percent-encoded.
std::string topic_part(const std::string& name);
// A name as a part of an identifier, which has letters, digits, - and _; names that differ keep
// differing, and none has a _ of its own but before two digits of a code.
std::string identifier_part(const std::string& name);

// A retained message and its topic.
struct MqttState {
    std::string topic;
    std::string payload;
};

// A line and what its directions are called.
struct NamedLine {
    std::string name;
    std::array<std::string, 2> directions = CountingLine{}.directions;
};
// Totals of these lines in both directions, as far as they are known.
std::vector<MqttState> line_states(const MqttTopics& topics, const StoreReader& store,
                                   const std::vector<NamedLine>& lines, const TimeZone& zone);
std::vector<MqttState> region_states(const MqttTopics& topics, const CameraFigures& figures);
MqttState health_state(const MqttTopics& topics, const std::vector<HealthNote>& faults);
MqttState area_state(const MqttTopics& topics, const Area& area, const AreaBalance& balance);

}  // namespace host
