// The functions of the MQTT client library, played without a network: a broker that accepts
// everything and hands over the messages that the test gives it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

struct BrokerMessage {
    std::string topic;
    std::vector<uint8_t> payload;
    bool retained = false;
    std::vector<std::pair<std::string, std::string>> properties;
};

// Hands the messages to the one client there is, on its own thread, and waits until it has taken
// them.
void hand_over(const std::vector<BrokerMessage>& messages);

}  // namespace fuzz
