// Reading of the file of a place, key by key.
#include "host/settings/service_file.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <iterator>
#include <limits>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/base/toml_reader.h"
#include "host/settings/file_values.h"

namespace host {
namespace {

using Value = const TomlValue&;

constexpr const char* kDatabaseEnding = ".db";
constexpr const char* kDepthPicture = "depth";
constexpr const char* kColourPicture = "colour";
constexpr int kMostPeople = 1'000'000;

class ServiceReader {
  public:
    explicit ServiceReader(const std::string& path)
        : folder_(std::filesystem::path(path).parent_path().string()) {
        file_.path = path;
        file_.folder = path_beside(folder_, "store");
    }

    ServiceFile read(Value root) {
        root.read_keys(
            {{"place", [this](Value v) { file_.place = plain_name(v, "place"); }, true},
             {"time_zone",
              [this](Value v) {
                  file_.time_zone = {v.text(), v.place("time_zone")};
              }},
             {"open",
              [this](Value v) {
                  for (const TomlValue& hours : v.one_or_more())
                      file_.open.emplace_back(hours.text(), hours.place("open"));
              }},
             {"camera",
              TomlValue::tables("cameras are written as [[camera]] tables",
                                [this](Value table) { read_camera(table); }),
              true},
             {"area", TomlValue::tables("areas are written as [[area]] tables",
                                        [this](Value table) { read_area(table); })},
             {"entrance", TomlValue::tables("entrances are written as [[entrance]] tables",
                                            [this](Value table) { read_entrance(table); })},
             {"store", [this](Value v) { read_store(v); }},
             {"web", [this](Value v) { read_web(v); }},
             {"mqtt", [this](Value v) { read_mqtt(v); }},
             {"webhook", TomlValue::tables("webhooks are written as [[webhook]] tables",
                                           [this](Value table) { add_webhook(table); })}});
        check_topics();
        return std::move(file_);
    }

  private:
    // What was given for a camera before it is known to fit together.
    struct Given {
        std::string scene;
        std::string site;
        std::string device;
        std::optional<std::string> seed;
        std::optional<std::string> loop;
        std::optional<std::string> fast;
        std::optional<std::string> format;
        std::optional<std::string> colour;
        std::optional<std::string> camera_file;
        std::optional<std::string> settings;
    };

    void read_camera(Value table) {
        if (file_.cameras.size() == kMostCameras) {
            throw InputError(table.place("this is camera ") + std::to_string(kMostCameras + 1) +
                             "; a place can have " + std::to_string(kMostCameras));
        }
        constexpr int kMostSeed = std::numeric_limits<int>::max();
        ServiceCamera camera;
        SourceOptions& source = camera.source;
        Given given;
        table.read_keys(
            {{"name", [&](Value v) { camera.name = plain_name(v, "name"); }},
             {"scene",
              [&](Value v) {
                  given.scene = plain_name(v, "scene");
                  source.scene = given.scene;
              }},
             {"seed",
              [&](Value v) {
                  source.seed = static_cast<std::uint64_t>(v.whole(0, kMostSeed));
                  given.seed = v.place("seed");
              }},
             {"recording", [&](Value v) { source.recordings = files(v); }},
             {"loop",
              [&](Value v) {
                  camera.loop = v.flag();
                  given.loop = v.place("loop");
              }},
             {"fast",
              [&](Value v) {
                  camera.fast = v.flag();
                  given.fast = v.place("fast");
              }},
             {"depth", [&](Value v) { source.live_depth = address_value(v, "depth", folder_); }},
             {"depth_format",
              [&](Value v) {
                  source.depth_format = depth_format_value(v);
                  given.format = v.place("depth_format");
              }},
             {"colour",
              [&](Value v) {
                  source.live_colour = address_value(v, "colour", folder_);
                  given.colour = v.place("colour");
              }},
             {"camera_file",
              [&](Value v) {
                  source.camera_file = file_value(v, "camera_file", folder_);
                  given.camera_file = v.place("camera_file");
              }},
             {"picture", [&](Value v) { camera.colour_picture = shows_colour(v); }},
             {"site", [&](Value v) { given.site = file_value(v, "site", folder_); }},
             {"device", [&](Value v) { given.device = plain_name(v, "device"); }},
             {"settings", [&](Value v) {
                  camera.settings = file_value(v, "settings", folder_);
                  given.settings = v.place("settings");
              }}});
        if (camera.name.empty())
            throw InputError(table.place("this camera has no name; write name = \"...\""));
        camera.place = table.place("the camera \"" + camera.name + "\"");
        check_name_is_free(camera);
        settle_source(camera, given);
        if (camera.in_cascade()) camera.settings = camera.role.site;
        if (camera.settings.empty()) {
            camera.settings =
                path_beside(folder_, std::string(kSettingsFolder) + "/" + camera.name + ".toml");
        }
        camera.definition = definition_of(camera);
        file_.cameras.push_back(std::move(camera));
    }

