// Names of topics and their messages.
#include "host/publish/mqtt_topics.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

#include "host/base/text.h"
#include "host/store/fault_book.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

std::string written(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::int64_t all_of(const PeopleCount& people) {
    return people.adult + people.child + people.staff;
}

Json kinds_of(const PeopleCount& people) {
    return {{"adult", people.adult}, {"child", people.child}, {"staff", people.staff}};
}

}  // namespace

std::string topic_part(const std::string& name) {
    std::string part;
    for (const char c : name) {
        const bool plain = static_cast<unsigned char>(c) >= ' ' && c != 0x7f && c != '/' &&
                           c != '+' && c != '#' && c != '%';
        part += plain ? std::string(1, c) : format_text("%%%02X", static_cast<unsigned char>(c));
    }
    return part;
}

std::string identifier_part(const std::string& name) {
    std::string text;
    for (const char c : name) {
        const auto code = static_cast<unsigned char>(c);
        const bool plain = (code < 0x80 && std::isalnum(code) != 0) || c == '-';
        text += plain ? std::string(1, c) : format_text("_%02x", code);
    }
    return text;
}

MqttTopics::MqttTopics(const std::string& place, const std::string& device, MqttRole role)
    : place_("vca/" + place + "/"),
      occupancies_(place_ + "occupancy/"),
      base_(place_ + device),
      id_("vca_" + identifier_part(place) + "_" + identifier_part(device)),
      changing_{base_ + "/line/", base_ + "/region/"} {
    if (role == MqttRole::kPlace) changing_ = {occupancies_};
}

std::string MqttTopics::line(const std::string& name) const {
    return base_ + "/line/" + topic_part(name);
}

std::string MqttTopics::region(const std::string& name) const {
    return base_ + "/region/" + topic_part(name);
}

std::string MqttTopics::occupancy(const std::string& area) const {
    return occupancies_ + topic_part(area);
}

std::string MqttTopics::reset(const std::string& area) const {
    return occupancy(area) + "/reset";
}

std::vector<std::string> MqttTopics::changing_patterns() const {
    std::vector<std::string> patterns;
    for (const std::string& head : changing_)
        patterns.push_back(head + "+");
    return patterns;
}

bool MqttTopics::is_changing(std::string_view topic) const {
    return std::any_of(changing_.begin(), changing_.end(), [topic](const std::string& head) {
        return topic.starts_with(head) && topic.find('/', head.size()) == std::string_view::npos;
    });
}

std::optional<std::string> MqttTopics::reset_area(std::string_view topic) const {
    constexpr std::string_view tail = "/reset";
    if (!topic.starts_with(occupancies_) || !topic.ends_with(tail)) return std::nullopt;
    topic.remove_prefix(occupancies_.size());
    if (topic.size() <= tail.size()) return std::nullopt;
    topic.remove_suffix(tail.size());
    return std::string(topic);
}

std::vector<MqttState> line_states(const MqttTopics& topics, const StoreReader& store,
                                   const std::vector<NamedLine>& lines, const TimeZone& zone) {
    const std::vector<LineCount> totals = store.totals();
    const Committed last = store.last();
    const std::optional<std::int64_t> time_us = store.last_event_us();
    std::vector<MqttState> states;
    for (std::size_t i = 0; i + 1 < totals.size(); i += 2) {
        const auto line = std::find_if(lines.begin(), lines.end(), [&](const NamedLine& each) {
            return each.name == totals[i].line;
        });
        if (line == lines.end()) continue;
        const PeopleCount& in = totals[i].people;
        const PeopleCount& out = totals[i + 1].people;
        Json json{
            {kDirectionKeys[0], all_of(in)},
            {kDirectionKeys[1], all_of(out)},
            {"names",
             {{kDirectionKeys[0], line->directions[0]}, {kDirectionKeys[1], line->directions[1]}}},
            {"kinds", {{kDirectionKeys[0], kinds_of(in)}, {kDirectionKeys[1], kinds_of(out)}}},
            {"since", zone.text(totals[i].since_us)},
            {"epoch", last.epoch},
            {"sequence", last.sequence}};
        if (time_us) json["time"] = zone.text(*time_us);
        states.push_back({topics.line(totals[i].line), written(json)});
    }
    return states;
}

std::vector<MqttState> region_states(const MqttTopics& topics, const CameraFigures& figures) {
    std::vector<MqttState> states;
    for (const RegionFigures& region : figures.regions) {
        states.push_back(
            {topics.region(region.name),
             written({{"now", region.people}, {"longest_stay_s", region.longest_stay_ms / 1000}})});
    }
    return states;
}

MqttState health_state(const MqttTopics& topics, const std::vector<HealthNote>& notes) {
    const HealthLevel level = worst_level(notes);
    Json faults = Json::array();
    for (const HealthNote& fault : notes) {
        faults.push_back({{"fault", fault.fault},
                          {"level", health_level_name(fault.level)},
                          {"text", fault.text}});
    }
    return {topics.health(), written({{"problem", level == HealthLevel::kOk ? "OFF" : "ON"},
                                      {"level", health_level_name(level)},
                                      {"faults", faults}})};
}

MqttState area_state(const MqttTopics& topics, const Area& area, const AreaBalance& balance) {
    Json json{{"inside", balance.inside()},
              {"in", balance.in},
              {"out", balance.out},
              {"removed", balance.removed},
              {"corrections", balance.corrections}};
    if (area.capacity) {
        json["capacity"] = *area.capacity;
        json["level"] = balance.inside() >= *area.capacity ? "full" : "ok";
    }
    return {topics.occupancy(area.name), written(json)};
}

}  // namespace host
