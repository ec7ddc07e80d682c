// From what the service says to a run that does not end.
#include "host/app/camera_process.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <optional>
#include <utility>

#include "host/app/device_plan.h"
#include "host/app/plan_store.h"
#include "host/app/run.h"
#include "host/app/settings_switch.h"
#include "host/base/exit_status.h"
#include "host/base/readable_file.h"
#include "host/base/text.h"
#include "host/base/utc.h"
#include "host/frames/played_source.h"
#include "host/net/child_process.h"
#include "host/report/output_folder.h"
#include "host/service/camera_options.h"
#include "host/service/service_check.h"
#include "host/service/service_link.h"
#include "host/settings/record_options.h"
#include "host/sinks/store_sink.h"
#include "host/store/settings_history.h"

namespace host {
namespace {

constexpr const char* kEnded = "camera_ended";
constexpr const char* kRefused = "settings_refused";
constexpr const char* kStays = "; what was set before stays in force";
constexpr const char* kFileAuthor = "file";
constexpr const char* kThisMachine = "127.0.0.1";

// Tells the service that frames are finished, and each second the camera's figures.
class BeatSink final : public Sink {
  public:
    BeatSink(ServiceLink& link, const CameraHealth& health) : link_(link), health_(health) {}

    void end_frame(const PassReport&) override {
        link_.count_finished();
        const auto now = std::chrono::steady_clock::now();
        if (now < next_) return;
        next_ = now + kEach;
        link_.tell(health_.figures());
    }

  private:
    static constexpr std::chrono::seconds kEach{1};

    ServiceLink& link_;
    const CameraHealth& health_;
    std::chrono::steady_clock::time_point next_{};
};

RunPlan plan_of(const ServiceCamera& camera, RunOptions options, const std::atomic<bool>& stop) {
    options.source.stop = &stop;
    if (options.source.source == "live") return prepare_run(options);
    return prepare_run(
        options, open_played(options.source, camera.loop || options.source.source == "scene"));
}

// What was in force before counts where the file has become wrong.
RunPlan plan_of(const ServiceFile& file, const ServiceCamera& camera, ServiceLink& link,
                const std::atomic<bool>& stop) {
    try {
        return plan_of(camera, camera_options(camera), stop);
    } catch (const InputError& error) {
        const auto last = newest_settings(database_of(file, camera.name));
        if (!last) throw;
        link.tell(CameraSettings{std::string(error.what()) + kStays, true});
        return plan_of(camera, camera_options(camera, last->text, "the settings of before"), stop);
    }
}

StoreSinkSetup store_of(const ServiceFile& file, const ServiceCamera& camera, const RunPlan& plan,
                        ServiceLink& link) {
    StoreSinkSetup setup = store_setup(plan, database_of(file, camera.name));
    setup.writer.store.author = kFileAuthor;
    setup.writer.committed = [&link](const Committed& done) {
        link.tell(CameraCommitted{done.epoch, done.sequence});
    };
    return setup;
}

std::string site_text(const ServiceCamera& camera) {
    return read_text_file(camera.role.site, "site file", "give a readable file");
}

// The process before this one ended by itself.
void note_end(const CameraBegin& begun, StoreSink& store) {
    if (begun.ended_us == 0) return;
    store.note({begun.ended_us, HealthLevel::kFailed, kEnded, begun.ended_why});
    store.note({utc_now_us(), HealthLevel::kOk, kEnded, "the camera counts again"});
}

// What becomes of settings that have changed.
class SettingsNotes final : public SettingsListener {
  public:
    SettingsNotes(const RunPlan& plan, StoreSink& store, CameraHealth& health, ServiceLink& link)
        : plan_(plan), store_(store), health_(health), link_(link) {}

    void changed(double time_s) override {
        store_.change(time_s,
                      {plan_.lines, plan_.regions,
                       recorded_settings_text(plan_.options, plan_.source->info()), kFileAuthor});
        health_.change(plan_.lines, plan_.regions);
        link_.tell(CameraSettings{"counts with other settings", false});
    }

    void moved(double time_s) override {
        store_.change(time_s, {plan_.lines, plan_.regions, "", ""});
        health_.change(plan_.lines, plan_.regions);
    }

    void accepted() override {
        if (!std::exchange(refused_, false)) return;
        store_.note({utc_now_us(), HealthLevel::kOk, kRefused, "the settings are right again"});
    }

    void refused(const std::string& why) override {
        refused_ = true;
        store_.note({utc_now_us(), HealthLevel::kDegraded, kRefused, why + kStays});
        link_.tell(CameraSettings{why + kStays, true});
    }

    void not_counted(double from_s, double to_s, const std::string& why) override {
        store_.note_gap(from_s, to_s, why);
    }

    void needs_restart(const std::string& why) override {
        if (std::exchange(restarts_, true)) return;
        link_.tell(CameraSettings{"starts again, because " + why, false});
        std::raise(SIGTERM);
    }

    bool restarts() const { return restarts_; }