    void check_name_is_free(const ServiceCamera& camera) const {
        if (camera.name == kServiceDatabase || camera.name == kPlaceDevice) {
            throw InputError(camera.place +
                             " cannot have this name; a database of the service has it");
        }
        if (find_camera(file_, camera.name) != nullptr)
            throw InputError(camera.place + " has the name of another one; names must differ");
    }

    static bool shows_colour(Value v) {
        const std::string what = v.text();
        if (what == kDepthPicture || what == kColourPicture) return what == kColourPicture;
        throw InputError(v.place("picture") + " is \"" + what +
                         "\"; write \"depth\", in which nobody can be recognised, or "
                         "\"colour\"");
    }

    // One recording, or several that follow each other.
    std::vector<std::string> files(Value value) const {
        std::vector<std::string> paths;
        for (const TomlValue& item : value.one_or_more())
            paths.push_back(file_value(item, "recording", folder_));
        return paths;
    }

    void settle_source(ServiceCamera& camera, const Given& given) {
        SourceOptions& source = camera.source;
        const bool recorded = !source.recordings.empty();
        const bool live = !source.live_depth.empty();
        const int sources = (given.scene.empty() ? 0 : 1) + (recorded ? 1 : 0) + (live ? 1 : 0) +
                            (given.site.empty() ? 0 : 1);
        if (sources != 1) {
            throw InputError(camera.place + " has " + (sources == 0 ? "no source" : "two sources") +
                             "; give one of depth, recording, scene and site");
        }
        source.source = live ? "live" : recorded ? "recording" : "scene";
        camera.role = {given.site,
                       given.device.empty() && !given.site.empty() ? camera.name : given.device};
        const auto belongs = [](const std::optional<std::string>& place, bool fits,
                                const char* to) {
            if (place && !fits) throw InputError(*place + " belongs to a camera with " + to);
        };
        belongs(given.seed, !given.scene.empty(), "a scene");
        belongs(given.loop, recorded, "a recording");
        belongs(given.fast, recorded || !given.scene.empty(), "a recording or a scene");
        belongs(given.format, live, "depth");
        belongs(given.colour, live, "depth");
        belongs(given.camera_file, live || recorded, "depth or a recording");
        belongs(given.settings, given.site.empty(), "a source of its own");
        if (!given.device.empty() && given.site.empty())
            throw InputError(camera.place + " has a device without site; name the site's file");
        if (!source.camera_file.empty()) check_camera_file(source.camera_file, camera.place);
    }

    static std::string definition_of(const ServiceCamera& camera) {
        const SourceOptions& source = camera.source;
        std::string text = source.source + '\n' + source.scene + '\n' +
                           std::to_string(source.seed) + '\n' + source.live_depth + '\n' +
                           source.depth_format + '\n' + source.live_colour + '\n' +
                           source.camera_file + '\n' + camera.settings + '\n' + camera.role.site +
                           '\n' + camera.role.device + (camera.loop ? "\nloop" : "\nonce") +
                           (camera.fast ? "\nfast" : "") + '\n' +
                           (camera.colour_picture ? kColourPicture : kDepthPicture);
        for (const std::string& path : source.recordings)
            text += '\n' + path;
        return text;
    }

    void read_area(Value table) {
        ServiceArea area;
        table.read_keys({{"name", [&](Value v) { area.name = plain_name(v, "name"); }},
                         {"capacity", [&](Value v) { area.capacity = v.whole(1, kMostPeople); }},
                         {"reset", [&](Value v) {
                              area.reset = {v.text(), v.place("reset")};
                          }}});
        if (area.name.empty())
            throw InputError(table.place("this area has no name; write name = \"...\""));
        const bool known = std::any_of(file_.areas.begin(), file_.areas.end(),
                                       [&](const ServiceArea& a) { return a.name == area.name; });
        if (known) {
            throw InputError(
                table.place("the area \"" + area.name + "\" is there twice; names must differ"));
        }
        file_.areas.push_back(std::move(area));
    }

