// Definition of the commands and their options.
#include "host/settings/command_line.h"

#include <CLI/CLI.hpp>
#include <climits>
#include <cmath>
#include <filesystem>
#include <set>

#include "host/settings/audit_arguments.h"
#include "host/settings/record_arguments.h"
#include "host/settings/run_arguments.h"
#include "host/settings/serve_arguments.h"
#include "host/settings/store_arguments.h"
#include "host/settings/version_text.h"

namespace host {
namespace {

constexpr const char* kPersonHeight = "--person-height";

// A site file that comes with the program: beside an installed one, or in the tree it was built in;
// a placeholder when there is neither.
std::string example_site() {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* const folder : {"../share/doc/vca/examples", "../../../host/examples"}) {
        const fs::path file = (program / folder / "hall.toml").lexically_normal();
        if (!fs::exists(file, error)) continue;
        const std::string from_here = fs::proximate(file, error).string();
        return from_here.size() < file.string().size() ? from_here : file.string();
    }
    return "SITE.toml";
}

std::string examples_text() {
    const std::string site = example_site();
    return R"(
Examples; replace words in capitals with your own files and folders:
  vca run                                   the built-in scene "entrance"
  vca run --scene uturn --seconds 30        the first half minute of another scene
  vca run --trajectories WALKS.txt --height 6000
  vca run --folder RECORDING --line "256,0 256,423" --height auto
  vca record --scene corridor --output DIR  depth, counts and settings in files that players open
  vca run --recording DIR/*.mkv             the same counts again
  vca run --line "100,272 860,272" --uturn "60,150 900,150 900,400 60,400"
  vca run --region "300,150 660,150 660,400 300,400" --name till
  vca run --site )" +
           site + R"(
                                            several cameras that count as one
  vca scenes                                what the built-in scenes show
  vca check )" +
           site + R"(
                                            whether a site file is sound, and a plan of its floor
  vca check DOOR.toml                       whether a file for --config is sound
  vca camera check --depth /dev/video0 --camera CAMERA.toml --person-height 1.75
                                            what a camera sees, and which settings fit it
  vca why out/entrance --line entrance      who came to that line and was not counted, and why
  vca run --store DOOR.db                   keep the counts in a database, too
  vca counts --store DOOR.db --by hour      what it has counted today
  vca serve --config vca.toml               run the cameras of a place, day and night
  vca audit DOOR.mkv --labels DOOR.csv      how right the counts are, compared with what a person saw
  vca whatif DOOR.mkv --config DOOR.toml    what other settings would have counted
)";
}

constexpr const char* kRunFooter = R"(
--trajectories alone implies --source walks, --folder alone implies --source depth-folder, and
--recording alone implies --source recording. Settings that a recording carries count unless --config
names others; options override both.

A counting line counts in two directions: direction 1 is that of a walker who ends up on the
left of the line, looking along it in the picture from its first point to its last.
--site FILE alone runs a whole simulated site on this machine: a broker, and a process for each camera.
With --device NAME it is one camera of the site, on a machine of its own.

--uturn, --flip and --name belong to the --line before them, --name also to a --region.
Points are pixels of the 960 x 544 picture, for a recording pixels of its own images. Those of a
camera that hangs crooked are pixels of the pictures that a run shows, which are those of a level one.

In the output folder: events.jsonl (every message of the analysis), people.jsonl (why each was
counted or not), summary.json (all counts and measurements), crossings.csv and true_crossings.csv
(everybody counted, everybody who truly crossed), regions.csv (people in each region, second by
second), stays.csv (each stay in a region), heat_dwell.png and heat_motion.png, live.mp4 (what a
customer's screen would show), library.log (what the analysis library prints) and picture.png.
The .jsonl and .csv files can be followed while the run goes on.

Exit status: 0 when all went well, 1 when the run failed, 2 for wrong input, 3 when the counts are
kept but something is missing; a message says what.
)";

constexpr const char* kRecordFooter = R"(
Files of 5 minutes in Matroska, named by the UTC time of their first frame and ending in .part while they
are written. Players show the depth and, as subtitles, what was counted; "vca run --recording FILE ..."
counts again with the settings that the recording carries.
)";

void add_site_options(CLI::App& run, SiteOptions& site) {
    const char* kGroup = "Several cameras";
    const auto add = [&run, kGroup](const char* option, const char* type,
                                    const std::string& description) {
        run.add_option(option, description)->type_name(type)->group(kGroup);
    };
    add("--site", "FILE", "Site of several cameras that count as one");
    add("--device", "NAME", "Run this one camera of the site");
    add("--broker", "HOST:PORT", "MQTT broker of the device [as the file says]");
    add("--start-at", "MS", "When the scene starts, in milliseconds since 1970 [now]");
    run.add_flag("--alone", site.alone,
                 "Let the device count by itself, without a broker and as fast as it can")
        ->disable_flag_override()
        ->group(kGroup);
}

CLI::App* add_check(CLI::App& parent, const std::string& description, CheckOptions& check) {
    CLI::App* command = parent.add_subcommand("check", description);
    command->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    command->add_option("FILE", check.file, "The file")->required()->type_name("");
    command
        ->add_option("--output", check.output,
                     "Folder for a site's site_plan.png [that of the site file]")
        ->type_name("DIR");
    return command;
}

CLI::App* add_why(CLI::App& parent, WhyOptions& why) {
    CLI::App* command =
        parent.add_subcommand("why", "Tell why somebody was counted in a finished run, or not");
    command->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    command->add_option("RUN", why.folder, "Folder of its results")->required()->type_name("");
    command->add_option("--track", "The whole story of this track")->type_name("N");
    command->add_option("--time", "Who was seen around this scene time")->type_name("S");
    command->add_option("--line", "Who came to this line and was not counted on it")
        ->type_name("NAME");
    return command;
}

// No option may be given twice or with an empty value; those of lines and regions, which may
// repeat, are checked as they come.
void check_each_given_once(const CLI::App& run) {
    for (const CLI::Option* option : run.get_options()) {
        if (option->count() == 0 || option->get_trigger_on_parse()) continue;
        const bool flag = option->get_items_expected_max() == 0;
        const bool list = option->get_items_expected_max() > 1;
        if (!flag && !list && option->count() > 1) {
            throw InputError(option->get_name() + " is given " + std::to_string(option->count()) +
                             " times; give it once");
        }
        if (!flag && option->results().front().starts_with("--")) {
            throw InputError(option->get_name() + " is followed by " + option->results().front() +
                             "; write " + option->get_type_name() + " after it");
        }
        if (!flag && option->results().front().empty()) {
            if (option->get_positional()) {
                throw InputError(option->get_name() + " is empty; write the name of one");
            }
            throw InputError(option->get_name() + " is empty; write " + option->get_type_name() +
                             " after it, or leave it out");
        }
    }
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

// `limits` are the options of a run that a site has too.
void settle_site(const CLI::App& run, const RunOptions& limits, SiteOptions& site) {
    site.file = value_of(run, "--site").value_or("");
    site.device = value_of(run, "--device").value_or("");
    if (const auto broker = value_of(run, "--broker")) site.broker = parse_broker(*broker);
    if (const auto start = value_of(run, "--start-at")) site.start_at_ms = parse_start_at(*start);
    site.seconds = limits.seconds;
    site.frames = limits.frames;
    site.output = limits.output;
    site.quiet = limits.quiet;
}

void settle_run(const CLI::App& run, const RunArguments& arguments, CommandLine& result) {
    check_each_given_once(run);
    if (is_given(run, "--site")) {
        check_goes_with_site(run);
        arguments.apply_to(result.run);
        settle_site(run, result.run, result.site);
        result.command = result.site.device.empty() ? Command::kSite : Command::kSiteDevice;
        return;
    }
    check_needs_site(run);
    arguments.apply_to(result.run);
    check_options(result.run);
    result.command = Command::kRun;
}

void settle_why(const CLI::App& command, WhyOptions& why) {
    check_each_given_once(command);
    if (is_given(command, "--track") &&
        (is_given(command, "--line") || is_given(command, "--time"))) {
        throw InputError("--track tells one whole story; leave out --line and --time");
    }
    why.line = value_of(command, "--line");
    if (const auto text = value_of(command, "--track")) {
        const std::optional<double> number = to_number(*text);
        if (!number || *number != std::floor(*number) || *number < 0.0 || *number > INT_MAX) {
            throw InputError("--track is \"" + *text + "\"; write the number of a track");
        }
        why.track = static_cast<int>(*number);
    }
    if (const auto text = value_of(command, "--time")) {
        why.time_s = to_number(*text);
        if (!why.time_s || *why.time_s < 0.0) {
            throw InputError("--time is \"" + *text + "\"; write a scene time in seconds");
        }
    }
}

void settle_camera_check(const CLI::App& command, const RunArguments& arguments,
                         CameraCheckOptions& options) {
    constexpr double kShortest_m = 1.2;
    constexpr double kTallest_m = 2.2;
    check_each_given_once(command);
    arguments.apply_to(options.run);
    check_options(options.run);
    const auto text = value_of(command, kPersonHeight);
    if (!text) return;
    const std::optional<double> height_m = to_number(*text);
    if (!height_m || *height_m < kShortest_m || *height_m > kTallest_m) {
        throw InputError(
            std::string(kPersonHeight) + " is \"" + *text +
            "\"; write the height in metres of somebody who walks through, 1.2 to 2.2");
    }
    options.person_mm = 1000.0 * *height_m;
}

// Such as "vca site check".
std::string name_of_asked(const CLI::App& app) {
    const std::vector<CLI::App*> parsed = app.get_subcommands();
    return app.get_name() + (parsed.empty() ? "" : " " + name_of_asked(*parsed.back()));
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
    CLI::App app{"Counts people who walk under an overhead colour and depth camera."};
    app.name("vca");
    app.footer(examples_text());
    app.require_subcommand(0, 1);
    bool version = false;
    app.add_flag("--version", version, "Print version, commit, build type and capabilities");
    CLI::App* run = app.add_subcommand("run", "Analyse a scene or a recording and count");
    // Repeated options are collected first, to be refused with a sentence of our own.
    run->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const RunArguments arguments(*run, RunArguments::Output::kResults);
    add_site_options(*run, result.site);
    run->footer(kRunFooter);
    CLI::App* record =
        app.add_subcommand("record", "Record depth, counts and settings of a scene or a camera");
    record->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const RecordArguments record_arguments(*record);
    record->footer(kRecordFooter);
    CLI::App* scenes = app.add_subcommand("scenes", "List the built-in scenes");
    CLI::App* check = add_check(
        app, "Say whether the file of a place, of a site or for --config is sound", result.check);
    CLI::App* why = add_why(app, result.why);
    CLI::App* camera = app.add_subcommand("camera", "A camera before it counts");
    camera->require_subcommand(1);
    CLI::App* camera_check = camera->add_subcommand(
        "check", "Look at any source for a while and say what the camera sees");
    camera_check->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const RunArguments camera_arguments(*camera_check, RunArguments::Output::kPicture);
    camera_check
        ->add_option(kPersonHeight,
                     "Height of somebody who walks below the camera meanwhile, with shoes: says "
                     "which --sensor fits")
        ->type_name("M")
        ->group("Output");
    const StoreArguments store_arguments(app);
    const AuditArguments audit_arguments(app);
    const ServeArguments serve_arguments(app);
    CLI::App* site = app.add_subcommand("site", "Sites of several cameras");
    site->require_subcommand(1);
    CLI::App* site_check = add_check(
        *site, "Say whether a site file is sound, and draw a plan of its floor", result.check);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        result.text = app.help();
        return result;
    } catch (const CLI::ParseError& e) {
        throw InputError(sentence_of(e) + "; see " + name_of_asked(app) + " --help");
    }
    if (version) {
        result.text = version_text();
    } else if (run->parsed()) {
        settle_run(*run, arguments, result);
    } else if (record->parsed()) {
        check_each_given_once(*record);
        record_arguments.apply_to(result.record);
        check_record_options(result.record);
        result.command = Command::kRecord;
    } else if (check->parsed() || site_check->parsed()) {
        result.command = Command::kCheck;
        result.check.as_site = site_check->parsed();
        check_each_given_once(check->parsed() ? *check : *site_check);
    } else if (camera_check->parsed()) {
        settle_camera_check(*camera_check, camera_arguments, result.camera_check);
        result.command = Command::kCameraCheck;
    } else if (why->parsed()) {
        result.command = Command::kWhy;
        settle_why(*why, result.why);
    } else if (const CLI::App* command = store_arguments.parsed()) {
        check_each_given_once(*command);
        store_arguments.apply_to(result);
    } else if (const CLI::App* audit = audit_arguments.parsed()) {
        check_each_given_once(*audit);
        audit_arguments.apply_to(result);
    } else if (const CLI::App* serve = serve_arguments.parsed()) {
        check_each_given_once(*serve);
        serve_arguments.apply_to(result);
    } else if (scenes->parsed()) {
        result.command = Command::kScenes;
    } else {
        result.text = app.help();
    }
    return result;
}

}  // namespace host
