// Source and settings together.
#include "host/service/camera_options.h"

#include <filesystem>

#include "host/base/input_error.h"
#include "host/settings/run_arguments.h"

namespace host {

void check_height_goes_with(const RunOptions& options, const ServiceCamera& camera) {
    if (camera.source.source != "scene" || !options.source.height_mm) return;
    throw InputError(options.source.height_mm->place_or("height_mm") +
                     " goes with recordings and live cameras; the simulated scene \"" +
                     camera.source.scene + "\" has its camera where it is");
}

RunOptions camera_options(const ServiceCamera& camera) {
    RunOptions options;
    options.source = camera.source;
    std::error_code error;
    if (std::filesystem::exists(camera.settings, error)) {
        read_config_file(camera.settings, options);
    } else if (!options.source.recordings.empty()) {
        read_recorded_settings(options.source.recordings.front(), options);
    } else {
        options.set_again = [](RunOptions&) {};  // what a stream carries counts
    }
    check_options(options);
    check_height_goes_with(options, camera);
    return options;
}

RunOptions camera_options(const ServiceCamera& camera, const std::string& text,
                          const std::string& name) {
    RunOptions options;
    options.source = camera.source;
    parse_config(text, name, options);
    check_options(options);
    check_height_goes_with(options, camera);
    return options;
}

}  // namespace host