    void read_entrance(Value table) {
        ServiceEntrance entrance;
        table.read_keys({{"camera", [&](Value v) { entrance.camera = plain_name(v, "camera"); }},
                         {"line", [&](Value v) { entrance.line = shown_name(v); }},
                         {"in", [&](Value v) { entrance.in = v.whole(1, 2); }},
                         {"area", [&](Value v) { entrance.area = plain_name(v, "area"); }}});
        entrance.place = table.place("the entrance");
        if (entrance.camera.empty() || entrance.line.empty()) {
            throw InputError(entrance.place + " needs a camera and a line, such as camera = " +
                             "\"door\", line = \"door\"");
        }
        if (find_camera(file_, entrance.camera) == nullptr) {
            std::string known;
            for (const ServiceCamera& camera : file_.cameras)
                known += (known.empty() ? "" : ", ") + camera.name;
            throw InputError(entrance.place + " names the camera \"" + entrance.camera +
                             "\"; known are " + known);
        }
        settle_area(entrance);
        file_.entrances.push_back(std::move(entrance));
    }

    void settle_area(ServiceEntrance& entrance) {
        if (file_.areas.empty()) file_.areas.push_back({kWholePlace, {"04:00"}, {}});
        if (entrance.area.empty() && file_.areas.size() == 1)
            entrance.area = file_.areas.front().name;
        std::string known;
        for (const ServiceArea& area : file_.areas) {
            if (area.name == entrance.area) return;
            known += (known.empty() ? "" : ", ") + area.name;
        }
        throw InputError(entrance.place +
                         (entrance.area.empty() ? " does not say which area it leads into"
                                                : " leads into \"" + entrance.area + "\"") +
                         "; known are " + known);
    }

    void read_store(Value value) {
        value.read_keys(
            {{"folder", [this](Value v) { file_.folder = file_value(v, "folder", folder_); }},
             {"events_days", days(&Retention::events)},
             {"minutes_days", days(&Retention::minutes)},
             {"people_days", days(&Retention::people)},
             {"heat_days", days(&Retention::heat)},
             {"gaps_days", days(&Retention::gaps)},
             {"health_days", days(&Retention::health)},
             {"settings_days", days(&Retention::settings)}},
            "databases are set in a [store] table");
    }

    std::function<void(Value)> days(std::optional<int> Retention::*kind) {
        return [this, kind](Value v) {
            if (v.is_text() && v.text() == kKeptForEver) {
                file_.keep.*kind = std::nullopt;
            } else {
                file_.keep.*kind = v.whole(1, kMostDaysKept);
            }
        };
    }

    void read_web(Value value) {
        constexpr int kMostPort = 65535;
        ServiceWeb web;
        web.place = value.place("[web]");
        const auto file = [this](std::string& path, const char* key) {
            return [this, &path, key](Value v) { path = file_value(v, key, folder_); };
        };
        value.read_keys({{"address", [&web](Value v) { web.address = numeric_address(v); }},
                         {"port", [&web](Value v) { web.port = v.whole(0, kMostPort); }},
                         {"hosts",
                          [&web](Value v) {
                              for (const TomlValue& name : v.one_or_more())
                                  web.hosts.push_back(host_name(name));
                          }},
                         {"metrics", [&web](Value v) { web.open_metrics = is_open(v); }},
                         {"certificate", file(web.tls.certificate, "certificate")},
                         {"key", file(web.tls.key, "key")}},
                        "what is answered over HTTP is set in a [web] table");
        if (web.tls.certificate.empty() != web.tls.key.empty()) {
            throw InputError(web.place +
                             " has only one of certificate and key; TLS needs both, add the other");
        }
        file_.web = web;
    }

