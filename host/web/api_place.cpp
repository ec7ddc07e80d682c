// Cameras, areas, opening hours and faults.
#include "host/web/api_place.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/base/text.h"
#include "host/base/version.h"
#include "host/service/place.h"
#include "host/web/api_answer.h"
#include "host/web/place_reader.h"
#include "host/web/query.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kDayMinutes = 24 * 60;

Json camera_json(const ApiSources& sources, const TimeZone& zone, const ServiceCamera& camera) {
    const CameraLook look = sources.look(camera.name);
    Json commissioned;
    if (const auto note = sources.commissioned(camera.name))
        commissioned = {{"time", zone.text(note->time_us)}, {"author", note->author}};
    return {{"name", camera.name},   {"width", look.width},
            {"height", look.height}, {"state", camera_stand_name(look.stand)},
            {"colour", look.colour}, {"commissioned", std::move(commissioned)}};
}

Json opening_json(const ServiceFile& file) {
    const auto clock = [](int minutes) {
        return format_text("%02d:%02d", minutes / 60, minutes % 60);
    };
    const OpeningHours hours(file.open);
    Json list = Json::array();
    for (const OpeningHours::Rule& rule : hours.rules()) {
        Json days = Json::array();
        for (std::size_t day = 0; day < rule.days.size(); ++day)
            if (rule.days[day]) days.push_back(OpeningHours::kDays[day]);
        list.push_back({{"days", std::move(days)},
                        {"from", clock(rule.from_minutes)},
                        {"to", clock((rule.to_minutes - 1) % kDayMinutes + 1)}});
    }
    return list;
}

// The first local day on which a camera watched.
Json first_day(const PlaceReader& place) {
    std::optional<std::int64_t> first;
    for (const ServiceCamera& camera : place.file().cameras) {
        const auto history = place.history(camera.name);
        const auto minute = history ? history->first_minute() : std::nullopt;
        if (minute && (!first || *minute < *first)) first = minute;
    }
    if (!first) return {};
    return date_text(place.zone().date_of(*first * kMinute_us));
}

Json problem_json(const TimeZone& zone, const std::string& camera, const HealthNote& fault) {
    Json values = Json::object();
    if (!camera.empty()) values["camera"] = camera;
    return {
        {"camera", camera.empty() ? Json() : Json(camera)},
        {"level", health_level_name(fault.level)},
        {"code", fault.fault},
        {"text", as_sentence(camera.empty() ? fault.text : "camera " + camera + ": " + fault.text)},
        {"values", std::move(values)},
        {"since_us", fault.time_us},
        {"since", zone.text(fault.time_us)}};
}

}  // namespace

HttpResponse place_answer(const ApiSources& sources, const HttpRequest& request) {
    const Query query(request, {});
    const PlaceReader place(sources);
    Json cameras = Json::array();
    for (const ServiceCamera& camera : place.file().cameras)
        cameras.push_back(camera_json(sources, place.zone(), camera));
    Json areas = Json::array();
    for (const Area& area : areas_of(place.file()))
        areas.push_back(
            {{"name", area.name}, {"capacity", area.capacity ? Json(*area.capacity) : Json()}});
    return json_answer({{"name", place.file().place},
                        {"time_zone", place.zone().name()},
                        {"version", version_number()},
                        {"now_us", place.now_us()},
                        {"now", place.zone().text(place.now_us())},
                        {"today", date_text(place.zone().date_of(place.now_us()))},
                        {"first_day", first_day(place)},
                        {"cameras", std::move(cameras)},
                        {"areas", std::move(areas)},
                        {"opening_hours", opening_json(place.file())}});
}

nlohmann::ordered_json health_json(const ApiSources& sources) {
    const PlaceReader place(sources);
    const ServiceHealth health = sources.health();
    Json problems = Json::array();
    for (const HealthNote& fault : health.faults)
        problems.push_back(problem_json(place.zone(), "", fault));
    for (const CameraState& camera : health.cameras)
        for (const HealthNote& fault : camera.faults)
            problems.push_back(problem_json(place.zone(), camera.name, fault));
    Json cameras = Json::array();
    for (const ServiceCamera& camera : place.file().cameras) {
        const CameraLook look = sources.look(camera.name);
        cameras.push_back({{"name", camera.name},
                           {"state", camera_stand_name(look.stand)},
                           {"frames_per_second", look.frames_per_second}});
    }
    return {{"level", health_level_name(health.level())},
            {"problems", std::move(problems)},
            {"cameras", std::move(cameras)}};
}

HttpResponse health_answer(const ApiSources& sources, const HttpRequest& request) {
    const Query query(request, {});
    return json_answer(health_json(sources));
}

}  // namespace host
