// Checks that need the database's rules, other files, or both.
#include "host/service/service_check.h"

#include <algorithm>
#include <filesystem>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/frames/sim_source.h"
#include "host/net/tls_files.h"
#include "host/service/camera_options.h"
#include "host/settings/installation_check.h"
#include "host/settings/site.h"
#include "host/store/opening_hours.h"
#include "host/store/records.h"

namespace host {
namespace {

namespace fs = std::filesystem;

void check_time_zone(const Placed<std::string>& zone) {
    try {
        const TimeZone known(zone.value);
    } catch (const InputError& error) {
        if (zone.place.empty()) throw;
        throw InputError(zone.place + ": " + error.what());
    }
}

void check_scene(const ServiceCamera& camera) {
    std::string known;
    for (const SceneEntry& scene : scene_list()) {
        if (scene.name == camera.source.scene) return;
        known += (known.empty() ? "" : ", ") + scene.name;
    }
    throw InputError(camera.place + " has the scene \"" + camera.source.scene + "\"; known are " +
                     known);
}

// As it will be used.
void check_web(const ServiceWeb& web) {
    if (!web.tls.given()) return;
    try {
        check_tls_files(web.tls);
    } catch (const InputError& error) {
        throw InputError(web.place + ": " + error.what());
    }
}

void check_device(const ServiceCamera& camera) {
    const Site site = read_site_file(camera.role.site);
    if (find_device(site, camera.role.device) != nullptr) return;
    throw InputError(camera.place + " is the device \"" + camera.role.device + "\", which \"" +
                     camera.role.site + "\" does not have");
}

void check_kinds(const WebhookOptions& webhook) {
    std::string known;
    for (int kind = 0; kind <= static_cast<int>(EventKind::kHealth); ++kind)
        known +=
            (kind == 0 ? "" : ", ") + std::string(event_kind_name(static_cast<EventKind>(kind)));
    for (const auto& kind : webhook.kinds) {
        if ((", " + known + ",").find(", " + kind.value + ",") == std::string::npos) {
            throw InputError(kind.place + " has \"" + kind.value + "\"; known are " + known);
        }
    }
}

void check_camera(const ServiceCamera& camera) {
    if (camera.in_cascade()) return check_device(camera);
    if (camera.source.source == "scene") check_scene(camera);
    for (const std::string& path : camera.source.recordings) {
        if (const std::string why = why_unreadable(path); !why.empty())
            throw InputError(camera.place + ": cannot read \"" + path + "\": " + why);
    }
    check_installation(camera_options(camera));
}

std::string source_text(const ServiceCamera& camera) {
    const SourceOptions& source = camera.source;
    if (camera.in_cascade())
        return "device \"" + camera.role.device + "\" of the site \"" + camera.role.site + "\"";
    if (source.source == "live") return "live from \"" + source.live_depth + "\"";
    if (source.source == "scene") return "the simulated scene \"" + source.scene + "\"";
    return "the recording \"" + source.recordings.front() + "\"" +
           (source.recordings.size() > 1
                ? " and " + std::to_string(source.recordings.size() - 1) + " more"
                : "") +
           (camera.loop ? ", again and again" : ", once");
}

std::string settings_text(const ServiceCamera& camera) {
    if (camera.in_cascade()) return "";
    std::error_code error;
    return "; settings in \"" + camera.settings + "\"" +
           (fs::exists(camera.settings, error) ? "" : ", which does not exist yet");
}

// A line may come later, so this is no error.
std::string missing_lines(const ServiceFile& file) {
    std::string text;
    for (const ServiceEntrance& entrance : file.entrances) {
        const ServiceCamera& camera = *find_camera(file, entrance.camera);
        if (camera.in_cascade()) continue;
        const RunOptions options = camera_options(camera);
        const bool known =
            options.lines.empty() ||
            std::any_of(options.lines.begin(), options.lines.end(),
                        [&](const PlacedLine& line) { return line.value.name == entrance.line; });
        if (!known) {
            text += "  warning: " + entrance.place + " names the line \"" + entrance.line +
                    "\", which the camera \"" + camera.name + "\" does not have\n";
        }
    }
    return text;
}

std::string area_text(const ServiceFile& file, const ServiceArea& area) {
    std::string doors;
    for (const ServiceEntrance& entrance : file.entrances) {
        if (entrance.area != area.name) continue;
        doors += (doors.empty() ? "" : ", ") + entrance.camera + "/" + entrance.line;
    }
    return "  area \"" + area.name +
           "\": " + (doors.empty() ? "no entrance leads into it" : "entered through " + doors) +
           (area.capacity ? ", for " + std::to_string(*area.capacity) + " people" : "") +
           ", empty at " + area.reset.value + "\n";
}

std::string webhook_text(const WebhookOptions& webhook) {
    std::string what;
    const auto add = [&what](bool sent, const char* name) {
        if (sent) what += (what.empty() ? "" : ", ") + std::string(name);
    };
    add(webhook.events, "events");
    add(webhook.hours, "hours");
    add(webhook.days, "days");
    return "  webhook \"" + webhook.name + "\": " + what + " to " + webhook.host + "\n";
}

std::string open_text(const ServiceFile& file) {
    std::string text;
    for (const auto& hours : file.open)
        text += (text.empty() ? "" : "; ") + hours.value;
    return text.empty() ? "the whole day" : text;
}

}  // namespace

void check_service(const ServiceFile& file) {
    check_time_zone(file.time_zone);
    const OpeningHours hours(file.open);
    for (const ServiceArea& area : file.areas)
        parse_time_of_day(area.reset.value, area.reset.place);
    for (const ServiceCamera& camera : file.cameras)
        check_camera(camera);
    for (const WebhookOptions& webhook : file.webhooks)
        check_kinds(webhook);
    if (file.web) check_web(*file.web);
}

std::string describe_service(const ServiceFile& file) {
    std::string text = "place \"" + file.place + "\"\n";
    for (const ServiceCamera& camera : file.cameras) {
        text += "  camera \"" + camera.name + "\": " + source_text(camera) + settings_text(camera) +
                (camera.colour_picture ? "; pages show it in colour" : "") + "\n";
    }
    for (const ServiceArea& area : file.areas)
        text += area_text(file, area);
    for (const WebhookOptions& webhook : file.webhooks)
        text += webhook_text(webhook);
    text += "  time zone: " + TimeZone(file.time_zone.value).name() + "\n";
    text += "  open: " + open_text(file) + "\n";
    text += "  databases in \"" + file.folder + "\"\n";
    return text + missing_lines(file);
}

bool is_whole_cascade(const ServiceFile& file, const std::string& site) {
    const Site devices = read_site_file(site);
    return std::all_of(
        devices.devices.begin(), devices.devices.end(), [&](const SiteDevice& device) {
            return std::any_of(file.cameras.begin(), file.cameras.end(), [&](const auto& camera) {
                return camera.role.site == site && camera.role.device == device.name;
            });
        });
}

bool has_whole_cascade(const ServiceFile& file) {
    return std::any_of(file.cameras.begin(), file.cameras.end(), [&](const auto& camera) {
        return camera.in_cascade() && is_whole_cascade(file, camera.role.site);
    });
}

}  // namespace host
