// People and places as JSON and back.
#include "host/sinks/live_frame.h"

#include <nlohmann/json.hpp>

#include "host/base/input_error.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kCamera = "camera";
constexpr const char* kFrame = "frame";
constexpr const char* kTime_us = "time_us";
constexpr const char* kPeople = "people";
constexpr const char* kTrack = "track";
constexpr const char* kX = "x";
constexpr const char* kY = "y";
constexpr const char* kW = "w";
constexpr const char* kH = "h";
constexpr const char* kHeight_mm = "height_mm";
constexpr const char* kStaff = "staff";
constexpr const char* kFoot = "foot";
constexpr const char* kTrail = "trail";
constexpr const char* kRegion = "region";
constexpr const char* kStay_ms = "stay_ms";

Json point_json(const PicturePoint& point) {
    return Json::array({point.x, point.y});
}

PicturePoint point_of(const Json& json) {
    return {json.at(0).get<double>(), json.at(1).get<double>()};
}

Json person_json(const LivePerson& person) {
    Json trail = Json::array();
    for (const PicturePoint& point : person.trail)
        trail.push_back(point_json(point));
    return {{kTrack, person.track},
            {kX, person.box.x},
            {kY, person.box.y},
            {kW, person.box.w},
            {kH, person.box.h},
            {kHeight_mm, person.height_mm ? Json(*person.height_mm) : Json()},
            {kStaff, person.staff},
            {kFoot, point_json(person.foot)},
            {kTrail, std::move(trail)},
            {kRegion, person.region ? Json(*person.region) : Json()},
            {kStay_ms, person.stay_ms}};
}

LivePerson person_of(const Json& json) {
    LivePerson person;
    person.track = json.at(kTrack);
    person.box = {json.at(kX), json.at(kY), json.at(kW), json.at(kH)};
    if (const Json& height = json.at(kHeight_mm); !height.is_null())
        person.height_mm = height.get<int>();
    person.staff = json.at(kStaff);
    person.foot = point_of(json.at(kFoot));
    for (const Json& point : json.at(kTrail))
        person.trail.push_back(point_of(point));
    if (const Json& region = json.at(kRegion); !region.is_null())
        person.region = region.get<std::string>();
    person.stay_ms = json.at(kStay_ms);
    return person;
}

}  // namespace

std::string to_json(const LiveFrame& frame, const std::string& camera) {
    Json people = Json::array();
    for (const LivePerson& person : frame.people)
        people.push_back(person_json(person));
    return Json{{kCamera, camera},
                {kFrame, frame.number},
                {kTime_us, frame.time_us},
                {kPeople, std::move(people)}}
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

LiveFrame parse_live_frame(const std::string& json) {
    try {
        const Json all = Json::parse(json);
        LiveFrame frame;
        frame.number = all.at(kFrame);
        frame.time_us = all.at(kTime_us);
        for (const Json& person : all.at(kPeople))
            frame.people.push_back(person_of(person));
        return frame;
    } catch (const nlohmann::json::exception& error) {
        throw InputError(std::string("a camera's frame cannot be read: ") + error.what());
    }
}

}  // namespace host
