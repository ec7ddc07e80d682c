// The program vca.
#include <csignal>
#include <cstdio>
#include <exception>

#include "host/app/command_line.h"
#include "host/app/output_folder.h"
#include "host/app/picture.h"
#include "host/app/progress.h"
#include "host/app/report.h"
#include "host/app/run.h"
#include "host/app/summary.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitWrongInput = 2;

volatile std::sig_atomic_t stop_requested = 0;

void on_interrupt(int) {
    stop_requested = 1;
}

void catch_interrupts() {
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    // A second Ctrl-C ends the program at once.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
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

host::RunResult run_with_progress(host::RunPlan& plan, std::FILE* out) {
    host::ProgressLine line(out, expected_frames(plan), plan.source->info().frames_per_second);
    host::RunHooks hooks;
    hooks.stop = [] { return stop_requested != 0; };
    if (!plan.options.quiet) {
        hooks.on_progress = [&line](const host::Progress& progress) { line.show(progress); };
    }
    host::RunResult result = host::run(plan, hooks);
    if (!plan.options.quiet) line.finish();
    return result;
}

int run_command(const host::RunOptions& options) {
    host::RunPlan plan = host::prepare_run(options);
    host::OutputFolder folder(plan.output);
    host::StandardOutput output(folder.temporary("library.log"));
    catch_interrupts();
    const host::RunResult result = run_with_progress(plan, output.host());
    output.restore();
    host::write_events(result, folder.temporary("events.jsonl"));
    host::write_summary(result, folder.temporary("summary.json"));
    host::write_picture(result, folder.temporary("picture.png"));
    folder.commit();
    std::fputs(host::summary_text(result).c_str(), output.host());
    std::fprintf(output.host(), "  results in           %s\n", plan.output.c_str());
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const host::CommandLine command = host::parse_command_line(argc, argv);
        switch (command.command) {
            case host::Command::kRun:
                return run_command(command.run);
            case host::Command::kScenes:
                std::fputs(host::scenes_text().c_str(), stdout);
                return kExitOk;
            case host::Command::kText:
                std::fputs(command.text.c_str(), stdout);
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
