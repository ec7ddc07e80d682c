// Versions from the camera's database, checks from the settings themselves. What is saved goes to
// the camera's file, from which the camera takes it over as if somebody had edited it by hand.
#include "host/web/api_settings.h"

#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <thread>

#include "host/base/input_error.h"
#include "host/base/whole_file.h"
#include "host/service/camera_options.h"
#include "host/settings/installation_check.h"
#include "host/settings/place_warnings.h"
#include "host/store/settings_history.h"
#include "host/web/api_answer.h"
#include "host/web/place_reader.h"
#include "host/web/query.h"
#include "host/web/settings_json.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kAccepted = 202;
constexpr int kNotFound = 404;
constexpr int kConflict = 409;
constexpr int kUnavailable = 503;
constexpr int kMostVersions = 200;
constexpr std::chrono::seconds kTakeOver{10};  // for a camera to take settings over
constexpr std::chrono::milliseconds kLookEach{50};

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

RunOptions options_of(const SettingsVersion& version) {
    RunOptions options;
    parse_config(version.text, "version " + std::to_string(version.number), options);
    return options;
}

Json version_json(const SettingsVersion& version, const TimeZone& zone) {
    Json json = head_json(version, zone);
    json["settings"] = settings_json(options_of(version));
    return json;
}

// What the camera counts with now.
SettingsVersion in_force(const PlaceReader& place, const ServiceCamera& camera) {
    if (auto newest = newest_settings(place.database(camera.name))) return *newest;
    throw ApiError(kNotFound, "the camera has not counted yet");
}

HttpResponse in_force_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const ServiceCamera& camera = camera_of(place, call);
    return json_answer(version_json(in_force(place, camera), place.zone()));
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
    in_force(place, camera);
    const auto version = settings_version(place.database(camera.name), number);
    if (!version) throw ApiError(kNotFound, "there is no such version of the settings");
    return json_answer(version_json(*version, place.zone()));
}

HttpResponse versions_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const ServiceCamera& camera = camera_of(place, call);
    in_force(place, camera);
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
    void note(const std::vector<PlaceWarning>& warnings, const char* kind, std::size_t index,
              const std::string& name) {
        for (const PlaceWarning& warning : warnings) {
            Json values{{kind, name}};
            if (warning.beyond_m) values["m"] = *warning.beyond_m;
            if (warning.needed_m) values["needed"] = *warning.needed_m;
            notes_.push_back(
                {false, warning.code, as_sentence(warning.text), kind, index, std::move(values)});
        }
    }

    void add_line(std::size_t i) {
        CountingLine line = options_.lines[i].value;
        line.points = scaled(line.points, across_, down_);
        const std::vector<CountingLine> lines{line};
        const std::vector<CountingRegion> none;
        const CountedPlaces places{lines, none, exclusions_};
        const CameraModel camera = look_.model.value_or(CameraModel{});
        note(place_warnings(places), "line", i, line.name);
        note(line_edge_warnings(places, kColourWidth, kColourHeight, camera,
                                options_.source.foot_point),
             "line", i, line.name);
        note(unseen_line_warnings(places, camera, options_.source.foot_point), "line", i,
             line.name);
    }

    void add_region(std::size_t i) {
        CountingRegion region = options_.regions[i].value;
        region.points = scaled(region.points, across_, down_);
        const std::vector<CountingRegion> regions{region};
        const std::vector<CountingLine> none;
        const CountedPlaces places{none, regions, exclusions_};
        note(place_warnings(places), "region", i, region.name);
        note(region_edge_warnings(places, kColourWidth, kColourHeight), "region", i, region.name);
    }

    const RunOptions& options_;
    const CameraLook& look_;
    const double across_;
    const double down_;
    std::vector<std::vector<PicturePoint>> exclusions_;
    std::vector<SettingsNote> notes_;
};

HttpResponse refused_answer(const SettingsNote& note) {
    const Json json = note_json(note);
    return json_answer({{"error", json["text"]}, {"place", json["place"]}}, kBadRequest);
}

GivenSettings settings_of(const Json& json, const CameraLook& look, const ServiceCamera& camera) {
    GivenSettings given = read_settings_json(json, look);
    try {
        check_height_goes_with(given.options, camera);
    } catch (const InputError& error) {
        given.errors.push_back({true, "setting_wrong", as_sentence(error.what()), "setting", 0});
    }
    return given;
}

