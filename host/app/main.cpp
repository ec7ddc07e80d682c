// The program vca.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <initializer_list>
#include <string>

#include "host/app/audit_command.h"
#include "host/app/camera_check.h"
#include "host/app/camera_process.h"
#include "host/app/check.h"
#include "host/app/compare_command.h"
#include "host/app/record_command.h"
#include "host/app/run_command.h"
#include "host/app/serve_command.h"
#include "host/app/settings_command.h"
#include "host/app/site_device.h"
#include "host/app/site_run.h"
#include "host/app/store_commands.h"
#include "host/app/users_command.h"
#include "host/app/what_if_command.h"
#include "host/app/why.h"
#include "host/base/exit_status.h"
#include "host/base/log_lines.h"
#include "host/base/text.h"
#include "host/report/output_folder.h"
#include "host/report/report.h"
#include "host/settings/command_line.h"

namespace {

std::atomic<bool> stop_requested{false};
std::atomic<bool> reload_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

// The first signal ends the run with the results so far, the second one the program.
void on_interrupt(int number) {
    if (!stop_requested.exchange(true)) return;
    host::remove_unfinished_output();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

// A camera's process may be asked by several at once, and ends in order all the same.
void on_request_to_end(int) {
    stop_requested = true;
}

void on_request_to_reload(int) {
    reload_requested = true;
}

void catch_signals(std::initializer_list<int> numbers, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    for (const int number : numbers) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        // A program started to outlive its terminal has the signal ignored already.
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
}

void catch_interrupts() {
    catch_signals({SIGINT, SIGTERM, SIGHUP}, on_interrupt);
}

// Once the results get their names they are kept.
void ignore_interrupts() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, SIG_IGN);
}

// The sentence may contain user input of any length.
void complain(const std::exception& error) {
    constexpr std::size_t kMostCharacters = 1000;
    std::fprintf(stderr, "%svca: %s\n", host::log_prefix(host::LogLevel::kError).c_str(),
                 host::cut_to(host::visible(error.what()), kMostCharacters).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    host::open_missing_standard_files();
    // A reader that goes away shows as a failed write, after which the results are still kept.
    std::signal(SIGPIPE, SIG_IGN);
    // A limit of the file size shows as a failed write too.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        host::CommandLine command = host::parse_command_line(argc, argv);
        for (host::RunOptions* run : {&command.run, &command.record.run, &command.camera_check.run})
            run->source.stop = &stop_requested;
        switch (command.command) {
            case host::Command::kRun:
                catch_interrupts();
                return host::run_command(command.run, stop_requested, ignore_interrupts);
            case host::Command::kRecord:
                catch_interrupts();
                return host::record_command(command.record, stop_requested);
            case host::Command::kScenes:
                host::write_text(stdout, host::scenes_text());
                return host::kExitOk;
            case host::Command::kSite:
                catch_interrupts();
                return host::run_site(command.site, stop_requested);
            case host::Command::kSiteDevice:
                catch_interrupts();
                return host::run_site_device(command.site, stop_requested);
            case host::Command::kCheck:
                host::write_text(stdout, host::check_command(command.check));
                return host::kExitOk;
            case host::Command::kCameraCheck:
                catch_interrupts();
                host::write_text(stdout, host::camera_check(command.camera_check, stop_requested));
                return host::kExitOk;
            case host::Command::kWhy:
                host::write_text(stdout, host::why_command(command.why));
                return host::kExitOk;
            case host::Command::kCounts:
            case host::Command::kExport:
            case host::Command::kBackup:
            case host::Command::kRestore:
            case host::Command::kCorrect:
            case host::Command::kPrune:
            case host::Command::kStatus:
                catch_interrupts();
                return host::store_command(command, stop_requested);
            case host::Command::kAudit:
                catch_interrupts();
                return host::audit_command(command.audit, stop_requested);
            case host::Command::kCompare:
                host::write_text(stdout, host::compare_command(command.compare));
                return host::kExitOk;
            case host::Command::kWhatIf:
                catch_interrupts();
                return host::what_if_command(command.what_if, stop_requested);
            case host::Command::kServe:
                catch_signals({SIGINT, SIGTERM}, on_interrupt);
                catch_signals({SIGHUP}, on_request_to_reload);
                return host::serve_command(command.serve, stop_requested, reload_requested);
            case host::Command::kSettings:
                host::write_text(stdout, host::settings_command(command.settings));
                return host::kExitOk;
            case host::Command::kResetUser:
                host::write_text(stdout, host::reset_user_command(command.reset_user));
                return host::kExitOk;
            case host::Command::kCameraProcess:
                catch_signals({SIGINT, SIGTERM, SIGHUP}, on_request_to_end);
                return host::camera_process(stop_requested);
            case host::Command::kText:
                host::write_text(stdout, command.text);
                return host::kExitOk;
        }
    } catch (const host::InputError& e) {
        complain(e);
        return host::kExitWrongInput;
    } catch (const std::exception& e) {
        complain(e);
    }
    return host::kExitFailure;
}
