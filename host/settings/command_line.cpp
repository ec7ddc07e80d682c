// Definition of the commands and their options.
#include "host/settings/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <set>

#include "host/settings/version_text.h"

namespace host {
namespace {

constexpr const char* kExamples = R"(
Examples:
  vca run                                   the built-in scene "entrance"
  vca run --scene uturn --seconds 30        the first half minute of another one
  vca run --trajectories corridor.txt --height 6000
  vca run --folder rec --line "256,0 256,423" --height auto
  vca run --line "100,272 860,272" --uturn "60,150 900,150 900,400 60,400"
  vca run --region "300,150 660,150 660,400 300,400" --name till
  vca run --site host/examples/hall.toml    several cameras that count as one
  vca scenes                                what the built-in scenes show
  vca site check host/examples/hall.toml    whether a site file is sound, and a plan of its floor
)";

constexpr const char* kRunFooter = R"(
--trajectories alone implies --source walks, --folder alone implies --source depth-folder.

A counting line counts in two directions: direction 1 is that of a walker who comes to the left of
the line as seen when looking along it on the picture from its first point to its last.
--site FILE alone runs a whole simulated site on this machine: a broker, and a process for each camera.
With --device NAME it is one camera of the site, on a machine of its own.

--uturn, --flip and --name belong to the --line before them, --name also to a --region.
Points are pixels of the 960 x 544 picture, for a recording pixels of its own images.

In the output folder: events.jsonl (every message of the analysis), summary.json (all counts and
measurements), regions.csv (people in each region, second by second), stays.csv (each stay in a
region), heat_dwell.png and heat_motion.png, live.mp4 (what a customer's screen would show),
library.log (what the analysis library prints) and picture.png.
)";

// What the options that belong to the one before them follow.
enum class Given { kNothing, kLine, kRegion, kExclusion };

// Options that are stored apart, because they win over the configuration file whatever the order.
struct Overrides {
    std::string height;
    std::string detect;
    std::string gender;
    std::string staff;
    std::string seed;
    std::string fps;
    std::string seconds;
    std::string frames;
    bool foot = false;
    bool box = false;
    std::string config_file;
    std::string camera_at;
    std::string broker;
    std::string start_at;
    std::vector<CountingLine> lines;
    std::vector<LinePlace> line_places;
    std::vector<CountingRegion> regions;
    std::vector<std::string> region_places;
    std::vector<std::vector<PicturePoint>> exclusions;
    std::vector<std::string> exclusion_places;
    Given last = Given::kNothing;
    std::set<std::string> of_last;  // options already given for the last line or region
};

// Options that only some of the sources understand; the first source of each is named first.
struct SourceOption {
    const char* option;
    std::vector<std::string> sources;
};

const std::vector<SourceOption>& source_options() {
    static const std::vector<SourceOption> list{
        {"--scene", {"scene"}},
        {"--seed", {"scene", "walks"}},
        {"--trajectories", {"walks"}},
        {"--camera-at", {"walks"}},
        {"--folder", {"depth-folder"}},
        {"--camera", {"depth-folder"}},
        {"--fps", {"walks", "depth-folder"}},
    };
    return list;
}

void check_once_for(Overrides& given, const std::string& option, const std::string& place) {
    if (given.of_last.insert(option).second) return;
    throw InputError(option + " is given twice for " + place + "; each takes it once");
}

CountingLine& line_before(Overrides& given, const std::string& option) {
    if (given.last != Given::kLine) {
        throw InputError(option + " belongs to a counting line; write it after its --line");
    }
    check_once_for(given, option, given.line_places.back().line);
    return given.lines.back();
}

void add_line(Overrides& given, const std::string& text) {
    CountingLine line;
    const std::string place = "--line \"" + text + "\"";
    line.name = "line " + std::to_string(given.lines.size() + 1);
    line.points = parse_points(text, place);
    check_line_points(line.points, place);
    given.lines.push_back(std::move(line));
    given.line_places.push_back({place, ""});
    given.last = Given::kLine;
    given.of_last.clear();
}

void add_region(Overrides& given, const std::string& text) {
    CountingRegion region;
    const std::string place = "--region \"" + text + "\"";
    region.name = "region " + std::to_string(given.regions.size() + 1);
    region.points = parse_points(text, place);
    check_region_points(region.points, place);
    given.regions.push_back(std::move(region));
    given.region_places.push_back(place);
    given.last = Given::kRegion;
    given.of_last.clear();
}

void add_exclusion(Overrides& given, const std::string& text) {
    const std::string place = "--exclude \"" + text + "\"";
    std::vector<PicturePoint> area = parse_points(text, place);
    check_exclusion_points(area, place);
    given.exclusions.push_back(std::move(area));
    given.exclusion_places.push_back(place);
    given.last = Given::kExclusion;
}

void add_name(Overrides& given, const std::string& text) {
    if (given.last != Given::kLine && given.last != Given::kRegion) {
        throw InputError(
            "--name belongs to a counting line or region; write it after its --line or --region");
    }
    const bool of_line = given.last == Given::kLine;
    const std::string place = of_line ? given.line_places.back().line : given.region_places.back();
    check_once_for(given, "--name", place);
    check_name(text, "--name of " + place);
    (of_line ? given.lines.back().name : given.regions.back().name) = text;
}

void add_uturn(Overrides& given, const std::string& text) {
    CountingLine& line = line_before(given, "--uturn");
    line.uturn_filter = true;
    if (text == "none") return;
    const std::string place = "--uturn \"" + text + "\"";
    line.uturn_area = parse_points(text, place);
    check_area_points(line.uturn_area, place);
    check_area_on_line(line.uturn_area, line.points, place);
    given.line_places.back().area = place;
}

void add_line_options(CLI::App& run, Overrides& given) {
    run.add_option_function<std::string>(
           "--line", [&given](const std::string& text) { add_line(given, text); },
           "Counting line, 2 to 5 points; up to 4 lines")
        ->type_name("\"X,Y X,Y ...\"")
        ->trigger_on_parse()
        ->group("Counting");
    run.add_option_function<std::string>(
           "--name", [&given](const std::string& text) { add_name(given, text); },
           "Name of the line or region")
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
    run.add_option_function<std::string>(
           "--region", [&given](const std::string& text) { add_region(given, text); },
           "Region in which people and their stay are counted, 3 to 10 points; up to 4 regions")
        ->type_name("\"X,Y X,Y X,Y ...\"")
        ->trigger_on_parse()
        ->group("Counting");
    run.add_option_function<std::string>(
           "--exclude", [&given](const std::string& text) { add_exclusion(given, text); },
           "Area of 3 to 10 points in which nobody is followed; up to 4 areas")
        ->type_name("\"X,Y X,Y X,Y ...\"")
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
    run.add_option("--seed", given.seed, "Seed of people and noise [1]")
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
    run.add_option("--fps", given.fps, "Frames a second of walks or recording [as the file says]")
        ->type_name("N")
        ->group(kGroup);
    run.add_option("--height", given.height,
                   "Camera over the floor in mm, or \"auto\" to measure it [as the source says]")
        ->type_name("MM|auto")
        ->group(kGroup);
    run.add_option("--seconds", given.seconds, "End after this much scene time")
        ->type_name("S")
        ->group(kGroup);
    run.add_option("--frames", given.frames, "End after this many frames")
        ->type_name("N")
        ->group(kGroup);
}

void add_site_options(CLI::App& run, SiteOptions& site, Overrides& given) {
    const char* kGroup = "Several cameras";
    run.add_option("--site", site.file, "Site of several cameras that count as one")
        ->type_name("FILE")
        ->group(kGroup);
    run.add_option("--device", site.device, "Run this one camera of the site")
        ->type_name("NAME")
        ->group(kGroup);
    run.add_option("--broker", given.broker, "MQTT broker of the device [as the file says]")
        ->type_name("HOST:PORT")
        ->group(kGroup);
    run.add_option("--start-at", given.start_at,
                   "Moment of the scene's beginning in milliseconds since 1970 [now]")
        ->type_name("MS")
        ->group(kGroup);
    run.add_flag("--alone", site.alone,
                 "Have the device count by itself, without broker and as fast as it can")
        ->group(kGroup);
}

void add_run_options(CLI::App& run, RunOptions& options, Overrides& given) {
    add_source_options(run, options, given);
    add_line_options(run, given);
    run.add_option("--detect", given.detect, "Images that people are looked for in [depth]")
        ->type_name("both|colour|depth")
        ->group("Counting");
    run.add_option("--gender", given.gender, "Network that tells men from women [none]")
        ->type_name("none|FILE.onnx")
        ->group("Counting");
    run.add_option("--staff", given.staff,
                   "What tells staff from visitors: high-visibility vests or a network [none]")
        ->type_name("none|vest|FILE.onnx")
        ->group("Counting");
    run.add_flag("--foot", given.foot, "Count by the point on the floor (default)")
        ->group("Counting");
    run.add_flag("--box", given.box, "Count by the middle of head and shoulders")
        ->group("Counting");
    run.add_option("--config", given.config_file,
                   "TOML file with [[line]] tables (name, points, uturn, area, flip), [[region]] "
                   "tables (name, points), [[exclude]] tables (points), height_mm, "
                   "target_height_mm, [group] (enabled, min, max), detect, gender, staff, position")
        ->type_name("FILE")
        ->group("Counting");
    run.add_option("--output", options.output, "Folder for the results [out/<name>]")
        ->type_name("DIR")
        ->group("Output");
    run.add_flag("--show-detected", options.show_detected,
                 "Have the analysis also send the trails of the boxes as detected")
        ->disable_flag_override()
        ->group("Output");
    run.add_flag_callback(
           "--no-live", [&options] { options.live = false; }, "Leave out the live video")
        ->disable_flag_override()
        ->group("Output");
    run.add_flag("--quiet", options.quiet, "Print only the summary")
        ->disable_flag_override()
        ->group("Output");
    run.footer(kRunFooter);
}

void add_check_options(CLI::App& check, SiteOptions& site) {
    check.add_option("FILE", site.file, "The site file")->required()->type_name("");
    check.add_option("--output", site.output, "Folder for site_plan.png [that of the site file]")
        ->type_name("DIR");
}

double height_from(const std::string& text) {
    const std::optional<double> value = to_number(text);
    if (!value) {
        throw InputError("--height is \"" + text +
                         "\"; write the camera's height over the floor in millimetres, or auto");
    }
    return checked_height_mm(*value, "--height");
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
        throw InputError(option + " is \"" + text + "\"; write a whole number of " +
                         std::to_string(lowest) + " to " +
                         std::to_string(std::numeric_limits<Whole>::max()));
    }
    return value;
}

