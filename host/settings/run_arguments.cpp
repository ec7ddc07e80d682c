// Table of the options of a run, and what each does.
#include "host/settings/run_arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "host/frames/recording.h"
#include "host/frames/sim_source.h"
#include "host/media/recording_format.h"

namespace host {
namespace {

constexpr const char* kLiveDepth = "--depth";
constexpr const char* kPointsOfPolygon = "\"X,Y X,Y X,Y ...\"";

// An option that sets one thing; without a type it is a flag. Most values are used as written.
struct RunArgument {
    using Apply = void (*)(const std::string& text, RunOptions& options);
    std::string name;
    std::string type;
    std::string description;
    Apply apply;                       // null: not by itself
    std::vector<std::string> sources;  // the only ones that understand it; empty: all
};

std::string joined(const std::vector<std::string>& words, const std::string& between) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : between) + word;
    return text;
}

double number_from(const std::string& text, const std::string& option) {
    const std::optional<double> value = to_number(text);
    if (!value) throw InputError(option + " is \"" + text + "\"; write a number such as 12.5");
    return *value;
}

template <typename Whole>
Whole whole_from(const std::string& text, const std::string& option, Whole lowest) {
    Whole value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end || value < lowest) {
        throw InputError(option + " is \"" + text + "\"; write a whole number from " +
                         std::to_string(lowest) + " to " +
                         std::to_string(std::numeric_limits<Whole>::max()));
    }
    return value;
}

void set_camera_at(const std::string& text, RunOptions& options) {
    const std::size_t comma = text.find(',');
    const auto x = to_number(text.substr(0, comma));
    const auto y = comma == std::string::npos ? std::nullopt : to_number(text.substr(comma + 1));
    if (!x || !y) {
        throw InputError("--camera-at is \"" + text +
                         "\"; write one point in metres, such as 1.5,-2");
    }
    options.source.camera_at = PicturePoint{*x, *y};
}

double angle_from(const std::string& text, const std::string& option) {
    const double angle = number_from(text, option);
    if (std::abs(angle) <= kMostTilt_deg) return angle;
    throw InputError(option + " is " + text + "; it must be -20 to 20 degrees");
}

void set_rate(const std::string& text, RunOptions& options) {
    const double fps = number_from(text, "--fps");
    if (!(fps >= 1.0 && fps <= 240.0)) {
        throw InputError("--fps is " + text + "; it must be 1 to 240");
    }
    options.source.frames_per_second = fps;
}

double time_from(const std::string& text, const std::string& option) {
    constexpr double kLatest_s = 1e9;
    const double time_s = number_from(text, option);
    if (time_s >= 0.0 && time_s <= kLatest_s) return time_s;
    throw InputError(option + " is " + text + "; write a scene time in seconds from 0 on");
}

void set_noise(const std::string& text, RunOptions& options) {
    const std::vector<std::string> known = simulated_sensors();
    if (std::find(known.begin(), known.end(), text) == known.end()) {
        throw InputError("--noise is \"" + text + "\"; known are " + joined(known, ", "));
    }
    options.source.noise = text;
}

void set_height(const std::string& text, RunOptions& options) {
    options.measure_height = text == "auto";
    options.source.height_mm.reset();
    if (options.measure_height) return;
    const std::optional<double> value = to_number(text);
    if (!value) {
        throw InputError("--height is \"" + text +
                         "\"; write the camera's height over the floor in millimetres, or auto");
    }
    const std::string place = "--height";
    options.source.height_mm = Placed(checked_height_mm(*value, place), place);
}

void set_seconds(const std::string& text, RunOptions& options) {
    options.seconds = number_from(text, "--seconds");
    if (!(*options.seconds > 0.0)) {
        throw InputError("--seconds is " + text + "; it must be above 0");
    }
}

// What is recorded of colour is another option's question, which has the shorter name there.
const char* live_colour_option(RunArguments::Output output) {
    return output == RunArguments::Output::kRecording ? "--colour-url" : "--colour";
}

