// Key by key, with the checks of the settings file.
#include "host/web/settings_json.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

#include "host/base/input_error.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kHeight = "the height";

Json points_json(const std::vector<PicturePoint>& points) {
    Json list = Json::array();
    for (const PicturePoint& p : points)
        list.push_back({p.x, p.y});
    return list;
}

Json line_json(const CountingLine& line) {
    Json json{{"name", line.name},
              {"points", points_json(line.points)},
              {"directions", line.directions},
              {"uturn", line.uturn_filter},
              {"flip", line.flip}};
    if (!line.uturn_area.empty()) json["area"] = points_json(line.uturn_area);
    return json;
}

Json tilt_json(const TiltSetting& tilt) {
    if (tilt.kind == TiltSetting::Kind::kGiven) return {tilt.given.roll_deg, tilt.given.pitch_deg};
    return tilt.kind == TiltSetting::Kind::kAuto ? "auto" : "none";
}

Json height_json(const RunOptions& options) {
    if (options.measure_height) return "auto";
    return options.source.height_mm ? Json(options.source.height_mm->value) : Json();
}

// What would be ignored may have been meant for something.
void check_keys(const Json& table, const std::string& name,
                std::initializer_list<std::string_view> known) {
    for (const auto& [key, value] : table.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end())
            throw ApiError(kBadRequest, "there is no setting \"" + name + "." + key + "\"");
    }
}

// Not one that is cut to fit.
int whole(const Json& value, const std::string& what) {
    constexpr std::int64_t kMost = 1'000'000;
    if (!value.is_number_integer() || value.get<double>() < 0 || value.get<double>() > kMost)
        throw InputError(what + " is " + value.dump() + "; write a whole number up to 1000000");
    return value.get<int>();
}

class Reader {
  public:
    explicit Reader(const CameraLook& look) : look_(look) {}

    GivenSettings read(const Json& json) {
        for (const auto& [key, value] : json.items())
            read_key(key, value);
        for (const char* key : {"line", "region", "exclude"})
            if (!json.contains(key))
                throw ApiError(kBadRequest, std::string("the settings have no \"") + key + "\"");
        check_names_once(given_.options.lines, "line");
        check_names_once(given_.options.regions, "region");
        // Its sentences are about all shapes together; one that is wrong is told by itself.
        if (given_.errors.empty())
            check("wrong", "setting", 0, [this] { check_options(given_.options); });
        return std::move(given_);
    }

  private:
    // What the function throws is a note.
    void check(const std::string& code, const std::string& kind, std::size_t index,
               const std::function<void()>& function) {
        try {
            function();
        } catch (const InputError& error) {
            given_.errors.push_back({true, code, as_sentence(error.what()), kind, index});
        }
    }

    template <typename Shape>
    void check_names_once(const std::vector<Shape>& shapes, const char* kind) {
        std::set<std::string> names;
        for (std::size_t i = 0; i < shapes.size(); ++i) {
            const std::string& name = shapes[i].value.name;
            if (names.insert(name).second) continue;
            given_.errors.push_back({true, "name_twice", "The name \"" + name + "\" is used twice.",
                                     kind, i, Json{{"name", name}}});
        }
    }

    void read_key(const std::string& key, const Json& value) {
        RunOptions& options = given_.options;
        if (key == "line") return read_each(value, [&](const Json& v) { read_line(v); });
        if (key == "region") return read_each(value, [&](const Json& v) { read_region(v); });
        if (key == "exclude") return read_each(value, [&](const Json& v) { read_exclusion(v); });
        check("setting_wrong", "setting", 0, [&] {
            if (key == "height_mm") {
                read_height(value);
            } else if (key == "target_height_mm") {
                check_pair(value);
                options.target_min_mm = whole(value[0], "the smallest height");
                options.target_max_mm = whole(value[1], "the largest height");
            } else if (key == "detect") {
                options.detect = {parse_detect_mode(value, key), key};
            } else if (key == "sensor") {
                options.sensor = parse_sensor(value, key);
            } else if (key == "late_counts") {
                options.late_counts = parse_late_counts(value, key);
            } else if (key == "tilt") {
                options.tilt =
                    value.is_array()
                        ? checked_tilt({value.at(0).get<double>(), value.at(1).get<double>()}, key)
                        : parse_tilt(value, key);
            } else if (key == "position") {
                read_position(value);
            } else if (key == "staff") {
                options.staff = value;
            } else if (key == "gender") {
                options.gender = value;
            } else if (key == "group") {
                read_group(value);
            } else {
                throw ApiError(kBadRequest, "there is no setting \"" + key + "\"");
            }
        });
    }

    static void read_each(const Json& list, const std::function<void(const Json&)>& read) {
        if (!list.is_array()) throw ApiError(kBadRequest, "shapes are given in a list");
        for (const Json& one : list)
            read(one);
    }

    void read_height(const Json& value) {
        given_.options.measure_height = value == "auto";
        if (given_.options.measure_height || value.is_null()) return;
        given_.options.source.height_mm =
            Placed(checked_height_mm(value.get<double>(), kHeight), kHeight);
    }

    void read_position(const Json& value) {
        if (value != "foot" && value != "box")
            throw InputError("position is " + value.dump() + "; known are foot and box");
        given_.options.source.foot_point = value == "foot";
    }

    void read_group(const Json& value) {
        check_keys(value, "group", {"enabled", "min", "max"});
        RunOptions& options = given_.options;
        if (value.contains("enabled")) options.group_counting = value["enabled"];
        if (value.contains("min")) options.group_min = whole(value["min"], "the smallest group");
        if (value.contains("max")) options.group_max = whole(value["max"], "the largest group");
    }

