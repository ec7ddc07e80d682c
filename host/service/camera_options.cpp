// Source and settings together.
#include "host/service/camera_options.h"

#include <filesystem>

#include "host/base/input_error.h"
#include "host/settings/run_arguments.h"

namespace host {

namespace {

// A camera that started with it would end at once.
void check_height_goes_with(const RunOptions& options) {
    if (options.source.source != "scene" || !options.source.height_mm) return;
    throw InputError(options.source.height_mm->place_or("height_mm") +
                     " goes with recordings and live cameras; the simulated scene \"" +
                     options.source.scene + "\" has its camera where it is");
}

}  // namespace

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
    check_height_goes_with(options);
    return options;
}

RunOptions camera_options(const ServiceCamera& camera, const std::string& text,
                          const std::string& name) {
    RunOptions options;
    options.source = camera.source;
    parse_config(text, name, options);
    check_options(options);
    check_height_goes_with(options);
    return options;
}

}  // namespace host