void apply_numbers(const Overrides& given, RunOptions& options) {
    if (!given.seed.empty()) {
        options.source.seed = whole_from<std::uint64_t>(given.seed, "--seed", 0);
    }
    if (!given.frames.empty()) {
        options.frames = whole_from<std::int64_t>(given.frames, "--frames", 1);
    }
    if (!given.seconds.empty()) {
        options.seconds = number_from(given.seconds, "--seconds");
        if (!(*options.seconds > 0.0)) {
            throw InputError("--seconds is " + given.seconds + "; it must be above 0");
        }
    }
    if (!given.fps.empty()) {
        const double fps = number_from(given.fps, "--fps");
        if (!(fps >= 1.0 && fps <= 240.0)) {
            throw InputError("--fps is " + given.fps + "; it must be 1 to 240");
        }
        options.source.frames_per_second = fps;
    }
}

void apply_overrides(const Overrides& given, RunOptions& options) {
    if (given.foot && given.box) {
        throw InputError("--foot and --box exclude each other; give one of them");
    }
    if (!given.config_file.empty()) read_config_file(given.config_file, options);
    if (!given.height.empty()) {
        options.measure_height = given.height == "auto";
        options.source.height_mm.reset();
        options.height_place = "--height";
        if (!options.measure_height) options.source.height_mm = height_from(given.height);
    }
    if (!given.detect.empty()) {
        options.detect = parse_detect_mode(given.detect, "--detect");
        options.detect_place = "--detect";
    }
    if (!given.gender.empty()) options.gender = given.gender;
    if (!given.staff.empty()) options.staff = given.staff;
    if (given.foot) options.source.foot_point = true;
    if (given.box) options.source.foot_point = false;
    if (!given.lines.empty()) {
        options.lines = given.lines;
        options.line_places = given.line_places;
    }
    if (!given.regions.empty()) {
        options.regions = given.regions;
        options.region_places = given.region_places;
    }
    if (!given.exclusions.empty()) {
        options.exclusions = given.exclusions;
        options.exclusion_places = given.exclusion_places;
    }
    if (!given.camera_at.empty()) {
        const std::vector<PicturePoint> at = parse_points(given.camera_at, "--camera-at");
        if (at.size() != 1) throw InputError("--camera-at needs one point, such as 1.5,-2");
        options.source.camera_at = at.front();
    }
    apply_numbers(given, options);
}

