// What a run is asked to do, from the command line and the configuration file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/frames/frame_source.h"

namespace host {

enum class DetectMode { kBoth = 0, kColour = 1, kDepth = 2 };

struct RunOptions {
    SourceOptions source;
    bool measure_height = false;      // ask the library for the distance to the floor
    std::vector<CountingLine> lines;  // in the user's coordinates; empty: the source's own
    DetectMode detect = DetectMode::kDepth;
    int target_min_mm = 800;  // people outside this range of heights are not counted
    int target_max_mm = 2200;
    std::optional<bool> group_counting;  // not set: as the source suggests
    int group_min = 2;                   // members of a group that is reported
    int group_max = 6;
    std::optional<double> seconds;  // end of the run in scene time
    std::optional<std::int64_t> frames;
    std::string output;  // folder of the results; empty: out/<name of the source>
    bool quiet = false;
};

inline constexpr std::size_t kMaxLines = 4;
inline constexpr std::size_t kMaxLinePoints = 5;
inline constexpr std::size_t kMaxAreaPoints = 10;

// "x,y x,y ..." to points. Throws InputError that begins with `place`.
std::vector<PicturePoint> parse_points(const std::string& text, const std::string& place);

// Checks one line's points or one area's; `place` begins the message of the InputError.
void check_line_points(const std::vector<PicturePoint>& points, const std::string& place);
void check_area_points(const std::vector<PicturePoint>& points, const std::string& place);

// Millimetres of an installation height. Throws InputError outside 1500 to 15000.
double checked_height_mm(double height_mm, const std::string& place);

DetectMode parse_detect_mode(const std::string& name, const std::string& place);
const char* detect_mode_name(DetectMode mode);

// Sets in `options` what the file says. Throws InputError that names file and line.
void read_config_file(const std::string& path, RunOptions& options);

// Everything that can be said without opening the source. Throws InputError.
void check_options(const RunOptions& options);

}  // namespace host
