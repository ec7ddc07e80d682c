// Components of a device.
#include "host/publish/home_assistant.h"

#include <array>
#include <cctype>
#include <nlohmann/json.hpp>

#include "host/base/text.h"
#include "host/base/version.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kHead = "homeassistant/device/";
constexpr std::string_view kTail = "/config";
constexpr const char* kComponents = "cmps";
constexpr const char* kPlatform = "p";
constexpr const char* kState = "stat_t";
constexpr const char* kAvailability = "avty";
constexpr const char* kTopic = "t";
// Someone who tries out names for lines shall not fill the message.
constexpr std::size_t kMostRemoved = 100;

// Whoever reads a list of sensors sees "Door in".
std::string title(std::string name) {
    if (!name.empty()) {
        name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    }
    return name;
}

class Components {
  public:
    explicit Components(const MqttTopics& topics) : topics_(topics) {}

    void add(const std::string& key, const char* platform, const std::string& name,
             const Json& more) {
        Json component{
            {kPlatform, platform}, {"unique_id", topics_.id() + "_" + key}, {"name", name}};
        component.update(more);
        all_[key] = std::move(component);
    }

    void add_line(const NamedLine& line) {
        constexpr std::array kIcons{"mdi:location-enter", "mdi:location-exit"};
        for (std::size_t i = 0; i < kDirectionKeys.size(); ++i) {
            const std::string key = kDirectionKeys[i];
            add(identifier_part(line.name) + "_" + key, "sensor",
                title(line.name) + " " + line.directions[i],
                {{kState, topics_.line(line.name)},
                 {"val_tpl", "{{value_json." + key + "}}"},
                 {"stat_cla", "total_increasing"},
                 {"unit_of_meas", "people"},
                 {"ic", kIcons[i]}});
        }
    }

    void add_region(const std::string& region) {
        add(identifier_part(region) + "_now", "sensor", "At the " + region,
            {{kState, topics_.region(region)},
             {"val_tpl", "{{value_json.now}}"},
             {"stat_cla", "measurement"},
             {"unit_of_meas", "people"}});
    }

    void add_area(const Area& area, bool resets) {
        const std::string key = identifier_part(area.name);
        add(key + "_inside", "sensor", "Inside " + area.name,
            {{kState, topics_.occupancy(area.name)},
             {"val_tpl", "{{value_json.inside}}"},
             {"stat_cla", "measurement"},
             {"unit_of_meas", "people"}});
        if (!resets) return;
        add(key + "_reset", "button", "Nobody is inside " + area.name,
            {{"cmd_t", topics_.reset(area.name)},
             {"pl_prs", kResetPayload},
             {"ent_cat", "config"}});
    }

    void add_problem() {
        add("problem", "binary_sensor", "Problem",
            {{"dev_cla", "problem"},
             {"ent_cat", "diagnostic"},
             {kState, topics_.health()},
             {"val_tpl", "{{value_json.problem}}"}});
    }

    // A component with its platform alone is one that has been removed. It stays, for a reader that
    // is away when it is told.
    void remove_others(const std::string& before) {
        const Json old = Json::parse(before, nullptr, false);
        std::size_t removed = 0;
        try {
            for (const auto& [key, component] : old.at(kComponents).items()) {
                if (all_.contains(key) || removed == kMostRemoved) continue;
                const std::string platform = component.at(kPlatform);
                all_[key] = {{kPlatform, platform}};
                ++removed;
            }
        } catch (const Json::exception&) {
            return;  // nothing of ours
        }
    }

    Json take() { return std::move(all_); }

  private:
    const MqttTopics& topics_;
    Json all_ = Json::object();
};

}  // namespace

std::string discovery_topic(const std::string& id) {
    return std::string(kHead) + id + std::string(kTail);
}

std::string discovered_id(std::string_view topic) {
    if (!topic.starts_with(kHead) || !topic.ends_with(kTail)) return "";
    if (topic.size() < kHead.size() + kTail.size()) return "";
    return std::string(topic.substr(kHead.size(), topic.size() - kHead.size() - kTail.size()));
}

std::string discovery_message(const MqttTopics& topics, const DiscoveredDevice& device,
                              const std::string& before) {
    Components components(topics);
    for (const NamedLine& line : device.lines)
        components.add_line(line);
    for (const std::string& region : device.regions)
        components.add_region(region);
    for (const Area& area : device.areas)
        components.add_area(area, device.resets);
    components.add_problem();
    components.remove_others(before);
    Json about{{"ids", Json::array({topics.id()})},
               {"name", title(device.name)},
               {"mdl", "overhead counter"},
               {"sw", version_number()},
               {"sa", title(device.place)}};
    if (!device.page.empty()) about["cu"] = device.page;
    const Json message{
        {"dev", std::move(about)},
        {"o", {{"name", "vca"}, {"sw", version_number()}}},
        {kAvailability,
         Json::array({{{kTopic, topics.status()},
                       {"val_tpl", "{{ 'online' if value == 'online' else 'offline' }}"}}})},
        {kComponents, components.take()}};
    return message.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string status_topic_of(const std::string& message) {
    const Json json = Json::parse(message, nullptr, false);
    try {
        return json.at(kAvailability).at(0).at(kTopic);
    } catch (const Json::exception&) {
        return "";
    }
}

std::vector<std::string> state_topics_of(const std::string& message) {
    std::vector<std::string> topics{status_topic_of(message)};
    const Json json = Json::parse(message, nullptr, false);
    try {
        for (const Json& component : json.at(kComponents))
            if (component.contains(kState)) topics.push_back(component[kState]);
    } catch (const Json::exception&) {
    }
    return topics;
}

}  // namespace host
