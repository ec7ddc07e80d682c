// Versions from the camera's database, checks from the settings themselves.
#include "host/web/api_settings.h"

#include <charconv>
#include <nlohmann/json.hpp>

#include "host/base/input_error.h"
#include "host/settings/place_warnings.h"
#include "host/store/settings_history.h"
#include "host/web/api_answer.h"
#include "host/web/place_reader.h"
#include "host/web/query.h"
#include "host/web/settings_json.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kNotFound = 404;
constexpr int kMostVersions = 200;

// Of the place, with settings of its own.
const ServiceCamera& camera_of(const PlaceReader& place, const ApiCall& call) {
    const ServiceCamera& camera = place.camera(call.names.at("camera"));
    if (!camera.in_cascade()) return camera;
    throw ApiError(kNotFound, "the camera \"" + camera.name +
                                  "\" is a device of a site, whose file holds its settings");
}

Json head_json(const SettingsVersion& version, const TimeZone& zone) {
    return {{"version", version.number},
            {"time_us", version.applied_us},
            {"time", zone.text(version.applied_us)},
            {"author", version.author},
            {"name", version.name}};
}

// What a camera was given as its height is not in its versions, which go with recordings.
void take_height(RunOptions& options, const ServiceCamera& camera) {
    RunOptions file;
    try {
        read_config_file(camera.settings, file);
    } catch (const InputError&) {
        return;
    }
    options.measure_height = file.measure_height;
    options.source.height_mm = file.source.height_mm;
}

HttpResponse version_answer(const std::optional<SettingsVersion>& version, const PlaceReader& place,
                            const ServiceCamera& camera) {
    if (!version) throw ApiError(kNotFound, "there is no such version of the settings");
    RunOptions options;
    parse_config(version->text, "version " + std::to_string(version->number), options);
    take_height(options, camera);
    Json json = head_json(*version, place.zone());
    json["settings"] = settings_json(options);
    return json_answer(json);
}

HttpResponse in_force_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const ServiceCamera& camera = camera_of(place, call);
    const auto newest = newest_settings(place.database(camera.name));
    if (!newest) throw ApiError(kNotFound, "the camera has not counted yet");
    return version_answer(newest, place, camera);
}

HttpResponse one_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const ServiceCamera& camera = camera_of(place, call);
    const std::string& text = call.names.at("version");
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || stop != text.data() + text.size())
        throw ApiError(kBadRequest, "a version is a whole number");
    return version_answer(settings_version(place.database(camera.name), number), place, camera);
}

HttpResponse versions_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const ServiceCamera& camera = camera_of(place, call);
    Json versions = Json::array();
    for (const SettingsVersion& version :
         newest_versions(place.database(camera.name), kMostVersions))
        versions.push_back(head_json(version, place.zone()));
    return json_answer({{"versions", std::move(versions)}});
}

// The camera's picture beside that of the analysis.
PicturePoint scaled(const PicturePoint& p, double across, double down) {
    return {p.x * across, p.y * down};
}

std::vector<PicturePoint> scaled(const std::vector<PicturePoint>& points, double across,
                                 double down) {
    std::vector<PicturePoint> list;
    for (const PicturePoint& p : points)
        list.push_back(scaled(p, across, down));
    return list;
}

// Each shape by itself, so that it is known whose warning it is.
class Warnings {
  public:
    Warnings(const RunOptions& options, const CameraLook& look)
        : options_(options),
          look_(look),
          across_(1.0 * kColourWidth / look.width),
          down_(1.0 * kColourHeight / look.height) {
        for (const auto& area : options.exclusions)
            exclusions_.push_back(scaled(area.value, across_, down_));
    }

    std::vector<SettingsNote> all() {
        for (std::size_t i = 0; i < options_.lines.size(); ++i)
            add_line(i);
        for (std::size_t i = 0; i < options_.regions.size(); ++i)
            add_region(i);
        return std::move(notes_);
    }

    Json zones() const {
        Json zones = Json::array();
        for (std::size_t i = 0; i < options_.lines.size(); ++i) {
            Json points = Json::array();
            for (const PicturePoint& p :
                 counting_zone(scaled(options_.lines[i].value.points, across_, down_)))
                points.push_back({p.x / across_, p.y / down_});
            if (!points.empty()) zones.push_back({{"line", i}, {"points", std::move(points)}});
        }
        return zones;
    }

  private:
    void note(const std::vector<std::string>& sentences, const char* code, const char* kind,
              std::size_t index) {
        for (const std::string& sentence : sentences)
            notes_.push_back({false, code, as_sentence(sentence), kind, index});
    }

    void add_line(std::size_t i) {
        CountingLine line = options_.lines[i].value;
        line.points = scaled(line.points, across_, down_);
        const std::vector<CountingLine> lines{line};
        const std::vector<CountingRegion> none;
        const CountedPlaces places{lines, none, exclusions_};
        note(place_warnings(places), "line_doubtful", "line", i);
        note(line_edge_warnings(places, kColourWidth, kColourHeight), "line_along_edge", "line", i);
        if (!look_.model) return;
        note(unseen_line_warnings(places, *look_.model, options_.source.foot_point),
             "line_in_part_unseen", "line", i);
    }

    void add_region(std::size_t i) {
        CountingRegion region = options_.regions[i].value;
        region.points = scaled(region.points, across_, down_);
        const std::vector<CountingRegion> regions{region};
        const std::vector<CountingLine> none;
        const CountedPlaces places{none, regions, exclusions_};
        note(place_warnings(places), "region_doubtful", "region", i);
        note(region_edge_warnings(places, kColourWidth, kColourHeight), "region_at_edge", "region",
             i);
    }

    const RunOptions& options_;
    const CameraLook& look_;
    const double across_;
    const double down_;
    std::vector<std::vector<PicturePoint>> exclusions_;
    std::vector<SettingsNote> notes_;
};

HttpResponse check_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const CameraLook look = sources.look(camera_of(place, call).name);
    const GivenSettings given = read_settings_json(json_body(call.request), look);
    Json notes = Json::array();
    for (const SettingsNote& note : given.errors)
        notes.push_back(note_json(note));
    Warnings warnings(given.options, look);
    // Warnings are about shapes that are sound.
    if (given.errors.empty())
        for (const SettingsNote& note : warnings.all())
            notes.push_back(note_json(note));
    return json_answer({{"notes", std::move(notes)}, {"zones", warnings.zones()}});
}

}  // namespace

void add_settings_routes(Router& router, const ApiSources& sources) {
    using Answer = HttpResponse (*)(const ApiSources&, const ApiCall&);
    const auto add = [&](const char* method, const std::string& path, Answer answer) {
        router.add(method, "/api/v1/cameras/{camera}/settings" + path, Role::kViewer,
                   [sources, answer](const ApiCall& call) { return answer(sources, call); });
    };
    add("GET", "", in_force_answer);
    add("GET", "/versions", versions_answer);
    add("GET", "/versions/{version}", one_answer);
    add("POST", "/check", check_answer);
}

}  // namespace host
