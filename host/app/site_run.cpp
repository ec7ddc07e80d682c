// Sequence of a site run.
#include "host/app/site_run.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "host/app/site_processes.h"
#include "host/base/exit_status.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/draw/site_plan.h"
#include "host/net/broker_process.h"
#include "host/net/child_process.h"
#include "host/report/output_folder.h"
#include "host/report/site_picture.h"
#include "host/report/site_results.h"
#include "host/score/site_scene.h"
#include "host/settings/site.h"
#include "host/settings/site_check.h"
#include "host/settings/site_config.h"

namespace host {
namespace fs = std::filesystem;

namespace {

constexpr const char* kAlone = "alone";

// A slave that connects before its master asks for the frame count again after 2 s; by then all
// are ready.
constexpr std::chrono::milliseconds kStartDelay{3000};

// Two cameras alone keep the two cores of a small machine busy.
constexpr std::size_t kAloneAtOnce = 2;

std::int64_t start_moment_ms() {
    const auto start = std::chrono::system_clock::now() + kStartDelay;
    return std::chrono::duration_cast<std::chrono::milliseconds>(start.time_since_epoch()).count();
}

std::string folder_of(const fs::path& output, const SiteDevice& device) {
    return (output / device.name).string();
}

void add_limits(const SiteOptions& options, std::vector<std::string>& arguments) {
    if (options.frames) {
        arguments.insert(arguments.end(), {"--frames", std::to_string(*options.frames)});
    }
    if (options.seconds) {
        arguments.insert(arguments.end(), {"--seconds", format_text("%.17g", *options.seconds)});
    }
}

// What an earlier run left must not pass for the results of a device that dies.
void forget_results(const fs::path& folder) {
    std::error_code error;
    for (const char* name : {kEventsFile, kSummaryFile})
        fs::remove(folder / name, error);
}

// What became of the devices, and how often the broker ended by itself.
struct TogetherEnd {
    std::vector<ProcessEnd> processes;
    int broker_restarts = 0;
};

TogetherEnd run_together(const Site& site, const SiteOptions& options, const fs::path& output,
                         const std::atomic<bool>& stop) {
    BrokerProcess broker(output.string(), free_loopback_port());
    const std::string address = "127.0.0.1:" + std::to_string(broker.port());
    const std::string start = std::to_string(start_moment_ms());
    ProcessRun run{{}, site.devices.size(), &stop, stderr, options.quiet};
    for (const SiteDevice& device : site.devices) {
        forget_results(folder_of(output, device));
        std::vector<std::string> arguments{"run",
                                           "--site",
                                           options.file,
                                           "--device",
                                           device.name,
                                           "--broker",
                                           address,
                                           "--start-at",
                                           start,
                                           "--output",
                                           folder_of(output, device)};
        add_limits(options, arguments);
        run.plans.push_back({device.name, std::move(arguments)});
    }
    std::vector<ProcessEnd> ends = run_processes(run);
    return {std::move(ends), broker.restarts()};
}

std::vector<ProcessEnd> run_alone(const Site& site, const SiteOptions& options,
                                  const fs::path& output, std::int64_t frames,
                                  const std::atomic<bool>& stop) {
    ProcessRun run{{}, kAloneAtOnce, &stop, stderr, options.quiet};
    for (const SiteDevice& device : site.devices) {
        const std::string folder = folder_of(output, device) + "/" + kAlone;
        forget_results(folder);
        run.plans.push_back({device.name + " alone",
                             {"run", "--site", options.file, "--device", device.name, "--alone",
                              "--frames", std::to_string(frames), "--output", folder}});
    }
    return run_processes(run);
}

bool has_results(const std::vector<ProcessEnd>& ends, const std::string& name) {
    return std::any_of(ends.begin(), ends.end(), [&](const ProcessEnd& end) {
        return end.name == name && left_results(end.status);
    });
}

void check_simulated(const Site& site) {
    for (const SiteDevice& device : site.devices)
        if (device.is_simulated()) open_site_view(view_setup(site, device));
}

std::vector<DeviceAccount> read_accounts(const Site& site, const fs::path& output,
                                         const std::vector<ProcessEnd>& ends) {
    std::vector<DeviceAccount> accounts;
    for (const SiteDevice& device : site.devices) {
        if (has_results(ends, device.name))
            accounts.push_back(read_account(folder_of(output, device), device.name));
    }
    return accounts;
}

void say(const SiteOptions& options, const std::string& text) {
    if (!options.quiet) std::fputs(text.c_str(), stderr);
}

// The counts of every camera by itself; none for those whose run did not end well.
void compare_alone(const Site& site, const SiteOptions& options, const fs::path& output,
                   const std::atomic<bool>& stop, SiteResult& result) {
    const auto frames = static_cast<std::int64_t>(result.frames.size());
    if (frames == 0 || stop) return;
    say(options, "every camera once more by itself, over the same frames:\n");
    const std::vector<ProcessEnd> ends = run_alone(site, options, output, frames, stop);
    if (stop) return;
    for (const SiteDevice& device : site.devices) {
        if (!has_results(ends, device.name + " " + kAlone)) continue;
        result.alone.push_back(
            read_alone_counts(site, device, folder_of(output, device) + "/" + kAlone));
    }
}

}  // namespace

int run_site(const SiteOptions& options, const std::atomic<bool>& stop) {
    Site site = read_site_file(options.file);
    if (options.seconds) site.seconds = options.seconds;
    check_simulated(site);
    const std::string path = options.output.empty() ? "out/" + site.name : options.output;
    OutputFolder folder(path, {kEventsFile, kSummaryFile, kSitePictureFile, kSitePlanFile});
    const auto [ends, broker_restarts] = run_together(site, options, folder.path(), stop);
    const SiteDevice& master = master_of(site);
    if (!has_results(ends, master.name)) {
        throw std::runtime_error("the master \"" + master.name +
                                 "\" did not finish, so there are no results for the site");
    }
    const std::vector<DeviceAccount> accounts = read_accounts(site, folder.path(), ends);
    const auto own = std::find_if(accounts.begin(), accounts.end(),
                                  [&](const DeviceAccount& a) { return a.name == master.name; });
    fs::copy_file(fs::path(folder_of(folder.path(), master)) / kEventsFile,
                  folder.file(kEventsFile), fs::copy_options::overwrite_existing);
    SiteResult result = evaluate_site(site, folder.file(kEventsFile), own->frames);
    // A real camera shows nothing twice, and nobody knows the truth.
    if (result.has_truth) compare_alone(site, options, folder.path(), stop, result);
    const std::vector<LostMessages> lost = lost_messages(site, accounts);
    write_site_summary(site, result, accounts, broker_restarts, folder.file(kSummaryFile));
    write_site_picture(site, result, folder.file(kSitePictureFile));
    write_site_plan(site, folder.file(kSitePlanFile));
    folder.commit();
    write_text(stdout, "\nsite " + site.name + ", " + std::to_string(result.frames.size()) +
                           " frames\n" + site_table(site, result) + link_text(accounts) +
                           loss_text(lost, broker_restarts) + "  results in " + visible(path) +
                           "\n");
    const bool all_well = std::all_of(ends.begin(), ends.end(),
                                      [](const ProcessEnd& end) { return end.status == 0; });
    return all_well && lost.empty() ? kExitOk : kExitIncomplete;
}

}  // namespace host
