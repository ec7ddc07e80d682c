// Source and settings together.
#include "host/service/camera_options.h"

#include <filesystem>

#include "host/settings/run_arguments.h"

namespace host {

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
    return options;
}

RunOptions camera_options(const ServiceCamera& camera, const std::string& text,
                          const std::string& name) {
    RunOptions options;
    options.source = camera.source;
    parse_config(text, name, options);
    check_options(options);
    return options;
}

}  // namespace host
