// The program vca.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "host/app/check.h"
#include "host/app/run.h"
#include "host/app/site_device.h"
#include "host/app/site_run.h"
#include "host/draw/heat_picture.h"
#include "host/report/output_folder.h"
#include "host/report/picture.h"
#include "host/report/progress.h"
#include "host/report/report.h"
#include "host/report/summary.h"
#include "host/settings/command_line.h"
#include "host/sinks/event_file.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitWrongInput = 2;

constexpr const char* kLog = "library.log";
constexpr const char* kEvents = "events.jsonl";
constexpr const char* kRegions = "regions.csv";
constexpr const char* kStays = "stays.csv";
constexpr const char* kSummary = "summary.json";
constexpr const char* kPicture = "picture.png";
constexpr const char* kHeatDwell = "heat_dwell.png";
constexpr const char* kHeatMotion = "heat_motion.png";
constexpr const char* kLive = "live.mp4";

volatile std::sig_atomic_t stop_requested = 0;

// The first signal ends the run with the results so far, the second one the program.
void on_interrupt(int number) {
    if (stop_requested == 0) {
        stop_requested = 1;
        return;
    }
    host::remove_unfinished_output();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

bool stop_was_requested() {
    return stop_requested != 0;
}

void catch_interrupts() {
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        // Whoever started the program to outlive a terminal had the signal ignored.
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
}

// Once the results get their names they are kept.
void ignore_interrupts() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, SIG_IGN);
}

double expected_frames(const host::RunPlan& plan) {
    const host::SourceInfo& info = plan.source->info();
    double frames = info.duration_s * info.frames_per_second;
    const auto limit = [&frames](double most) {
        if (frames <= 0.0 || most < frames) frames = most;
    };
    if (plan.options.frames) limit(static_cast<double>(*plan.options.frames));
    if (plan.options.seconds) limit(*plan.options.seconds * info.frames_per_second);
    return frames;
}

// Without room for the events there will be no results, so a failed write ends the run.
host::RunResult run_with_progress(host::RunPlan& plan, std::FILE* out, host::EventFile& events,
                                  const std::string& live_path) {
    host::ProgressLine line(out, expected_frames(plan), plan.source->info().frames_per_second);
    host::RunHooks hooks;
    hooks.stop = [&events] { return stop_requested != 0 || events.failed(); };
    hooks.on_event = [&events](const host::Event& event) { events.write(event); };
    hooks.live_path = live_path;
    if (!plan.options.quiet) {
        hooks.on_progress = [&line](const host::Progress& progress) { line.show(progress); };
    }
    host::RunResult result = host::run(plan, hooks);
    if (!plan.options.quiet) line.finish();
    return result;
}

std::vector<std::string> names_of_results(const host::RunOptions& options) {
    std::vector<std::string> names{kLog,   kEvents,  kSummary,   kRegions,
                                   kStays, kPicture, kHeatDwell, kHeatMotion};
    if (options.live) names.emplace_back(kLive);
    return names;
}

int run_command(const host::RunOptions& options) {
    host::RunPlan plan = host::prepare_run(options);
    catch_interrupts();
    host::OutputFolder folder(plan.output, names_of_results(options));
    host::StandardOutput output(folder.temporary(kLog));
    host::EventFile events(folder.temporary(kEvents));
    const host::RunResult result =
        run_with_progress(plan, output.host(), events, options.live ? folder.temporary(kLive) : "");
    output.restore();
    events.finish();
    host::write_summary(result, folder.temporary(kSummary));
    host::write_regions_csv(result, folder.temporary(kRegions));
    host::write_stays_csv(result, folder.temporary(kStays));
    host::write_picture(result, folder.temporary(kPicture));
    host::write_heat_pictures(result, folder.temporary(kHeatDwell), folder.temporary(kHeatMotion));
    ignore_interrupts();
    folder.commit();
    host::write_text(output.host(),
                     host::summary_text(result) + "  results in           " + plan.output + "\n");
    if (const std::string left = host::left_over_text(result); !left.empty()) {
        std::fprintf(stderr, "vca: %s\n", left.c_str());
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    host::open_missing_standard_files();
    // A reader that goes away shows as a failed write, after which the results are still kept.
    std::signal(SIGPIPE, SIG_IGN);
    // A limit of the file size shows as a failed write too.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        const host::CommandLine command = host::parse_command_line(argc, argv);
        switch (command.command) {
            case host::Command::kRun:
                return run_command(command.run);
            case host::Command::kScenes:
                host::write_text(stdout, host::scenes_text());
                return kExitOk;
            case host::Command::kSite:
                catch_interrupts();
                return host::run_site(command.site, stop_was_requested);
            case host::Command::kSiteDevice:
                catch_interrupts();
                return host::run_site_device(command.site, stop_was_requested);
            case host::Command::kSiteCheck:
                host::write_text(stdout,
                                 host::check_site_command(command.site.file, command.site.output));
                return kExitOk;
            case host::Command::kText:
                host::write_text(stdout, command.text);
                return kExitOk;
        }
    } catch (const host::InputError& e) {
        std::fprintf(stderr, "vca: %s\n", e.what());
        return kExitWrongInput;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "vca: %s\n", e.what());
    }
    return kExitFailure;
}