    static void check_pair(const Json& value) {
        if (!value.is_array() || value.size() != 2)
            throw ApiError(kBadRequest, "points and ranges are pairs of numbers");
    }

    static std::vector<PicturePoint> points(const Json& list) {
        std::vector<PicturePoint> points;
        for (const Json& point : list) {
            check_pair(point);
            points.push_back({point.at(0).get<double>(), point.at(1).get<double>()});
        }
        return points;
    }

    void check_in_picture(const std::vector<PicturePoint>& points, const std::string& place,
                          const std::string& kind, std::size_t index) {
        check("outside_picture", kind, index,
              [&] { check_inside(points, look_.width, look_.height, place); });
    }

    void read_line(const Json& json) {
        const std::size_t index = given_.options.lines.size();
        check_keys(json, "line", {"name", "points", "directions", "uturn", "flip", "area"});
        CountingLine line;
        line.name = json.at("name");
        line.points = points(json.at("points"));
        line.uturn_filter = json.value("uturn", false);
        line.flip = json.value("flip", false);
        if (json.contains("area") && line.uturn_filter) line.uturn_area = points(json["area"]);
        if (json.contains("directions")) line.directions = json["directions"];
        const std::string place = "the line \"" + line.name + "\"";
        check("name_wrong", "line", index, [&] { check_name(line.name, "the name of the line"); });
        check("directions_wrong", "line", index, [&] {
            for (const std::string& name : line.directions)
                check_name(name, "the name of a direction of " + place);
            check_directions_differ(line.directions, "the directions of " + place);
        });
        check("line_wrong", "line", index, [&] {
            (is_closed(line.points) ? check_closed_line_points : check_line_points)(line.points,
                                                                                    place);
        });
        check_in_picture(line.points, place, "line", index);
        if (!line.uturn_area.empty()) check_area(line, place, index);
        PlacedLine placed(line, place);
        placed.closed = is_closed(line.points);
        given_.options.lines.push_back(std::move(placed));
    }

    void check_area(const CountingLine& line, const std::string& place, std::size_t index) {
        const std::string area = "the U-turn area of " + place;
        check("area_wrong", "area", index, [&] {
            check_area_points(line.uturn_area, area);
            check_area_on_line(line.uturn_area, line.points, area);
        });
        check_in_picture(line.uturn_area, area, "area", index);
    }

    void read_region(const Json& json) {
        const std::size_t index = given_.options.regions.size();
        check_keys(json, "region", {"name", "points"});
        CountingRegion region{json.at("name"), points(json.at("points"))};
        const std::string place = "the region \"" + region.name + "\"";
        check("name_wrong", "region", index,
              [&] { check_name(region.name, "the name of the region"); });
        check("region_wrong", "region", index, [&] { check_region_points(region.points, place); });
        check_in_picture(region.points, place, "region", index);
        given_.options.regions.emplace_back(std::move(region), place);
    }

    void read_exclusion(const Json& json) {
        const std::size_t index = given_.options.exclusions.size();
        check_keys(json, "exclude", {"points"});
        const std::vector<PicturePoint> area = points(json.at("points"));
        const std::string place = "exclusion area " + std::to_string(index + 1);
        check("exclude_wrong", "exclude", index, [&] { check_exclusion_points(area, place); });
        check_in_picture(area, place, "exclude", index);
        given_.options.exclusions.emplace_back(area, place);
    }

    const CameraLook& look_;
    GivenSettings given_;
};

}  // namespace

nlohmann::ordered_json settings_json(const RunOptions& options) {
    Json group{{"min", options.group_min}, {"max", options.group_max}};
    if (options.group_counting) group["enabled"] = *options.group_counting;
    Json lines = Json::array();
    for (const PlacedLine& line : options.lines)
        lines.push_back(line_json(line.value));
    Json regions = Json::array();
    for (const Placed<CountingRegion>& region : options.regions)
        regions.push_back(
            {{"name", region.value.name}, {"points", points_json(region.value.points)}});
    Json exclusions = Json::array();
    for (const auto& area : options.exclusions)
        exclusions.push_back({{"points", points_json(area.value)}});
    return {{"height_mm", height_json(options)},
            {"target_height_mm", {options.target_min_mm, options.target_max_mm}},
            {"detect", detect_mode_name(options.detect.value)},
            {"sensor", sensor_name(options.sensor)},
            {"late_counts", late_counts_name(options.late_counts)},
            {"tilt", tilt_json(options.tilt)},
            {"position", options.source.foot_point ? "foot" : "box"},
            {"staff", options.staff},
            {"gender", options.gender},
            {"group", std::move(group)},
            {"line", std::move(lines)},
            {"region", std::move(regions)},
            {"exclude", std::move(exclusions)}};
}

nlohmann::ordered_json note_json(const SettingsNote& note) {
    return {{"level", note.error ? "error" : "warning"},
            {"code", note.code},
            {"text", note.text},
            {"values", note.values.is_null() ? Json::object() : note.values},
            {"place", {{"kind", note.kind}, {"index", note.index}, {"point", nullptr}}}};
}

GivenSettings read_settings_json(const nlohmann::ordered_json& json, const CameraLook& look) {
    try {
        return Reader(look).read(json);
    } catch (const Json::exception&) {
        throw ApiError(kBadRequest, "the settings have not the form that page/api.json describes");
    }
}

}  // namespace host