std::vector<RunArgument> source_arguments(RunArguments::Output output) {
    using Text = const std::string&;
    return {
        {"--source", joined(source_names(), "|"), "Kind of source [scene]", nullptr, {}},
        {"--scene",
         "NAME",
         "Built-in scene, see \"vca scenes\" [entrance]",
         [](Text text, RunOptions& options) { options.source.scene = text; },
         {"scene"}},
        {"--seed",
         "N",
         "Seed of people and noise [1]",
         [](Text text, RunOptions& options) {
             options.source.seed = whole_from<std::uint64_t>(text, "--seed", 0);
         },
         {"scene", "walks"}},
        {"--trajectories",
         "FILE",
         "Recorded walks, lines of \"id frame x y z\"",
         [](Text text, RunOptions& options) { options.source.trajectories = text; },
         {"walks"}},
        {"--camera-at",
         "X,Y",
         "Where the camera hangs over recorded walks, metres in the file's coordinates "
         "[the middle]",
         set_camera_at,
         {"walks"}},
        {"--folder",
         "DIR",
         "Pictures of a depth camera: numbered 16-bit PNG files in millimetres",
         [](Text text, RunOptions& options) { options.source.folder = text; },
         {"depth-folder"}},
        {"--from",
         "S",
         "Leave out what is before this scene time of a recording",
         [](Text text, RunOptions& options) { options.source.from_s = time_from(text, "--from"); },
         {"recording"}},
        {"--to",
         "S",
         "End a recording at this scene time",
         [](Text text, RunOptions& options) { options.source.to_s = time_from(text, "--to"); },
         {"recording"}},
        {"--camera",
         "FILE",
         "Camera file of the folder, recording or live camera [camera.toml in it]",
         [](Text text, RunOptions& options) { options.source.camera_file = text; },
         {"depth-folder", "recording", "live"}},
        {kLiveDepth,
         "URL",
         "Live depth camera: - for standard input, a named pipe, a device with 16-bit depth such "
         "as "
         "/dev/video0, tcp://HOST:PORT, or tcp://HOST:PORT?listen to wait for the sender",
         [](Text text, RunOptions& options) { options.source.live_depth = text; },
         {"live"}},
        {live_colour_option(output),
         "URL",
         "Colour pictures beside the live depth, where they come as a stream of their own: 960 x "
         "544, Matroska or NUT",
         [](Text text, RunOptions& options) { options.source.live_colour = text; },
         {"live"}},
        {"--depth-format",
         "raw:WxH@FPS",
         "Live depth as raw 16-bit pictures, low byte first, in millimetres [Matroska or NUT, "
         "found "
         "out]",
         [](Text text, RunOptions& options) { options.source.depth_format = text; },
         {"live"}},
        {"--fps",
         "N",
         "Frames a second: of the scene's camera, or at which walks or the pictures of a folder "
         "were "
         "taken [as scene or file says]",
         set_rate,
         {"scene", "walks", "depth-folder"}},
        {"--noise",
         joined(simulated_sensors(), "|"),
         "Depth sensor that is simulated [plain]",
         set_noise,
         {"scene", "walks"}},
        {"--height",
         "MM|auto",
         "Height of the camera over the floor in mm, or \"auto\" to measure it [as the source "
         "says]",
         set_height,
         {}},
        {"--roll",
         "DEG",
         "Hang the simulated camera crooked, -20 to 20; with a positive one it looks towards the "
         "picture's right edge [0]",
         [](Text text, RunOptions& options) {
             options.source.camera_tilt.roll_deg = angle_from(text, "--roll");
         },
         {"scene", "walks"}},
        {"--pitch",
         "DEG",
         "The same; with a positive one it looks towards the upper edge [0]",
         [](Text text, RunOptions& options) {
             options.source.camera_tilt.pitch_deg = angle_from(text, "--pitch");
         },
         {"scene", "walks"}},
        {"--seconds", "S", "End after this much scene time", set_seconds, {}},
        {"--frames",
         "N",
         "End after this many frames",
         [](Text text, RunOptions& options) {
             options.frames = whole_from<std::int64_t>(text, "--frames", 1);
         },
         {}},
    };
}

