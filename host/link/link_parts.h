// What both sides of the link need.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "host/link/track_gate.h"
#include "host/net/mqtt_client.h"

namespace host {

// Ends a sentence about a lost connection.
inline constexpr const char* kTriedAgain = "; it is tried again";

// How often a bridge checks whether something is due.
inline constexpr std::chrono::milliseconds kLinkTick{50};

double link_clock_s();         // never goes back
std::int64_t wall_clock_us();  // since 1970, comparable between machines with synchronised clocks

// The broker's settings with the client id of the device, unless they name one.
MqttSettings broker_for(MqttSettings broker, std::string_view site, std::string_view device);

// The status that the broker publishes for a device that vanished.
std::string offline_status(std::string_view role);

// The value of a user property; empty when there is none.
std::string_view property(const MqttMessage& message, std::string_view name);

}  // namespace host
