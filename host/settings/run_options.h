// What a run is asked to do, from the command line and the configuration file.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/base/placed.h"
#include "host/depth/levelled_source.h"
#include "host/depth/sensor.h"
#include "host/engine/late_counts.h"
#include "host/frames/frame_source.h"
#include "host/settings/line_checks.h"

namespace host {

enum class DetectMode { kBoth = 0, kColour = 1, kDepth = 2 };

// A counting line and its U-turn area may have been given in different places.
struct PlacedLine : Placed<CountingLine> {
    using Placed<CountingLine>::Placed;
    std::string area_place;
    bool closed = false;  // the line goes around an area
};

struct RunOptions {
    SourceOptions source;
    bool measure_height = false;  // ask the library for the distance to the floor
    // All in the user's coordinates. No lines or regions: the source's own.
    std::vector<PlacedLine> lines;
    std::vector<Placed<CountingRegion>> regions;
    bool no_regions = false;                                    // not even the source's own
    std::vector<Placed<std::vector<PicturePoint>>> exclusions;  // people there are not followed
    Placed<DetectMode> detect{DetectMode::kDepth};
    Sensor sensor = Sensor::kExact;
    LateCounts late_counts = LateCounts::kDrop;
    TiltSetting tilt;
    std::string gender = "none";  // none, or an ONNX file
    std::string staff = "none";   // none, vest, or an ONNX file
    int target_min_mm = 800;      // people outside this range of heights are not counted
    int target_max_mm = 2200;
    std::optional<bool> group_counting;  // not set: as the source suggests
    int group_min = 2;                   // members of a group that is reported
    int group_max = 6;
    std::optional<double> seconds;  // end of the run in scene time
    std::optional<std::int64_t> frames;
    std::string output;          // folder of the results; empty: out/<name of the source>
    std::string store;           // database that keeps the counts; empty: none
    std::string store_log;       // gets a line for each of its transactions; empty: none
    bool show_detected = false;  // have the library send the trails of the detected boxes too
    bool live = true;            // write the live video
    bool quiet = false;
    // Sets once more what the command line set, which goes before what a live stream carries;
    // empty where what it carries does not count.
    std::function<void(RunOptions&)> set_again;
};

// "x,y x,y ..." to points. Throws InputError that begins with `place`.
std::vector<PicturePoint> parse_points(const std::string& text, const std::string& place);

// A finite decimal number that fills the whole text.
std::optional<double> to_number(const std::string& text);

inline constexpr double kLowestCamera_mm = 1500.0;
inline constexpr double kHighestCamera_mm = 15000.0;
// Millimetres of an installation height. Throws InputError outside 1500 to 15000.
double checked_height_mm(double height_mm, const std::string& place);

// Throw InputError when lowest is not below highest, or fewest not below most.
void check_target_range(int lowest_mm, int highest_mm, const std::string& place);
void check_group_range(int fewest, int most, const std::string& place);

// "auto", "none" or "ROLL,PITCH" in degrees; a pair of angles. Throw InputError.
TiltSetting parse_tilt(const std::string& text, const std::string& place);
TiltSetting checked_tilt(const Tilt& tilt, const std::string& place);

Sensor parse_sensor(const std::string& name, const std::string& place);
LateCounts parse_late_counts(const std::string& name, const std::string& place);
DetectMode parse_detect_mode(const std::string& name, const std::string& place);
const char* detect_mode_name(DetectMode mode);

// Sets in `options` what the file says. Throws InputError that names file and line.
void read_config_file(const std::string& path, RunOptions& options);
// The same from the text of one; `name` is what messages call it.
void parse_config(const std::string& text, const std::string& name, RunOptions& options);
// Takes the settings that came with a live stream, where they count. Throws InputError that begins
// with `name`.
void take_carried_settings(const std::string& text, const std::string& name, RunOptions& options);
// What can be set in such a file, for people.
std::string config_schema();
// One setting for a form; those of lines and areas are drawn instead.
struct SettingField {
    std::string key;      // parts joined by a dot
    std::string label;    // what the control is called
    std::string says;     // what it means
    std::string type;     // whole, text, flag, choice, range, height or tilt
    std::string unit;     // empty: none
    std::string initial;  // what counts without it, in JSON
    std::vector<std::string> choices;
    std::optional<double> minimum;
    std::optional<double> maximum;
};
std::vector<SettingField> config_fields();
// The text of a file that sets what these options set; every number reads back exactly.
std::string config_text(const RunOptions& options);

// Whether the analysis is to tell staff from visitors.
bool uses_staff_model(const RunOptions& options);

// Throws InputError when the options need colour.
void check_goes_without_colour(const RunOptions& options);

// Everything that can be said without opening the source. Throws InputError.
void check_options(const RunOptions& options);

}  // namespace host
