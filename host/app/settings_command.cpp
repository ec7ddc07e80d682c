// History and restoring of settings, and what can be set.
#include "host/app/settings_command.h"

#include <algorithm>

#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/base/whole_file.h"
#include "host/service/camera_options.h"
#include "host/settings/installation_check.h"
#include "host/settings/service_file.h"
#include "host/store/local_time.h"
#include "host/store/result_table.h"
#include "host/store/settings_history.h"

namespace host {
namespace {

const ServiceCamera& camera_named(const ServiceFile& file, const std::string& name) {
    if (const ServiceCamera* camera = find_camera(file, name)) return *camera;
    std::string known;
    for (const ServiceCamera& camera : file.cameras)
        known += (known.empty() ? "" : ", ") + camera.name;
    throw InputError("\"" + file.path + "\" has no camera \"" + name + "\"; it has " + known);
}

const SettingsVersion& version_numbered(const std::vector<SettingsVersion>& versions,
                                        std::int64_t number) {
    const auto found = std::find_if(versions.begin(), versions.end(),
                                    [&](const auto& each) { return each.number == number; });
    if (found != versions.end()) return *found;
    throw InputError("there is no version " + std::to_string(number) +
                     " of the settings; see vca settings history");
}

// The lines and regions of a version, which a later program may not be able to read.
std::string places_of(const SettingsVersion& version) {
    RunOptions options;
    try {
        parse_config(version.text, "version", options);
    } catch (const InputError&) {
        return "?";
    }
    std::string text;
    const auto add = [&text](const std::string& name) {
        text += (text.empty() ? "" : ", ") + name;
    };
    for (const PlacedLine& line : options.lines)
        add(line.value.name);
    for (const Placed<CountingRegion>& region : options.regions)
        add(region.value.name);
    return text;
}

std::string history_table(const std::vector<SettingsVersion>& versions, const TimeZone& zone) {
    ResultTable table;
    table.columns = {"version", "applied", "author", "lines and regions"};
    for (const SettingsVersion& version : versions) {
        table.rows.push_back(
            {version.number, zone.text(version.applied_us), version.author, places_of(version)});
    }
    return as_table(table);
}

std::string restore(const ServiceCamera& camera, const SettingsVersion& version) {
    const std::string name = "version " + std::to_string(version.number);
    check_installation(camera_options(camera, version.text, name));
    write_whole_file(camera.settings,
                     "# " + name + " of the settings of this camera\n" + version.text);
    return "wrote " + name + " to \"" + camera.settings +
           "\"; a service that runs takes it over by itself\n";
}

}  // namespace

std::string settings_command(const SettingsOptions& options) {
    if (options.action == SettingsOptions::Action::kSchema) return config_schema();
    const ServiceFile file = read_service_file(options.file);
    const ServiceCamera& camera = camera_named(file, options.camera);
    if (camera.in_cascade()) {
        throw InputError(camera.place + " is a device of the site \"" + camera.role.site +
                         "\", which holds its settings");
    }
    const std::vector<SettingsVersion> versions = settings_history(database_of(file, camera.name));
    if (options.action == SettingsOptions::Action::kRestore)
        return restore(camera, version_numbered(versions, *options.version));
    if (options.version) return version_numbered(versions, *options.version).text;
    return history_table(versions, TimeZone(file.time_zone.value));
}

}  // namespace host