  private:
    const RunPlan& plan_;
    StoreSink& store_;
    CameraHealth& health_;
    ServiceLink& link_;
    bool refused_ = false;
    bool restarts_ = false;
};

// What one process knows of its place.
struct CameraSetup {
    const ServiceFile& file;
    const ServiceCamera& camera;
    ServiceLink& link;
    std::atomic<bool>& settings_changed;
    const std::atomic<bool>& stop;
};

int status_of(const RunFacts& facts, const SettingsNotes& notes) {
    if (notes.restarts()) return kExitRestart;
    // A live camera has no end that would not be a fault.
    return facts.interrupted || facts.source.live ? kExitIncomplete : kExitOk;
}

int run_camera(const CameraSetup& setup) {
    ServiceLink& link = setup.link;
    RunPlan plan = plan_of(setup.file, setup.camera, link, setup.stop);
    settle_height(plan, setup.stop);
    Pace pace(plan.source->info().frames_per_second, std::nullopt, setup.stop);
    if (!plan.source->info().live && !setup.camera.fast) plan.pace = &pace;
    const StoreSinkSetup kept = store_of(setup.file, setup.camera, plan, link);
    StoreSink store(kept);
    CameraHealth health(health_setup(plan, kept, store));
    note_end(link.begun(), store);
    BeatSink beat(link, health);
    SettingsNotes notes(plan, store, health, link);
    SettingsSwitch settings(
        plan, setup.settings_changed, [&setup] { return camera_options(setup.camera); }, notes);
    plan.heat_by_hour = true;
    plan.before_frame = [&](Session& session, double time_s) {
        link.count_taken();
        settings.before_frame(session, time_s);
    };
    link.set_counting();
    return status_of(run(plan, {&settings, &store, &health, &beat}, setup.stop), notes);
}

// The frames of a simulated site that have passed are not made up for.
void skip_to_present(FrameSource& source, std::int64_t start_ms) {
    const double past_s = static_cast<double>(utc_now_us() / 1000 - start_ms) / 1000.0;
    if (past_s > 0.0) source.skip(std::llround(past_s * source.info().frames_per_second));
}

void say(const std::string& sentence) {
    std::fprintf(stderr, "%s\n", visible(sentence).c_str());
}

// The settings of a device are those of its site.
void read_site_again(const CameraSetup& setup, const std::string& text, SettingsNotes& notes) {
    if (!setup.settings_changed.exchange(false)) return;
    try {
        read_site_file(setup.camera.role.site);
        const std::string now = site_text(setup.camera);
        notes.accepted();
        if (now != text) notes.needs_restart("the file of its site has changed");
    } catch (const InputError& error) {
        notes.refused(error.what());
    }
}

int run_device(const CameraSetup& setup) {
    ServiceLink& link = setup.link;
    const CameraBegin& begun = link.begun();
    const std::string text = site_text(setup.camera);
    const Site site = read_site_file(setup.camera.role.site);
    const SiteDevice* const device = find_device(site, setup.camera.role.device);
    if (device == nullptr) throw InputError(setup.camera.place + " is no device of its site");
    RunPlan plan = device_plan(site, *device, SiteRole::kTogether, setup.stop);
    std::optional<BrokerAddress> broker;
    if (begun.broker_port != 0) broker = BrokerAddress{kThisMachine, begun.broker_port};
    plan.link = device_link(site, *device, broker, say);
    const bool live = plan.source->info().live;
    StoreSinkSetup kept = store_of(setup.file, setup.camera, plan, link);
    if (!live) kept.start_us = begun.start_ms * 1000;
    kept.writer.store.settings = text;
    StoreSink store(kept);
    CameraHealth health(health_setup(plan, kept, store));
    note_end(begun, store);
    BeatSink beat(link, health);
    SettingsNotes notes(plan, store, health, link);
    Pace pace(plan.source->info().frames_per_second, begun.start_ms, setup.stop);
    if (!live) {
        plan.pace = &pace;
        skip_to_present(*plan.source, begun.start_ms);
    }
    plan.heat_by_hour = true;
    plan.before_frame = [&](Session&, double) {
        link.count_taken();
        read_site_again(setup, text, notes);
    };
    link.set_counting();
    return status_of(run(plan, {&store, &health, &beat}, setup.stop), notes);
}

}  // namespace

int camera_process(const std::atomic<bool>& stop) {
    std::atomic<bool> settings_changed{false};
    ServiceLink link(ChildProcess::kHandedFile);
    const ServiceFile file = parse_service_file(link.begun().text, link.begun().path);
    const ServiceCamera& camera = *find_camera(file, link.begun().camera);
    link.start([&settings_changed](const ReadSettings&) { settings_changed = true; });
    const StandardOutput nowhere("/dev/null");  // for what the library prints
    const CameraSetup setup{file, camera, link, settings_changed, stop};
    return camera.in_cascade() ? run_device(setup) : run_camera(setup);
}

}  // namespace host