    void read_mqtt(Value value) {
        ServiceMqtt mqtt;
        mqtt.broker.place = value.place("the broker");
        TomlValue::Keys keys = broker_keys(mqtt.broker, folder_);
        keys.push_back({"home_assistant", [&](Value v) { mqtt.home_assistant = v.flag(); }});
        keys.push_back({"allow_reset", [&](Value v) { mqtt.allow_reset = v.flag(); }});
        value.read_keys(keys, "what is published to a broker is set in an [mqtt] table");
        check_broker(mqtt.broker);
        file_.mqtt = std::move(mqtt);
    }

    void add_webhook(Value table) {
        if (file_.webhooks.size() == kMostWebhooks) {
            throw InputError(table.place("this is webhook ") + std::to_string(kMostWebhooks + 1) +
                             "; a place can have " + std::to_string(kMostWebhooks));
        }
        WebhookOptions hook = read_webhook(table, folder_);
        if (std::any_of(file_.webhooks.begin(), file_.webhooks.end(),
                        [&](const WebhookOptions& other) { return other.name == hook.name; }))
            throw InputError(hook.place + " has the name of another one; names must differ");
        file_.webhooks.push_back(std::move(hook));
    }

    // What is published of a camera lies under its name.
    void check_topics() const {
        if (!file_.mqtt) return;
        if (const ServiceCamera* const camera = find_camera(file_, kOccupancyTopic)) {
            throw InputError(camera->place +
                             " cannot have this name; how many people are in the areas is "
                             "published under it");
        }
    }

    static std::string numeric_address(Value value) {
        std::array<unsigned char, sizeof(in6_addr)> bytes{};
        std::string text = value.text();
        if (::inet_pton(AF_INET, text.c_str(), bytes.data()) == 1 ||
            ::inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1)
            return text;
        throw InputError(
            value.place("address") + " is \"" + text +
            "\"; write \"127.0.0.1\" for this machine alone, \"0.0.0.0\" for everybody "
            "who reaches it, or one of its addresses");
    }

    // Names are compared as browsers send them.
    static std::string host_name(Value value) {
        std::string text = value.text();
        std::string name;
        for (const char c : text) {
            const bool large = c >= 'A' && c <= 'Z';
            name += large ? static_cast<char>(c - 'A' + 'a') : c;
        }
        constexpr const char* kOfNames = "abcdefghijklmnopqrstuvwxyz0123456789-._";
        if (!name.empty() && name.find_first_not_of(kOfNames) == std::string::npos) return name;
        throw InputError(value.place("hosts") + " has \"" + text +
                         "\"; write names without port, such as [\"counter.example.org\"]");
    }

    static bool is_open(Value value) {
        const std::string text = value.text();
        if (text == "open" || text == "login") return text == "open";
        throw InputError(value.place("metrics") + " is \"" + text +
                         "\"; write \"login\", or \"open\" for everybody who reaches the service");
    }

    const std::string folder_;
    ServiceFile file_;
};

}  // namespace

const ServiceCamera* find_camera(const ServiceFile& file, const std::string& name) {
    const auto found = std::find_if(file.cameras.begin(), file.cameras.end(),
                                    [&](const ServiceCamera& c) { return c.name == name; });
    return found == file.cameras.end() ? nullptr : &*found;
}

std::string web_address(const ServiceWeb& web) {
    const bool v6 = web.address.find(':') != std::string::npos;
    return (web.tls.given() ? "https://" : "http://") +
           (v6 ? "[" + web.address + "]" : web.address) + ":" + std::to_string(web.port) + "/";
}

std::string database_of(const ServiceFile& file, const std::string& camera) {
    return (std::filesystem::path(file.folder) / (camera + kDatabaseEnding)).string();
}

bool is_service_file(const std::string& path) {
    const TomlValue root = read_toml_file(path, "file", "vca check needs a readable file");
    constexpr const char* kOfPlaces[] = {"place",    "time_zone", "open", "camera", "area",
                                         "entrance", "store",     "web",  "mqtt",   "webhook"};
    return std::any_of(std::begin(kOfPlaces), std::end(kOfPlaces),
                       [&root](const char* key) { return root.find(key) != nullptr; });
}

ServiceFile read_service_file(const std::string& path) {
    return parse_service_file(
        read_text_file(path, "file of a place", "vca serve --config needs a readable file"), path);
}

ServiceFile parse_service_file(const std::string& text, const std::string& path) {
    ServiceFile file = ServiceReader(path).read(parse_toml(text, path));
    file.text = text;
    return file;
}

}  // namespace host