// No option may be given twice or with nothing in it; those of lines and regions, which may
// repeat, are checked as they come.
void check_each_given_once(const CLI::App& run) {
    for (const CLI::Option* option : run.get_options()) {
        if (option->count() == 0 || option->get_trigger_on_parse()) continue;
        const bool flag = option->get_items_expected_max() == 0;
        if (!flag && option->count() > 1) {
            throw InputError(option->get_name() + " is given " + std::to_string(option->count()) +
                             " times; give it once");
        }
        if (!flag && option->results().front().empty()) {
            throw InputError(option->get_name() + " is empty; write " + option->get_type_name() +
                             " after it, or leave it out");
        }
    }
}

bool is_given(const CLI::App& run, const char* option) {
    return run.get_option(option)->count() > 0;
}

// A site file says where its cameras are and what they count; only these go with it.
void check_goes_with_site(const CLI::App& run) {
    static const std::set<std::string> kFit{"--help",     "--site",  "--device",  "--broker",
                                            "--start-at", "--alone", "--seconds", "--frames",
                                            "--output",   "--quiet"};
    for (const CLI::Option* option : run.get_options()) {
        const std::string name = option->get_name();
        if (option->count() == 0 || kFit.count(name) > 0) continue;
        throw InputError(name +
                         " does not go with --site; the site file says what is seen and "
                         "counted");
    }
    for (const char* option : {"--broker", "--start-at", "--alone"}) {
        if (!is_given(run, option) || is_given(run, "--device")) continue;
        throw InputError(std::string(option) + " belongs to --device; a whole site " +
                         "starts its cameras and their broker itself");
    }
    for (const char* option : {"--broker", "--start-at"}) {
        if (!is_given(run, option) || !is_given(run, "--alone")) continue;
        throw InputError(std::string(option) + " and --alone exclude each other; give one of them");
    }
}

