// Definition of the commands and their options.
#include "host/app/command_line.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>

#include "host/app/version.h"

namespace host {
namespace {

constexpr const char* kExamples = R"(
Examples:
  vca run                                   the built-in scene "entrance"
  vca run --scene uturn --seconds 30        the first half minute of another one
  vca run --source walks --trajectories corridor.txt --height 6000
  vca run --source depth-folder --folder rec --line "256,0 256,423" --height auto
  vca run --line "100,272 860,272" --uturn "60,150 900,150 900,400 60,400"
  vca scenes                                what the built-in scenes show
)";

constexpr const char* kRunFooter = R"(
A counting line counts in two directions: direction 1 is that of a walker who comes to the left of
the line as seen when looking along it on the picture from its first point to its last.
--uturn, --flip and --name belong to the --line before them.
Points are pixels of the 960 x 544 picture, for a recording pixels of its own images.

In the output folder: events.jsonl (every message of the analysis), summary.json (all counts and
measurements), library.log (what the analysis library prints) and picture.png.
)";

// Options that are stored apart, because they win over the configuration file whatever the order.
struct Overrides {
    std::optional<std::string> height;
    std::optional<std::string> detect;
    bool foot = false;
    bool box = false;
    std::string config_file;
    std::string camera_at;
    std::vector<CountingLine> lines;
};

CountingLine& line_before(Overrides& given, const std::string& option) {
    if (given.lines.empty()) {
        throw InputError(option + " belongs to a counting line; write it after its --line");
    }
    return given.lines.back();
}

void add_line(Overrides& given, const std::string& text) {
    CountingLine line;
    const std::string place = "--line \"" + text + "\"";
    line.name = "line " + std::to_string(given.lines.size() + 1);
    line.points = parse_points(text, place);
    check_line_points(line.points, place);
    given.lines.push_back(std::move(line));
}

void add_uturn(Overrides& given, const std::string& text) {
    CountingLine& line = line_before(given, "--uturn");
    line.uturn_filter = true;
    if (text == "none") return;
    const std::string place = "--uturn \"" + text + "\"";
    line.uturn_area = parse_points(text, place);
    check_area_points(line.uturn_area, place);
}

void add_line_options(CLI::App& run, Overrides& given) {
    run.add_option_function<std::string>(
           "--line", [&given](const std::string& text) { add_line(given, text); },
           "Counting line, 2 to 5 points; up to 4 lines")
        ->type_name("\"X,Y X,Y ...\"")
        ->trigger_on_parse()
        ->group("Counting");
    run.add_option_function<std::string>(
           "--name",
           [&given](const std::string& text) { line_before(given, "--name").name = text; },
           "Name of the line")
        ->type_name("TEXT")
        ->trigger_on_parse()
        ->group("Counting");
    run.add_option_function<std::string>(
           "--uturn", [&given](const std::string& text) { add_uturn(given, text); },
           "Do not count people who turn back within this area of 3 to 10 points, or \"none\" for "
           "the whole picture")
        ->type_name("\"X,Y X,Y X,Y ...\"|none")
        ->trigger_on_parse()
        ->group("Counting");
    run.add_flag_callback(
           "--flip", [&given] { line_before(given, "--flip").flip = true; },
           "Swap directions 1 and 2 of the line")
        ->trigger_on_parse()
        ->group("Counting");
}

void add_source_options(CLI::App& run, RunOptions& options, Overrides& given) {
    SourceOptions& source = options.source;
    std::string names;
    for (const std::string& name : source_names())
        names += (names.empty() ? "" : "|") + name;
    const char* kGroup = "Where the frames come from";
    run.add_option("--source", source.source, "Kind of source [scene]")
        ->type_name(names)
        ->group(kGroup);
    run.add_option("--scene", source.scene, "Built-in scene, see \"vca scenes\" [entrance]")
        ->type_name("NAME")
        ->group(kGroup);
    run.add_option("--seed", source.seed, "Seed of people and noise [1]")
        ->type_name("N")
        ->group(kGroup);
    run.add_option("--trajectories", source.trajectories,
                   "Recorded walks, lines of \"id frame x y z\"")
        ->type_name("FILE")
        ->group(kGroup);
    run.add_option("--camera-at", given.camera_at,
                   "Where the camera hangs over recorded walks, metres in the file's coordinates "
                   "[the middle]")
        ->type_name("X,Y")
        ->group(kGroup);
    run.add_option("--folder", source.folder,
                   "Recording of a depth camera: numbered 16-bit PNG files in millimetres")
        ->type_name("DIR")
        ->group(kGroup);
    run.add_option("--camera", source.camera_file,
                   "Camera file of the recording [camera.toml in its folder]")
        ->type_name("FILE")
        ->group(kGroup);
    run.add_option("--fps", source.frames_per_second,
                   "Frames a second of walks or recording [as the file says]")
        ->type_name("N")
        ->group(kGroup);
    run.add_option("--height", given.height,
                   "Camera over the floor in mm, or \"auto\" to measure it [as the source says]")
        ->type_name("MM|auto")
        ->group(kGroup);
    run.add_option("--seconds", options.seconds, "End after this much scene time")
        ->type_name("S")
        ->group(kGroup);
    run.add_option("--frames", options.frames, "End after this many frames")
        ->type_name("N")
        ->group(kGroup);
}

