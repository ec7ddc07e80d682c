// Stories as the databases keep them, and sums over grids.
#include "host/web/api_people.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/base/picture.h"
#include "host/web/api_answer.h"
#include "host/web/place_reader.h"
#include "host/web/query.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kNotFound = 404;
constexpr std::int64_t kMostDays = 4000;

// Stories give pixels of the picture of the analysis, people draw on that of the camera.
Json at_json(const Json& step, const CameraLook& look) {
    const auto at = step.find("at");
    if (at == step.end()) return {};
    const auto scaled = [](double pixel, int size, int analysed) {
        return std::round(10.0 * pixel * size / analysed) / 10.0;
    };
    return {scaled(at->at(0).get<double>(), look.width, kColourWidth),
            scaled(at->at(1).get<double>(), look.height, kColourHeight)};
}

// What a step's sentence says, for other languages.
Json values_json(const Json& step, const PlaceReader& place, const std::string& camera) {
    Json values = Json::object();
    for (const char* key : {"line", "region", "value", "limit"})
        if (step.contains(key)) values[key] = step[key];
    const std::string what = step.at("what");
    if (what == "left") values["s"] = std::round(step.value("value", 0.0) / 100.0) / 10.0;
    const bool has_direction = what == "counted" || what == "waits" || what == "not_counting";
    if (has_direction && step.contains("line")) {
        values["direction"] = place.direction_name(camera, step["line"], step.value("detail", 1));
    }
    return values;
}

Json step_json(const Json& step, const StoredPerson& person, const PlaceReader& place,
               const std::string& camera, const CameraLook& look, double begun_s) {
    const std::int64_t time_us =
        person.from_us + std::llround((step.at("time_s").get<double>() - begun_s) * 1e6);
    std::string code = step.at("what");
    if (step.value("left_out", false)) code += "_left_out";
    return {{"time_us", time_us},
            {"time", place.zone().text(time_us)},
            {"code", std::move(code)},
            {"text", step.at("text")},
            {"values", values_json(step, place, camera)},
            {"at", at_json(step, look)}};
}

Json person_json(const StoredPerson& person, const PlaceReader& place, const std::string& camera,
                 const CameraLook& look) {
    const Json story = Json::parse(person.story);
    Json steps = Json::array();
    Json path = Json::array();
    bool counted = false;
    for (const Json& step : story.at("story")) {
        steps.push_back(
            step_json(step, person, place, camera, look, story.at("from_s").get<double>()));
        counted = counted || steps.back()["code"] == "counted";
        if (!steps.back()["at"].is_null()) path.push_back(steps.back()["at"]);
    }
    return {{"camera", camera},
            {"track", person.track},
            {"from_us", person.from_us},
            {"to_us", person.to_us},
            {"from", place.zone().text(person.from_us)},
            {"to", place.zone().text(person.to_us)},
            {"ended", true},
            {"counted", counted},
            {"why", person.why},
            {"steps", std::move(steps)},
            {"path", std::move(path)}};
}

// What of each day counts.
std::vector<TimeSpan> times_of(const TimeZone& zone, const Date& first, const Date& last,
                               int from_hour, int to_hour) {
    std::vector<TimeSpan> times;
    for (Date date = first; date <= last; date = zone.next(date)) {
        const TimeSpan time{zone.at(date, from_hour * 60), zone.at(date, to_hour * 60)};
        if (time.from_us < time.to_us) times.push_back(time);
    }
    return times;
}

// Dwell is told in seconds.
Json cells_json(const HeatSum& sum, HeatKind kind) {
    Json cells = Json::array();
    for (const std::int64_t cell : sum.cells) {
        if (kind == HeatKind::kPassages) {
            cells.push_back(cell);
        } else {
            cells.push_back(std::round(static_cast<double>(cell) / 100.0) / 10.0);
        }
    }
    return cells;
}

}  // namespace

HttpResponse person_answer(const ApiSources& sources, const HttpRequest& request) {
    const Query query(request, {"camera", "track", "at_us"});
    const PlaceReader place(sources);
    const std::string camera = place.camera(query.needed("camera")).name;
    query.needed("track");
    const auto track = query.whole("track", 0, std::numeric_limits<int>::max());
    constexpr std::int64_t kLatest_us = 4'000'000'000'000'000;  // in 2096
    const auto at_us = query.whole("at_us", 0, kLatest_us);
    const auto history = place.history(camera);
    const auto person = history ? history->person(static_cast<int>(*track), at_us) : std::nullopt;
    if (!person) {
        throw ApiError(kNotFound,
                       "nothing is kept of this person: a story is there once the track has "
                       "ended, and for as long as the place keeps it");
    }
    try {
        return json_answer(person_json(*person, place, camera, sources.look(camera)));
    } catch (const Json::exception&) {
        throw ApiError(kNotFound, "the story of this person cannot be read");
    }
}

HttpResponse heat_answer(const ApiSources& sources, const std::string& camera,
                         const HttpRequest& request) {
    const Query query(request, {"from", "to", "what", "from_hour", "to_hour"});
    const PlaceReader place(sources);
    const std::string name = place.camera(camera).name;
    const Date first = parse_date(query.needed("from"), "\"from\"");
    const Date last = parse_date(query.needed("to"), "\"to\"");
    const std::string what = query.word("what", {"dwell", "motion"});
    constexpr int kDayHours = 24;
    const auto from_hour = static_cast<int>(query.whole("from_hour", 0, kDayHours - 1).value_or(0));
    const auto to_hour = static_cast<int>(query.whole("to_hour", 1, kDayHours).value_or(kDayHours));
    const std::int64_t days = days_between(first, last);
    if (days < 1) throw ApiError(kBadRequest, "the last day lies before the first one");
    if (days > kMostDays) {
        throw ApiError(kBadRequest,
                       "these are more than " + std::to_string(kMostDays) + " days; choose fewer");
    }
    if (from_hour >= to_hour)
        throw ApiError(kBadRequest, "\"to_hour\" must be later than \"from_hour\"");
    const HeatKind kind = what == "dwell" ? HeatKind::kDwell : HeatKind::kPassages;
    HeatSum sum;
    if (const auto history = place.history(name))
        sum = history->heat(kind, times_of(place.zone(), first, last, from_hour, to_hour));
    return json_answer({{"camera", name},
                        {"what", what},
                        {"columns", HeatGrid::kColumns},
                        {"rows", HeatGrid::kRows},
                        {"cells", cells_json(sum, kind)},
                        {"hours", std::round(10.0 * sum.hours) / 10.0}});
}

}  // namespace host