HttpResponse check_answer(const ApiSources& sources, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const CameraLook look = sources.look(camera_of(place, call).name);
    const GivenSettings given = settings_of(json_body(call.request), look, camera_of(place, call));
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

// Cameras whose settings are being saved.
struct Saves {
    std::mutex mutex;
    std::set<std::string> cameras;
};

// From the look at what is in force until the camera has taken the new settings over.
class SaveTurn {
  public:
    SaveTurn(Saves& saves, const std::string& camera) : saves_(saves), camera_(camera) {
        const std::lock_guard lock(saves_.mutex);
        if (!saves_.cameras.insert(camera_).second)
            throw ApiError(kUnavailable,
                           "somebody else is saving settings of this camera; try again");
    }
    ~SaveTurn() {
        const std::lock_guard lock(saves_.mutex);
        saves_.cameras.erase(camera_);
    }
    SaveTurn(const SaveTurn&) = delete;
    SaveTurn& operator=(const SaveTurn&) = delete;

  private:
    Saves& saves_;
    const std::string camera_;
};

struct GivenSave {
    std::int64_t base_version = 0;
    std::string name;
    Json settings;
};

GivenSave save_of(const HttpRequest& request) {
    GivenSave save;
    try {
        const Json json = json_body(request);
        if (!json.at("base_version").is_number_integer())
            throw ApiError(kBadRequest, "\"base_version\" is a whole number");
        save = {json.at("base_version"), json.at("name"), json.at("settings")};
    } catch (const Json::exception&) {
        throw ApiError(kBadRequest,
                       "a save is {\"base_version\": number, \"name\": text, \"settings\": {...}}");
    }
    if (save.name.empty()) return save;
    try {
        check_name(save.name, "the name of the version");
    } catch (const InputError& error) {
        throw ApiError(kBadRequest, error.what());
    }
    return save;
}

// The file of a camera's settings, which gets its old text back unless the new one is kept.
class SettingsFile {
  public:
    SettingsFile(const ApiSources& sources, const ServiceCamera& camera)
        : sources_(sources), camera_(camera) {
        std::ifstream file(camera.settings, std::ios::binary);
        if (file) before_ = std::string(std::istreambuf_iterator<char>(file), {});
    }

    void write(const std::string& settings, const SettingsAuthor& by) const {
        const std::string text =
            "# saved by " + by.author + (by.name.empty() ? "" : ": " + by.name) + "\n" + settings;
        sources_.note_settings(camera_.name, text, by);
        write(text);
    }
    void put_back() const {
        if (before_) return write(*before_);
        std::error_code error;
        std::filesystem::remove(camera_.settings, error);
    }

  private:
    void write(const std::string& text) const {
        try {
            write_whole_file(camera_.settings, text);
        } catch (const std::runtime_error& error) {
            throw ApiError(kUnavailable, error.what());
        }
    }

    const ApiSources& sources_;
    const ServiceCamera& camera_;
    std::optional<std::string> before_;
};

// What the camera counts with once it has taken new settings over: those of before where it does
// not do so in time, as when it is away. Throws ApiError when it refuses them.
SettingsVersion taken_over(const ApiSources& sources, const SettingsFile& file,
                           const std::string& camera, const std::string& database,
                           const SettingsVersion& before) {
    const auto end = std::chrono::steady_clock::now() + kTakeOver;
    while (std::chrono::steady_clock::now() < end) {
        auto newest = newest_settings(database);
        if (newest && newest->number > before.number) return *newest;
        if (const std::string why = sources.refusal(camera); !why.empty()) {
            file.put_back();
            throw ApiError(kBadRequest, why);
        }
        std::this_thread::sleep_for(kLookEach);
    }
    return before;
}

// Files of the machine are named by those who work on it.
void check_models(const RunOptions& given, const RunOptions& in_force) {
    const bool gender = given.gender == in_force.gender || given.gender == "none";
    const bool staff =
        given.staff == in_force.staff || given.staff == "none" || given.staff == "vest";
    if (gender && staff) return;
    throw ApiError(kBadRequest, std::string("the network of \"") + (gender ? "staff" : "gender") +
                                    "\" is a file, which is named in the camera's own file of "
                                    "settings only");
}

HttpResponse save_answer(const ApiSources& sources, Saves& saves, const ApiCall& call) {
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const ServiceCamera& camera = camera_of(place, call);
    const GivenSave save = save_of(call.request);
    const SaveTurn turn(saves, camera.name);
    const std::string database = place.database(camera.name);
    const SettingsVersion before = in_force(place, camera);
    if (save.base_version != before.number) {
        const std::string sentence = as_sentence("version " + std::to_string(before.number) +
                                                 " by \"" + before.author + "\" came meanwhile");
        return json_answer({{"error", sentence}, {"current", version_json(before, place.zone())}},
                           kConflict);
    }
    const GivenSettings given = settings_of(save.settings, sources.look(camera.name), camera);
    if (!given.errors.empty()) return refused_answer(given.errors.front());
    const RunOptions now = options_of(before);
    check_models(given.options, now);
    const std::string text = config_text(given.options);
    try {
        check_installation(camera_options(camera, text, "settings"));
    } catch (const InputError& error) {
        throw ApiError(kBadRequest, error.what());
    }
    if (text == config_text(now)) return json_answer(version_json(before, place.zone()));
    const SettingsFile file(sources, camera);
    file.write(text, {call.caller.name, save.name});
    const SettingsVersion after = taken_over(sources, file, camera.name, database, before);
    Json json = version_json(after, place.zone());
    if (after.number > before.number) return json_answer(json);
    json["waiting"] = true;
    return json_answer(json, kAccepted);
}

}  // namespace

nlohmann::ordered_json settings_news(const ApiSources& sources, const std::string& camera) {
    const auto newest = newest_settings(database_of(*sources.place(), camera));
    return {{"camera", camera},
            {"version", newest ? newest->number : 0},
            {"author", newest ? newest->author : ""}};
}

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
    const auto saves = std::make_shared<Saves>();
    router.add(
        "PUT", "/api/v1/cameras/{camera}/settings", Role::kOperator,
        [sources, saves](const ApiCall& call) { return save_answer(sources, *saves, call); });
}

}  // namespace host