void add_run_options(CLI::App& run, RunOptions& options, Overrides& given) {
    add_source_options(run, options, given);
    add_line_options(run, given);
    run.add_option("--detect", given.detect, "Images that people are looked for in [depth]")
        ->type_name("both|colour|depth")
        ->group("Counting");
    CLI::Option* foot =
        run.add_flag("--foot", given.foot, "Count by the point on the floor (default)")
            ->group("Counting");
    run.add_flag("--box", given.box, "Count by the middle of head and shoulders")
        ->excludes(foot)
        ->group("Counting");
    run.add_option("--config", given.config_file,
                   "TOML file with [[line]] tables (name, points, uturn, area, flip), height_mm, "
                   "target_height_mm, [group] (enabled, min, max), detect, position")
        ->type_name("FILE")
        ->group("Counting");
    run.add_option("--output", options.output, "Folder for the results [out/<name>]")
        ->type_name("DIR")
        ->group("Output");
    run.add_flag("--quiet", options.quiet, "Print only the summary")->group("Output");
    run.footer(kRunFooter);
}

double height_from(const std::string& text) {
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end || !std::isfinite(value)) {
        throw InputError("--height is \"" + text +
                         "\"; write the camera's height over the floor in millimetres, or auto");
    }
    return checked_height_mm(value, "--height");
}

void apply_overrides(const Overrides& given, RunOptions& options) {
    if (!given.config_file.empty()) read_config_file(given.config_file, options);
    if (given.height) {
        options.measure_height = *given.height == "auto";
        options.source.height_mm.reset();
        if (!options.measure_height) options.source.height_mm = height_from(*given.height);
    }
    if (given.detect) options.detect = parse_detect_mode(*given.detect, "--detect");
    if (given.foot) options.source.foot_point = true;
    if (given.box) options.source.foot_point = false;
    if (!given.lines.empty()) options.lines = given.lines;
    if (!given.camera_at.empty()) {
        const std::vector<PicturePoint> at = parse_points(given.camera_at, "--camera-at");
        if (at.size() != 1) throw InputError("--camera-at needs one point, such as 1.5,-2");
        options.source.camera_at = at.front();
    }
    const auto positive = [](bool good, const char* option) {
        if (!good) throw InputError(std::string(option) + " must be above 0");
    };
    if (options.seconds) positive(*options.seconds > 0.0, "--seconds");
    if (options.frames) positive(*options.frames > 0, "--frames");
    if (const auto fps = options.source.frames_per_second) {
        if (!(*fps >= 1.0 && *fps <= 240.0)) throw InputError("--fps must be 1 to 240");
    }
}

}  // namespace

CommandLine parse_command_line(int argc, const char* const* argv) {
    CommandLine result;
    Overrides given;
    CLI::App app{"Counts people who walk under an overhead colour and depth camera."};
    app.name("vca");
    app.footer(kExamples);
    app.require_subcommand(0, 1);
    bool version = false;
    app.add_flag("--version", version, "Print version, commit, build type and capabilities");
    CLI::App* run = app.add_subcommand("run", "Analyse a scene or a recording and count");
    add_run_options(*run, result.run, given);
    CLI::App* scenes = app.add_subcommand("scenes", "List the built-in scenes");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        result.text = (run->parsed() ? run : scenes->parsed() ? scenes : &app)->help();
        return result;
    } catch (const CLI::ParseError& e) {
        throw InputError(std::string(e.what()) + "; see vca " + (run->parsed() ? "run " : "") +
                         "--help");
    }
    if (version) {
        result.text = version_text();
    } else if (run->parsed()) {
        result.command = Command::kRun;
        apply_overrides(given, result.run);
        check_options(result.run);
    } else if (scenes->parsed()) {
        result.command = Command::kScenes;
    } else {
        result.text = app.help();
    }
    return result;
}

}  // namespace host
