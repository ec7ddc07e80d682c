// Parsing and checking of the values that command line and configuration file share.
#include "host/settings/run_options.h"

#include <charconv>
#include <cmath>
#include <sstream>

#include "host/base/text.h"
#include "host/inference/attribute_model.h"

namespace host {
namespace {

template <typename PlacedThing>
void check_names(const std::vector<PlacedThing>& things) {
    std::vector<Placed<std::string>> names;
    for (const PlacedThing& thing : things)
        names.emplace_back(thing.value.name, thing.place);
    check_names_differ(names);
}

void check_no_model(const std::string& model, const std::string& attribute) {
    if (model == "none") return;
    throw InputError("the " + attribute + " model is \"" + model +
                     "\"; a depth recording has no colour, so it must be none");
}

}  // namespace

std::optional<double> to_number(const std::string& text) {
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::vector<PicturePoint> parse_points(const std::string& text, const std::string& place) {
    std::vector<PicturePoint> points;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const std::size_t comma = word.find(',');
        const auto x = to_number(word.substr(0, comma));
        const auto y =
            comma == std::string::npos ? std::nullopt : to_number(word.substr(comma + 1));
        if (!x || !y) {
            throw InputError(place + ": \"" + word +
                             "\" is not a point; write x,y pairs with blanks between them, "
                             "such as \"100,272 860,272\"");
        }
        points.push_back({*x, *y});
    }
    return points;
}

double checked_height_mm(double height_mm, const std::string& place) {
    if (!(height_mm >= kLowestCamera_mm && height_mm <= kHighestCamera_mm)) {
        throw InputError(place + " is " + plain_number(height_mm) +
                         "; the camera's height over the floor is given in millimetres, 1500 to "
                         "15000");
    }
    return height_mm;
}

void check_target_range(int lowest_mm, int highest_mm, const std::string& place) {
    if (lowest_mm < highest_mm) return;
    throw InputError(place + " is " + std::to_string(lowest_mm) + " to " +
                     std::to_string(highest_mm) + " mm; its first number must be the smaller one");
}

void check_group_range(int fewest, int most, const std::string& place) {
    if (fewest >= 1 && fewest <= most) return;
    throw InputError(place + " is " + std::to_string(fewest) + " to " + std::to_string(most) +
                     " members; write min and max with 1 <= min <= max");
}

TiltSetting parse_tilt(const std::string& text, const std::string& place) {
    if (text == "auto") return {};
    if (text == "none") return {TiltSetting::Kind::kNone, {}};
    const std::size_t comma = text.find(',');
    const auto roll = to_number(text.substr(0, comma));
    const auto pitch =
        comma == std::string::npos ? std::nullopt : to_number(text.substr(comma + 1));
    if (!roll || !pitch) {
        throw InputError(place + " is \"" + text +
                         "\"; write auto, none, or roll and pitch in degrees, such as 3.5,-2");
    }
    return checked_tilt({*roll, *pitch}, place);
}

TiltSetting checked_tilt(const Tilt& tilt, const std::string& place) {
    for (const double angle : {tilt.roll_deg, tilt.pitch_deg}) {
        if (std::abs(angle) <= kMostTilt_deg) continue;
        throw InputError(place + " has an angle of " + plain_number(angle) +
                         " degrees; roll and pitch are each from -20 to 20");
    }
    return {TiltSetting::Kind::kGiven, tilt};
}

Sensor parse_sensor(const std::string& name, const std::string& place) {
    for (const Sensor sensor : {Sensor::kExact, Sensor::kReadsLow})
        if (name == sensor_name(sensor)) return sensor;
    throw InputError(place + " is \"" + name + "\"; known are exact and reads-low");
}

LateCounts parse_late_counts(const std::string& name, const std::string& place) {
    for (const LateCounts late_counts : {LateCounts::kDrop, LateCounts::kKeep})
        if (name == late_counts_name(late_counts)) return late_counts;
    throw InputError(place + " is \"" + name + "\"; known are drop and keep");
}

DetectMode parse_detect_mode(const std::string& name, const std::string& place) {
    for (const DetectMode mode : {DetectMode::kBoth, DetectMode::kColour, DetectMode::kDepth}) {
        if (name == detect_mode_name(mode)) return mode;
    }
    throw InputError(place + " is \"" + name + "\"; known are both, colour and depth");
}

const char* detect_mode_name(DetectMode mode) {
    switch (mode) {
        case DetectMode::kBoth:
            return "both";
        case DetectMode::kColour:
            return "colour";
        case DetectMode::kDepth:
            break;
    }
    return "depth";
}

bool uses_staff_model(const RunOptions& options) {
    return options.staff != kNoModel;
}

void check_options(const RunOptions& options) {
    if (options.lines.size() > kMaxLines) {
        throw InputError("there are " + std::to_string(options.lines.size()) +
                         " counting lines; at most 4 can be counted");
    }
    if (options.regions.size() > kMaxRegions) {
        throw InputError("there are " + std::to_string(options.regions.size()) +
                         " counting regions; at most 4 can be counted");
    }
    if (options.exclusions.size() > kMaxExclusions) {
        throw InputError("there are " + std::to_string(options.exclusions.size()) +
                         " exclusion areas; at most 4 are possible");
    }
    if (!options.store_log.empty() && options.store.empty()) {
        throw InputError("--store-log belongs to --store; name the database too");
    }
    check_names(options.lines);
    check_names(options.regions);
    check_target_range(options.target_min_mm, options.target_max_mm,
                       "the range of counted heights");
    check_group_range(options.group_min, options.group_max, "the size of groups");
    if (options.source.source == "depth-folder") check_goes_without_colour(options);
}

void check_goes_without_colour(const RunOptions& options) {
    if (options.detect.value != DetectMode::kDepth) {
        throw InputError(options.detect.place_or("--detect") + " is \"" +
                         detect_mode_name(options.detect.value) +
                         "\"; a depth recording has no colour, so it must be depth");
    }
    check_no_model(options.gender, "gender");
    check_no_model(options.staff, "staff");
}

}  // namespace host