const std::vector<RunArgument>& counting_arguments() {
    using Text = const std::string&;
    static const std::vector<RunArgument> list{
        {"--detect",
         "both|colour|depth",
         "Images that people are looked for in [depth]",
         [](Text text, RunOptions& options) {
             const std::string place = "--detect";
             options.detect = {parse_detect_mode(text, place), place};
         },
         {}},
        {"--sensor",
         "exact|reads-low",
         "Whether people measure as tall as they are, or too low from high up [exact]",
         [](Text text, RunOptions& options) { options.sensor = parse_sensor(text, "--sensor"); },
         {}},
        {"--late-counts",
         "drop|keep",
         "What becomes of counts made when a track ends where nobody is past the line any more "
         "[drop]",
         [](Text text, RunOptions& options) {
             options.late_counts = parse_late_counts(text, "--late-counts");
         },
         {}},
        {"--tilt",
         "auto|none|ROLL,PITCH",
         "How crooked the camera hangs: found on the floor, not at all, or so many degrees; all "
         "pictures are turned to those of a level camera [auto]",
         [](Text text, RunOptions& options) { options.tilt = parse_tilt(text, "--tilt"); },
         {}},
        {"--gender",
         "none|FILE.onnx",
         "Network that tells men from women [none]",
         [](Text text, RunOptions& options) { options.gender = text; },
         {}},
        {"--staff",
         "none|vest|FILE.onnx",
         "What tells staff from visitors: high-visibility vests or a network [none]",
         [](Text text, RunOptions& options) { options.staff = text; },
         {}},
        {"--foot",
         "",
         "Count by the point on the floor (default)",
         [](Text, RunOptions& options) { options.source.foot_point = true; },
         {}},
        {"--box",
         "",
         "Count by the middle of head and shoulders",
         [](Text, RunOptions& options) { options.source.foot_point = false; },
         {}},
        {"--config",
         "FILE",
         "TOML file with [[line]] tables (name, points, uturn, area, flip), [[region]] "
         "tables (name, points), [[exclude]] tables (points), height_mm, "
         "target_height_mm, [group] (enabled, min, max), detect, sensor, late_counts, tilt, "
         "gender, staff, position",
         nullptr,
         {}},
    };
    return list;
}

const std::vector<RunArgument>& output_arguments(RunArguments::Output output) {
    using Text = const std::string&;
    const auto set_folder = [](Text text, RunOptions& options) { options.output = text; };
    const auto set_quiet = [](Text, RunOptions& options) { options.quiet = true; };
    static const std::vector<RunArgument> results{
        {"--output", "DIR", "Folder for the results [out/<name>]", set_folder, {}},
        {"--store",
         "FILE.db",
         "Also keep the counts in this database, which need not exist, see \"vca counts\"",
         [](Text text, RunOptions& options) { options.store = text; },
         {}},
        {"--store-log",
         "FILE",
         "Append a line for each transaction that is safe in the database",
         [](Text text, RunOptions& options) { options.store_log = text; },
         {}},
        {"--show-detected",
         "",
         "Also send the trails of the boxes as detected",
         [](Text, RunOptions& options) { options.show_detected = true; },
         {}},
        {"--no-live",
         "",
         "Leave out the live video",
         [](Text, RunOptions& options) { options.live = false; },
         {}},
        {"--quiet", "", "Print only the summary", set_quiet, {}},
    };
    static const std::vector<RunArgument> recording{
        {"--output", "DIR", "Folder for the recording [recordings/<name>]", set_folder, {}},
        {"--quiet", "", "Show no progress", set_quiet, {}},
    };
    static const std::vector<RunArgument> picture{
        {"--output", "DIR", "Folder for camera.png [none is written]", set_folder, {}},
    };
    switch (output) {
        case RunArguments::Output::kResults:
            return results;
        case RunArguments::Output::kRecording:
            return recording;
        case RunArguments::Output::kPicture:
            break;
    }
    return picture;
}

void add_to(CLI::App& run, const std::vector<RunArgument>& arguments, const std::string& group) {
    for (const RunArgument& argument : arguments) {
        if (argument.type.empty()) {
            run.add_flag(argument.name, argument.description)
                ->disable_flag_override()
                ->group(group);
        } else {
            run.add_option(argument.name, argument.description)
                ->type_name(argument.type)
                ->group(group);
        }
    }
}

// An option that was written, and what was written after it.
struct GivenArgument {
    RunArgument::Apply apply;
    std::string text;
};

void add_given(const CLI::App& run, const std::vector<RunArgument>& arguments,
               std::vector<GivenArgument>& given) {
    for (const RunArgument& argument : arguments) {
        const std::optional<std::string> text = value_of(run, argument.name);
        if (text && argument.apply != nullptr) given.push_back({argument.apply, *text});
    }
}