void check_needs_site(const CLI::App& run) {
    for (const char* option : {"--device", "--broker", "--start-at", "--alone"}) {
        if (!is_given(run, option)) continue;
        throw InputError(std::string(option) + " belongs to --site; name the site's file too");
    }
}

SiteOptions settle_site(const CLI::App& run, const Overrides& given, const RunOptions& limits,
                        SiteOptions site) {
    check_goes_with_site(run);
    if (!given.broker.empty()) site.broker = parse_broker(given.broker);
    if (!given.start_at.empty()) site.start_at_ms = parse_start_at(given.start_at);
    site.seconds = limits.seconds;
    site.frames = limits.frames;
    site.output = limits.output;
    site.quiet = limits.quiet;
    return site;
}

void settle_source(const CLI::App& run, RunOptions& options) {
    std::string& source = options.source.source;
    if (!is_given(run, "--source")) {
        if (is_given(run, "--folder")) source = "depth-folder";
        if (is_given(run, "--trajectories")) source = "walks";
    }
    const std::vector<std::string> known = source_names();
    if (std::find(known.begin(), known.end(), source) == known.end()) return;
    for (const SourceOption& entry : source_options()) {
        const auto& fit = entry.sources;
        if (!is_given(run, entry.option)) continue;
        if (std::find(fit.begin(), fit.end(), source) != fit.end()) continue;
        std::string right;
        for (const std::string& name : fit)
            right += (right.empty() ? "--source " : " or ") + name;
        throw InputError(std::string(entry.option) + " belongs to " + right +
                         "; the source of this run is " + source);
    }
}

// One clear sentence for what the parser found.
std::string sentence_of(const CLI::ParseError& error) {
    std::string text = error.what();
    if (const auto missing = text.find(": 1 required "); missing != std::string::npos) {
        text = text.substr(0, missing) + " needs a value after it";
    }
    return text;
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
    // Repeated options are collected first, to be refused with a sentence of our own.
    run->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    add_run_options(*run, result.run, given);
    add_site_options(*run, result.site, given);
    CLI::App* scenes = app.add_subcommand("scenes", "List the built-in scenes");
    CLI::App* site = app.add_subcommand("site", "Sites of several cameras");
    site->require_subcommand(1);
    CLI::App* check = site->add_subcommand(
        "check", "Say whether a site file is sound, and draw a plan of its floor");
    check->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    add_check_options(*check, result.site);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        CLI::App* asked = nullptr;
        for (CLI::App* command : {run, scenes, site, check}) {
            if (command->parsed()) asked = command;
        }
        const std::string name = asked == check ? "vca site" : app.get_name();
        result.text = asked != nullptr ? asked->help(name) : app.help();
        return result;
    } catch (const CLI::ParseError& e) {
        throw InputError(sentence_of(e) + "; see vca " +
                         (run->parsed()     ? "run "
                          : check->parsed() ? "site check "
                          : site->parsed()  ? "site "
                                            : "") +
                         "--help");
    }
    if (version) {
        result.text = version_text();
    } else if (run->parsed()) {
        result.command = Command::kRun;
        check_each_given_once(*run);
        if (is_given(*run, "--site")) {
            apply_numbers(given, result.run);
            result.site = settle_site(*run, given, result.run, result.site);
            result.command = result.site.device.empty() ? Command::kSite : Command::kSiteDevice;
            return result;
        }
        check_needs_site(*run);
        settle_source(*run, result.run);
        apply_overrides(given, result.run);
        check_options(result.run);
    } else if (check->parsed()) {
        result.command = Command::kSiteCheck;
        check_each_given_once(*check);
    } else if (scenes->parsed()) {
        result.command = Command::kScenes;
    } else {
        result.text = app.help();
    }
    return result;
}

}  // namespace host
