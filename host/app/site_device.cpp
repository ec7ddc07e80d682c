// Run, progress and results of one camera of a site.
//
// Standard error holds a line of progress a second, which begins with a blank, and sentences about
// the link, which do not. A site run shows both under the name of the device.
#include "host/app/site_device.h"

#include <chrono>
#include <cstdio>
#include <string>

#include "host/app/run.h"
#include "host/base/exit_status.h"
#include "host/base/progress_display.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/frames/site_camera.h"
#include "host/report/output_folder.h"
#include "host/report/report.h"
#include "host/report/summary.h"
#include "host/settings/site.h"
#include "host/settings/site_config.h"
#include "host/sinks/event_file.h"
#include "host/sinks/people_file.h"
#include "host/sinks/progress_sink.h"

namespace host {
namespace {

constexpr std::chrono::seconds kProgressEvery{1};

const SiteDevice& device_named(const Site& site, const SiteOptions& options) {
    if (const SiteDevice* device = find_device(site, options.device)) return *device;
    std::string known;
    for (const SiteDevice& device : site.devices)
        known += (known.empty() ? "" : ", ") + device.name;
    throw InputError("the site file \"" + options.file + "\" has no device \"" + options.device +
                     "\"; it has " + known);
}

std::unique_ptr<FrameSource> open_device(const Site& site, const SiteDevice& device,
                                         const std::atomic<bool>& stop) {
    if (device.is_simulated()) return open_site_view(view_setup(site, device));
    SiteCameraSetup setup;
    setup.name = device.name;
    setup.focal_px = device.focal_px;
    setup.height_mm = device.height_mm;
    const bool live = device.files.recording.empty();
    setup.source.source = live ? "live" : "recording";
    if (!live) setup.source.recordings = {device.files.recording};
    setup.source.live_depth = device.files.depth;
    setup.source.depth_format = device.files.depth_format;
    setup.source.camera_file = device.files.camera;
    setup.source.height_mm = Placed<double>(device.height_mm, device.place);
    setup.source.stop = &stop;
    try {
        return open_site_camera(setup);
    } catch (const InputError& error) {
        throw InputError(device.place + ": " + error.what());
    }
}

RunPlan plan_of(const Site& site, const SiteDevice& device, const SiteOptions& options,
                const std::atomic<bool>& stop) {
    const SiteRole role = options.alone ? SiteRole::kAlone : SiteRole::kTogether;
    RunPlan plan;
    plan.options.source.seed = site.seed;
    plan.options.detect = site.detect;
    plan.options.target_min_mm = site.target_min_mm;
    plan.options.target_max_mm = site.target_max_mm;
    plan.options.frames = options.frames;
    plan.options.seconds = options.seconds;
    if (!options.seconds && !options.frames) plan.options.seconds = site.seconds;
    plan.source = level_source(open_device(site, device, stop), plan.options.tilt);
    plan.config = device_config(site, device, role);
    if (options.alone) {
        plan.lines = own_lines(site, device);
        plan.regions = own_regions(site, device);
    } else if (device.master) {
        plan.lines = master_lines(site);
        plan.regions = master_regions(site);
    }
    plan.output = options.output;
    if (plan.output.empty()) {
        plan.output = "out/" + site.name + "/" + device.name + (options.alone ? "/alone" : "");
    }
    return plan;
}

LinkSetup link_of(const Site& site, const SiteDevice& device, const SiteOptions& options,
                  ProgressDisplay& display) {
    LinkSetup link;
    link.site = &site;
    link.device = device.name;
    link.broker.host = options.broker ? options.broker->host : site.broker_host;
    link.broker.port = options.broker ? options.broker->port : site.broker_port;
    link.report = [&display](const std::string& sentence) { display.say(0, sentence); };
    return link;
}

// What this device and the rest of its site did not hear from each other; empty if nothing.
std::string loss_text(const RunFacts& facts) {
    if (!facts.link) return "";
    const LinkFigures& link = *facts.link;
    const std::string why = link.outage.empty() ? "the broker did not answer" : link.outage;
    if (!link.reached) return "this device had no part in the site: " + why;
    std::string text;
    if (link.disconnected > 0) {
        text = std::to_string(link.disconnected) + " of " +
               std::to_string(link.sent + link.disconnected) + " messages were lost: " + why;
    } else if (link.outages > 0) {
        text = "the connection to the site was lost, and messages with it: " + why;
    }
    for (const HeardDevice& slave : link.slaves) {
        if (slave.counters.received > 0) continue;
        text += (text.empty() ? "" : "; ") + slave.name + " was never heard";
    }
    return text;
}

std::string pace_text(const PaceFigures& pace) {
    if (!is_too_slow(pace)) return "";
    return format_text(
        "this machine is too slow: %lld of %lld frames came late, the worst by %.0f ms; none was "
        "left out",
        static_cast<long long>(pace.late), static_cast<long long>(pace.frames), pace.most_late_ms);
}

}  // namespace

int run_site_device(const SiteOptions& options, const std::atomic<bool>& stop) {
    Site site = read_site_file(options.file);
    if (options.seconds) site.seconds = options.seconds;
    const SiteDevice& device = device_named(site, options);
    RunPlan plan = plan_of(site, device, options, stop);
    OutputFolder folder(plan.output, {kLogFile, kEventsFile, kPeopleFile, kCrossingsFile,
                                      kRegionsFile, kStaysFile, kSummaryFile});
    folder.begin();
    StandardOutput output(folder.file(kLogFile));
    ProgressDisplay display(stderr, {""}, options.quiet, kProgressEvery);
    Pace pace(site.frames_per_second.value, options.start_at_ms, stop);
    if (!options.alone) {
        plan.link = link_of(site, device, options, display);
        // A live camera has its own.
        if (!plan.source->info().live) plan.pace = &pace;
    }

    EventFile events(folder.file(kEventsFile));
    PeopleFile people(folder.file(kPeopleFile), story_names(plan));
    ScoreSink scores(score_setup(plan), {folder.file(kCrossingsFile), "", folder.file(kRegionsFile),
                                         folder.file(kStaysFile)});
    ProgressSink progress(
        display, {site.frames_per_second.value, 0.0, options.alone || device.master, plan.pace});
    const RunFacts facts = run(plan, {&events, &people, &scores, &progress}, stop);
    output.restore();
    write_summary(facts, scores.scores(), {}, folder.file(kSummaryFile));
    folder.commit();
    if (const std::string slow = pace_text(pace.figures()); !slow.empty()) display.say(0, slow);
    if (const std::string left = left_over_text(facts.left); !left.empty()) {
        std::fprintf(stderr, "vca: %s\n", left.c_str());
        return kExitFailure;
    }
    std::vector<std::string> losses = plan.source->losses();
    if (std::string loss = loss_text(facts); !loss.empty()) losses.push_back(std::move(loss));
    for (const std::string& loss : losses)
        std::fprintf(stderr, "vca: %s\n", visible(loss).c_str());
    return losses.empty() ? kExitOk : kExitIncomplete;
}

}  // namespace host
