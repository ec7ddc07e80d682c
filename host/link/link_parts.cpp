// Clocks, statuses and settings common to the bridges.
#include "host/link/link_parts.h"

#include <nlohmann/json.hpp>

namespace host {

double link_clock_s() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

std::int64_t wall_clock_us() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

MqttSettings broker_for(MqttSettings broker, std::string_view site, std::string_view device) {
    check_topic_name(site, "the site name");
    check_topic_name(device, "the device name");
    if (broker.client_id.empty()) broker.client_id = client_id(site, device);
    return broker;
}

std::string offline_status(std::string_view role) {
    return nlohmann::ordered_json{{"online", false}, {"role", role}}.dump();
}

std::string_view property(const MqttMessage& message, std::string_view name) {
    for (const auto& [key, value] : message.properties) {
        if (key == name) return value;
    }
    return {};
}

}  // namespace host