void check_sources(const CLI::App& run, RunArguments::Output output, const std::string& source) {
    const std::vector<std::string> known = source_names();
    if (std::find(known.begin(), known.end(), source) == known.end()) return;
    for (const RunArgument& argument : source_arguments(output)) {
        const std::vector<std::string>& fit = argument.sources;
        if (fit.empty() || !is_given(run, argument.name)) continue;
        if (std::find(fit.begin(), fit.end(), source) != fit.end()) continue;
        throw InputError(argument.name + " belongs to --source " + joined(fit, " or ") +
                         "; the source of this run is " + source);
    }
}

constexpr const char* kRecordings = "--recording";
constexpr const char* kClosedLine = "--closed-line";
constexpr int kMostRecordings = 100000;

}  // namespace

void read_recorded_settings(const std::string& path, RunOptions& options) {
    const auto text = recorded_settings(path);
    if (!text) return;
    try {
        parse_config(*text, path + ": " + kSettingsAttachment, options);
    } catch (const InputError& error) {
        throw InputError(std::string(error.what()) + "; give --config FILE in their place");
    }
}

bool is_given(const CLI::App& command, const std::string& option) {
    return command.get_option(option)->count() > 0;
}

std::optional<std::string> value_of(const CLI::App& command, const std::string& option) {
    if (!is_given(command, option)) return std::nullopt;
    return command.get_option(option)->results().front();
}

void PlaceArguments::check_once(const std::string& option, const std::string& place) {
    if (of_last_.insert(option).second) return;
    throw InputError(option + " is given twice for " + place + "; give it once");
}

PlacedLine& PlaceArguments::line_before(const std::string& option) {
    if (last_ != Kind::kLine) {
        throw InputError(option + " belongs to a counting line; write it after its --line");
    }
    check_once(option, lines_.back().place);
    return lines_.back();
}

void PlaceArguments::add_points(const std::string& option, const std::string& text,
                                void (*check)(const std::vector<PicturePoint>&,
                                              const std::string&)) {
    PlacedLine line({}, option + " \"" + text + "\"");
    line.value.name = "line " + std::to_string(lines_.size() + 1);
    line.value.points = parse_points(text, line.place);
    check(line.value.points, line.place);
    lines_.push_back(std::move(line));
    last_ = Kind::kLine;
    of_last_.clear();
}

void PlaceArguments::add_line(const std::string& text) {
    add_points("--line", text, check_line_points);
}

void PlaceArguments::add_closed_line(const std::string& text) {
    add_points(kClosedLine, text, check_closed_line_points);
}

void PlaceArguments::add_region(const std::string& text) {
    if (no_regions_ || (text == "none" && !regions_.empty())) {
        throw InputError(
            "--region none cannot be combined with another --region; leave one of them out");
    }
    if (text == "none") {
        no_regions_ = true;
        return;
    }
    Placed<CountingRegion> region({}, "--region \"" + text + "\"");
    region.value.name = "region " + std::to_string(regions_.size() + 1);
    region.value.points = parse_points(text, region.place);
    check_region_points(region.value.points, region.place);
    regions_.push_back(std::move(region));
    last_ = Kind::kRegion;
    of_last_.clear();
}

void PlaceArguments::add_exclusion(const std::string& text) {
    const std::string place = "--exclude \"" + text + "\"";
    exclusions_.emplace_back(parse_points(text, place), place);
    check_exclusion_points(exclusions_.back().value, place);
    last_ = Kind::kExclusion;
}

void PlaceArguments::add_name(const std::string& text) {
    if (last_ != Kind::kLine && last_ != Kind::kRegion) {
        throw InputError(
            "--name belongs to a counting line or region; write it after its --line or --region");
    }
    const bool of_line = last_ == Kind::kLine;
    const std::string& place = of_line ? lines_.back().place : regions_.back().place;
    check_once("--name", place);
    check_name(text, "--name of " + place);
    (of_line ? lines_.back().value.name : regions_.back().value.name) = text;
}

void PlaceArguments::add_uturn(const std::string& text) {
    PlacedLine& given = line_before("--uturn");
    CountingLine& line = given.value;
    line.uturn_filter = true;
    if (text == "none") return;
    given.area_place = "--uturn \"" + text + "\"";
    line.uturn_area = parse_points(text, given.area_place);
    check_area_points(line.uturn_area, given.area_place);
    check_area_on_line(line.uturn_area, line.points, given.area_place);
}

