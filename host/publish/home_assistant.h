// The messages by which Home Assistant finds cameras on an MQTT broker: one for each device, as it
// is described at home-assistant.io under MQTT discovery.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/publish/mqtt_topics.h"
#include "host/store/visitors.h"

namespace host {

inline constexpr const char* kDiscoveryPattern = "homeassistant/device/+/config";
// Tells "online" when it has been started.
inline constexpr const char* kBirthTopic = "homeassistant/status";

std::string discovery_topic(const std::string& id);
// The device that a topic describes; empty for another topic.
std::string discovered_id(std::string_view topic);

// What of a device is described.
struct DiscoveredDevice {
    std::string place;
    std::string name;
    std::string page;  // address of the page; empty: none
    std::vector<NamedLine> lines;
    std::vector<std::string> regions;
    std::vector<Area> areas;
    bool resets = false;  // areas may be reset
};

// `before` is the message that the broker has, or nothing: what is there and not here any more is
// told as removed.
std::string discovery_message(const MqttTopics& topics, const DiscoveredDevice& device,
                              const std::string& before);

// Where the device of a message tells its status; empty for what is no such message.
std::string status_topic_of(const std::string& message);
// That, and where everything else of it is told.
std::vector<std::string> state_topics_of(const std::string& message);

}  // namespace host
