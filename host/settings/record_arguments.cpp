// Reads what a recording has of its own.
#include "host/settings/record_arguments.h"

namespace host {
namespace {

constexpr const char* kColour = "--colour";
constexpr const char* kKeep = "--keep";
constexpr const char* kClips = "--clips";
constexpr const char* kPlace = "--place";
constexpr const char* kToFolder = "--to-folder";

double number_of(const CLI::App& record, const char* option, double least, double most) {
    const std::string text = value_of(record, option).value_or("");
    const std::optional<double> number = to_number(text);
    if (number && *number >= least && *number <= most) return *number;
    throw InputError(std::string(option) + " is \"" + text + "\"; write a number from " +
                     std::to_string(static_cast<int>(least)) + " to " +
                     std::to_string(static_cast<int>(most)));
}

}  // namespace

RecordArguments::RecordArguments(CLI::App& record)
    : record_(record), run_(record, RunArguments::Output::kRecording) {
    const char* const group = "Recording";
    const auto add = [&](const char* option, const char* type, const std::string& description) {
        record_.add_option(option, description)->type_name(type)->group(group);
    };
    add(kColour, "none|lossless|small",
        "Colour pictures beside the depth: none, pixel for pixel, or small [none]");
    add(kKeep, "HOURS", "Remove recordings in the folder that are older [keep all]");
    add(kClips, "S",
        "Keep only so many seconds before and after each count, and each person who was near a "
        "line and not counted");
    add(kPlace, "TEXT", "Name of the place, noted in the recording");
    const std::string to_folder = "Write numbered PNG files of the depth in place of a recording";
    record_.add_flag(kToFolder, to_folder)->disable_flag_override()->group(group);
}

void RecordArguments::apply_to(RecordOptions& options) const {
    constexpr double kMostHours = 100000.0;
    constexpr double kMostClip_s = 300.0;
    run_.apply_to(options.run);
    if (const auto colour = value_of(record_, kColour))
        options.colour = parse_recorded_colour(*colour, kColour);
    if (is_given(record_, kKeep)) options.keep_hours = number_of(record_, kKeep, 0.0, kMostHours);
    if (is_given(record_, kClips)) options.clip_s = number_of(record_, kClips, 1.0, kMostClip_s);
    if (const auto place = value_of(record_, kPlace)) {
        check_name(*place, kPlace);
        options.place = *place;
    }
    options.to_folder = is_given(record_, kToFolder);
}

}  // namespace host
