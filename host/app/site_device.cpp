// Run, progress and results of one camera of a site.
//
// Standard output holds one line of progress a second, which begins with a blank, and sentences
// about the link, which do not. A site run shows both under the name of the device.
#include "host/app/site_device.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <mutex>
#include <thread>

#include "host/app/run.h"
#include "host/engine/pace.h"
#include "host/report/output_folder.h"
#include "host/report/report.h"
#include "host/report/summary.h"
#include "host/score/site_scene.h"
#include "host/settings/site.h"
#include "host/settings/site_config.h"
#include "host/sinks/event_file.h"

namespace host {
namespace {

using std::chrono::steady_clock;

constexpr const char* kLog = "library.log";
constexpr const char* kEvents = "events.jsonl";
constexpr const char* kSummary = "summary.json";

constexpr std::chrono::seconds kProgressEvery{1};

// All devices of a site end with the same frame. A slave that left at once would be reported as
// missing by a master that is still at it.
constexpr std::chrono::milliseconds kFarewell{500};

class Console {
  public:
    Console(std::FILE* out, bool quiet, bool counts)
        : out_(out), terminal_(::isatty(::fileno(out)) == 1), quiet_(quiet), counts_(counts) {}

    // Any thread.
    void say(const std::string& sentence) {
        if (quiet_) return;
        const std::lock_guard lock(mutex_);
        std::fprintf(out_, "%s%s\n", terminal_ ? "\r\033[K" : "", sentence.c_str());
        std::fflush(out_);
    }

    void show(const Progress& progress, const PaceFigures* pace) {
        const auto now = steady_clock::now();
        if (quiet_ || now - last_ < kProgressEvery) return;
        const double passed_s = std::chrono::duration<double>(now - last_).count();
        const bool waited = last_frames_ == 0;  // for the common beginning
        const auto frames = static_cast<double>(progress.frames - last_frames_);
        last_ = now;
        last_frames_ = progress.frames;
        if (waited) return;
        const std::lock_guard lock(mutex_);
        std::fprintf(out_, "%s %7.1f s  %5.1f frames/s", terminal_ ? "\r\033[K" : "",
                     progress.time_s, frames / passed_s);
        if (pace != nullptr) {
            std::fprintf(out_, "  late %lld", static_cast<long long>(pace->late));
        }
        if (counts_)
            std::fprintf(out_, "  counted %d | %d", progress.counted[0], progress.counted[1]);
        std::fprintf(out_, "%s", terminal_ ? "" : "\n");
        std::fflush(out_);
    }

    void finish() {
        if (terminal_ && !quiet_) std::fputs("\r\033[K", out_);
        std::fflush(out_);
    }

  private:
    std::FILE* out_;
    bool terminal_;
    bool quiet_;
    bool counts_;
    std::mutex mutex_;
    steady_clock::time_point last_{};
    std::int64_t last_frames_ = 0;
};

const SiteDevice& device_named(const Site& site, const SiteOptions& options) {
    if (const SiteDevice* device = find_device(site, options.device)) return *device;
    std::string known;
    for (const SiteDevice& device : site.devices)
        known += (known.empty() ? "" : ", ") + device.name;
    throw InputError("the site \"" + site.name + "\" has no device \"" + options.device +
                     "\"; it has " + known);
}

RunPlan plan_of(const Site& site, const SiteDevice& device, const SiteOptions& options) {
    const SiteRole role = options.alone ? SiteRole::kAlone : SiteRole::kTogether;
    RunPlan plan;
    plan.options.source.seed = site.seed;
    plan.options.detect = site.detect;
    plan.options.target_min_mm = site.target_min_mm;
    plan.options.target_max_mm = site.target_max_mm;
    plan.options.frames = options.frames;
    plan.options.seconds = options.seconds;
    if (!options.seconds && !options.frames) plan.options.seconds = site.seconds;
    plan.source = open_site_view(view_setup(site, device));
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
                  Console& console) {
    LinkSetup link;
    link.site = &site;
    link.device = device.name;
    link.broker.host = options.broker ? options.broker->host : site.broker_host;
    link.broker.port = options.broker ? options.broker->port : site.broker_port;
    link.report = [&console](const std::string& sentence) { console.say(sentence); };
    return link;
}

std::string pace_text(const PaceFigures& pace) {
    if (pace.late == 0) return "";
    char text[200];
    std::snprintf(text, sizeof text,
                  "this machine is too slow: %lld of %lld frames came late, the worst by %.0f ms; "
                  "none was left out",
                  static_cast<long long>(pace.late), static_cast<long long>(pace.frames),
                  pace.most_late_ms);
    return text;
}

}  // namespace

int run_site_device(const SiteOptions& options, const std::function<bool()>& stop) {
    const Site site = read_site_file(options.file);
    const SiteDevice& device = device_named(site, options);
    RunPlan plan = plan_of(site, device, options);
    OutputFolder folder(plan.output, {kLog, kEvents, kSummary});
    StandardOutput output(folder.temporary(kLog));
    EventFile events(folder.temporary(kEvents));
    Console console(output.host(), options.quiet, options.alone || device.master);
    Pace pace(site.frames_per_second, options.start_at_ms);

    RunHooks hooks;
    hooks.stop = [&] { return stop() || events.failed(); };
    hooks.on_event = [&](const Event& event) { events.write(event); };
    hooks.on_progress = [&](const Progress& progress) {
        console.show(progress, options.alone ? nullptr : &pace.figures());
    };
    if (!options.alone) {
        plan.link = link_of(site, device, options, console);
        hooks.wait_for = [&](double time_s) { pace.wait_for(time_s, hooks.stop); };
        hooks.before_leaving = [&] {
            if (!device.master) std::this_thread::sleep_for(kFarewell);
        };
    }
    RunResult result = run(plan, hooks);
    if (!options.alone) result.pace = pace.figures();
    console.finish();
    output.restore();
    events.finish();
    write_summary(result, folder.temporary(kSummary));
    folder.commit();
    if (const std::string slow = pace_text(pace.figures()); !slow.empty()) console.say(slow);
    if (const std::string left = left_over_text(result); !left.empty()) {
        std::fprintf(stderr, "vca: %s\n", left.c_str());
        return 1;
    }
    return 0;
}

}  // namespace host