void PlaceArguments::add_options(CLI::App& run) {
    using Add = void (PlaceArguments::*)(const std::string&);
    const auto add = [this, &run](const char* option, const std::string& type, Add read,
                                  const char* description) {
        run.add_option_function<std::string>(
               option, [this, read](const std::string& text) { (this->*read)(text); }, description)
            ->type_name(type)
            ->trigger_on_parse()
            ->group("Counting");
    };
    add("--line", "\"X,Y X,Y ...\"", &PlaceArguments::add_line,
        "Counting line, 2 to 5 points; up to 4 lines");
    add(kClosedLine, "\"X,Y X,Y X,Y X,Y X,Y\"", &PlaceArguments::add_closed_line,
        "Counting line around an area: its four corners and the first point again; who is inside "
        "must then agree with the counts");
    add("--name", "TEXT", &PlaceArguments::add_name, "Name of the line or region");
    add("--uturn", std::string(kPointsOfPolygon) + "|none", &PlaceArguments::add_uturn,
        "Do not count people who turn back within this area of 3 to 10 points, or \"none\" for "
        "the whole picture");
    run.add_flag_callback(
           "--flip", [this] { line_before("--flip").value.flip = true; },
           "Swap directions 1 and 2 of the line")
        ->trigger_on_parse()
        ->group("Counting");
    add("--region", std::string(kPointsOfPolygon) + "|none", &PlaceArguments::add_region,
        "Region in which people and their stay are counted, 3 to 10 points; up to 4 regions, or "
        "\"none\" to leave out those of the source");
    add("--exclude", kPointsOfPolygon, &PlaceArguments::add_exclusion,
        "Area of 3 to 10 points in which nobody is followed; up to 4 areas");
}

void PlaceArguments::replace_in(RunOptions& options) const {
    if (!lines_.empty()) options.lines = lines_;
    if (!regions_.empty() || no_regions_) options.regions = regions_;
    options.no_regions = no_regions_;
    if (!exclusions_.empty()) options.exclusions = exclusions_;
}

RunArguments::RunArguments(CLI::App& run, Output output) : run_(run), output_(output) {
    add_to(run_, source_arguments(output_), "Where the frames come from");
    run_.add_option(kRecordings, "Recordings, one after the other, with their camera and settings")
        ->type_name("FILE ...")
        ->expected(1, kMostRecordings)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->group("Where the frames come from");
    places_.add_options(run_);
    add_to(run_, counting_arguments(), "Counting");
    add_to(run_, output_arguments(output_), "Output");
}

// A file or folder alone implies its source.
std::string RunArguments::source() const {
    if (const auto source = value_of(run_, "--source")) return *source;
    if (is_given(run_, "--recording")) return "recording";
    if (is_given(run_, kLiveDepth)) return "live";
    if (is_given(run_, "--trajectories")) return "walks";
    return is_given(run_, "--folder") ? "depth-folder" : "scene";
}

void RunArguments::apply_to(RunOptions& options) const {
    options.source.source = source();
    check_sources(run_, output_, options.source.source);
    if (is_given(run_, "--foot") && is_given(run_, "--box")) {
        throw InputError("--foot and --box exclude each other; give one of them");
    }
    if (is_given(run_, kRecordings)) {
        if (options.source.source != "recording") {
            throw InputError(std::string(kRecordings) +
                             " belongs to --source recording; the source of this run is " +
                             options.source.source);
        }
        options.source.recordings = run_.get_option(kRecordings)->results();
    }
    // The command line wins over the file, wherever --config appears in it, and the file takes the
    // place of what a recording carries.
    if (const auto file = value_of(run_, "--config")) {
        read_config_file(*file, options);
    } else if (!options.source.recordings.empty()) {
        read_recorded_settings(options.source.recordings.front(), options);
    }
    std::vector<GivenArgument> given;
    add_given(run_, source_arguments(output_), given);
    add_given(run_, counting_arguments(), given);
    add_given(run_, output_arguments(output_), given);
    const auto set = [places = places_, given](RunOptions& to) {
        places.replace_in(to);
        for (const GivenArgument& argument : given)
            argument.apply(argument.text, to);
    };
    set(options);
    // What a stream carries is only known once it is open.
    if (options.source.source == "live" && !is_given(run_, "--config")) options.set_again = set;
}

}  // namespace host
