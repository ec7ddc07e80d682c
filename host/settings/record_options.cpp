// Checks of what is recorded, and the settings that go with it.
#include "host/settings/record_options.h"

namespace host {

RecordedColour parse_recorded_colour(const std::string& name, const std::string& option) {
    if (name == "none") return RecordedColour::kNone;
    if (name == "lossless") return RecordedColour::kLossless;
    if (name == "small") return RecordedColour::kSmall;
    throw InputError(option + " is \"" + name + "\"; known are none, lossless and small");
}

std::string settings_in_force_text(const RunOptions& options, const SourceInfo& own) {
    RunOptions settings = options;
    if (settings.lines.empty())
        for (const CountingLine& line : own.lines)
            settings.lines.emplace_back(line);
    if (settings.regions.empty() && !settings.no_regions)
        for (const CountingRegion& region : own.regions)
            settings.regions.emplace_back(region);
    if (!settings.group_counting) settings.group_counting = own.group_counting;
    return config_text(settings);
}

std::string recorded_settings_text(const RunOptions& options, const SourceInfo& own) {
    RunOptions settings = options;
    settings.measure_height = false;
    settings.source.height_mm.reset();
    return settings_in_force_text(settings, own);
}

void check_record_options(const RecordOptions& options) {
    check_options(options.run);
    if (!options.to_folder) return;
    const char* other = nullptr;
    if (options.colour != RecordedColour::kNone) other = "--colour";
    if (options.keep_hours) other = "--keep";
    if (options.clip_s) other = "--clips";
    if (other == nullptr) return;
    throw InputError("--to-folder writes depth pictures alone; leave out " + std::string(other));
}

}  // namespace host
