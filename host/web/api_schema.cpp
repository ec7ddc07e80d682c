// Of a camera from the table by which its file is read; of the place what its file says.
#include "host/web/api_schema.h"

#include <nlohmann/json.hpp>

#include "host/settings/run_options.h"
#include "host/web/api_answer.h"
#include "host/web/place_reader.h"
#include "host/web/query.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

Json number_json(const std::optional<double>& number) {
    return number ? Json(*number) : Json();
}

Json field_json(const SettingField& field) {
    // "as the source says" is no value.
    Json initial = Json::parse(field.initial, nullptr, false);
    if (initial.is_discarded()) initial = nullptr;
    return {{"key", field.key},
            {"label", field.label},
            {"help", as_sentence(field.says)},
            {"type", field.type},
            {"unit", field.unit.empty() ? Json() : Json(field.unit)},
            {"minimum", number_json(field.minimum)},
            {"maximum", number_json(field.maximum)},
            {"default", std::move(initial)},
            {"choices", field.choices}};
}

Json value_json(const std::string& key, const std::string& label, const std::string& help,
                const std::string& value) {
    return {{"key", key}, {"label", label}, {"help", help}, {"value", value}};
}

std::string open_text(const ServiceFile& file) {
    std::string text;
    for (const Placed<std::string>& hours : file.open)
        text += (text.empty() ? "" : ", ") + hours.value;
    return text.empty() ? "all the time" : text;
}

std::string kept_text(const std::optional<int>& days) {
    return days ? std::to_string(*days) + " days" : "for ever";
}

Json place_json(const PlaceReader& place) {
    const ServiceFile& file = place.file();
    Json values = Json::array();
    values.push_back(value_json("place", "Name", "Of the place; part of MQTT topics.", file.place));
    values.push_back(value_json("time_zone", "Time zone", "By which days and hours are told.",
                                place.zone().name()));
    values.push_back(value_json(
        "open", "Opening hours",
        "Outside of them people are counted, but can be left out of tables.", open_text(file)));
    for (const ServiceArea& area : file.areas) {
        values.push_back(value_json("area." + area.name + ".capacity",
                                    "Capacity of \"" + area.name + "\"",
                                    "With so many people inside the area is full.",
                                    area.capacity ? std::to_string(*area.capacity) : "none"));
        values.push_back(value_json("area." + area.name + ".reset",
                                    "Reset of \"" + area.name + "\"",
                                    "The time at which nobody is inside.", area.reset.value));
    }
    for (const RetentionKind& kind : kRetentionKinds)
        values.push_back(value_json(std::string("keep.") + kind.name,
                                    std::string("Kept: ") + kind.what, "Older ones are removed.",
                                    kept_text(file.keep.*kind.days)));
    return values;
}

HttpResponse schema_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    Json fields = Json::array();
    for (const SettingField& field : config_fields())
        fields.push_back(field_json(field));
    return json_answer(
        {{"camera", std::move(fields)}, {"place", place_json(PlaceReader(sources))}});
}

}  // namespace

void add_schema_route(Router& router, const ApiSources& sources) {
    router.add("GET", "/api/v1/schema", Role::kViewer,
               [sources](const ApiCall& call) { return schema_answer(sources, call); });
}

}  // namespace host
