// From what the service says to a run that does not end.
#include "host/app/camera_process.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <opencv2/core/utility.hpp>
#include <optional>
#include <utility>

#include "host/app/device_plan.h"
#include "host/app/floor_measure.h"
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
#include "host/service/live_link.h"
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
    const SettingsAuthor& by = link.begun().settings_by;
    setup.writer.store.author = by.author;
    setup.writer.store.name = by.name;
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

constexpr const char* kFromSettings = "settings";
constexpr const char* kFromMeasuring = "measured";
constexpr const char* kFromSource = "source";

// Once the first frame has come.
CameraAbout about(const ServiceCamera& camera, const RunPlan& plan) {
    const SourceInfo& info = plan.source->info();
    CameraAbout about;
    about.source = info.description;
    about.sensor_width = info.sensor.width > 0 ? info.sensor.width : kDepthWidth;
    about.sensor_height = info.sensor.width > 0 ? info.sensor.height : kDepthHeight;
    about.width = info.user_width;
    about.height = info.user_height;
    about.frames_per_second = info.frames_per_second;
    about.colour = camera.colour_picture && info.has_colour;
    about.model = info.camera;
    about.model.height_mm = plan.height_mm;
    about.height_from = plan.options.measure_height     ? kFromMeasuring
                        : plan.options.source.height_mm ? kFromSettings
                                                        : kFromSource;
    about.tilt = info.tilt;
    about.warnings = run_warnings(plan);
    return about;
}

LiveFramesSetup live_setup(const ServiceCamera& camera, const RunPlan& plan,
                           const StoreSink& store) {
    LiveFramesSetup setup;
    setup.floor_mm = *plan.height_mm;
    setup.colour = camera.colour_picture && plan.source->info().has_colour;
    setup.regions = plan.regions;
    setup.time_us = [&store](double time_s) { return store.time_us(time_s); };
    return setup;
}

// What the service has asked for and the camera has not seen to yet.
class CameraRequests {
  public:
    void hear(const CameraMessage& message) {
        if (const auto* read = std::get_if<ReadSettings>(&message)) {
            const std::lock_guard lock(mutex_);
            by_ = read->by;
            read_settings = true;
        }
        if (std::holds_alternative<MeasureAgain>(message)) measure = true;
    }
    SettingsAuthor settings_by() const {
        const std::lock_guard lock(mutex_);
        return by_;
    }

    std::atomic<bool> read_settings{false};
    std::atomic<bool> measure{false};

  private:
    mutable std::mutex mutex_;
    SettingsAuthor by_;
};

// What one process knows of its place.
struct CameraSetup {
    const ServiceFile& file;
    const ServiceCamera& camera;
    ServiceLink& link;
    CameraRequests& requests;
    const std::atomic<bool>& stop;
};

// What is told beside counting: what the camera is, how it hangs and what it sees.
class CameraLive {
  public:
    // The plan and the store must outlive it.
    CameraLive(const CameraSetup& setup, const RunPlan& plan, const StoreSink& store)
        : setup_(setup),
          plan_(plan),
          frames_(live_setup(setup.camera, plan, store)),
          link_(ChildProcess::kHandedFile + 1, frames_, setup.camera.name),
          floor_(*plan.source,
                 [&link = setup.link](const CameraMeasured& measured) { link.tell(measured); }) {}

    void before_frame() {
        if (!std::exchange(told_, true)) setup_.link.tell(about(setup_.camera, plan_));
        if (setup_.requests.measure.exchange(false)) floor_.begin();
    }
    // While nothing happens.
    void change() { frames_.change(plan_.regions); }

    LiveFrames& frames() { return frames_; }
    FloorMeasure& floor() { return floor_; }

  private:
    const CameraSetup& setup_;
    const RunPlan& plan_;
    LiveFrames frames_;
    LiveLink link_;
    FloorMeasure floor_;
    bool told_ = false;
};

// What becomes of settings that have changed.
class SettingsNotes final : public SettingsListener {
  public:
    SettingsNotes(const RunPlan& plan, StoreSink& store, CameraHealth& health, CameraLive& live,
                  const CameraSetup& setup)
        : plan_(plan),
          store_(store),
          health_(health),
          live_(live),
          link_(setup.link),
          requests_(setup.requests) {}

    void changed(double time_s) override {
        const SettingsAuthor by = requests_.settings_by();
        store_.change(time_s, {plan_.lines, plan_.regions,
                               settings_in_force_text(plan_.options, plan_.source->info()),
                               by.author, by.name});
        tell_places();
        link_.tell(CameraSettings{"counts with other settings", false});
    }

    void moved(double time_s) override {
        store_.change(time_s, {plan_.lines, plan_.regions, "", ""});
        tell_places();
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
    void tell_places() {
        health_.change(plan_.lines, plan_.regions);
        live_.change();
    }

    const RunPlan& plan_;
    StoreSink& store_;
    CameraHealth& health_;
    CameraLive& live_;
    ServiceLink& link_;
    const CameraRequests& requests_;
    bool refused_ = false;
    bool restarts_ = false;
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
    CameraLive live(setup, plan, store);
    SettingsNotes notes(plan, store, health, live, setup);
    SettingsSwitch settings(
        plan, setup.requests.read_settings, [&setup] { return camera_options(setup.camera); },
        notes);
    plan.heat_by_hour = true;
    plan.before_frame = [&](Session& session, double time_s) {
        link.count_taken();
        live.before_frame();
        settings.before_frame(session, time_s);
    };
    link.set_counting();
    return status_of(
        run(plan, {&settings, &store, &health, &live.frames(), &live.floor(), &beat}, setup.stop),
        notes);
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
    if (!setup.requests.read_settings.exchange(false)) return;
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
    settle_height(plan, setup.stop);
    const bool has_clock = plan.source->info().live;
    StoreSinkSetup kept = store_of(setup.file, setup.camera, plan, link);
    if (!has_clock) kept.start_us = begun.start_ms * 1000;
    kept.writer.store.settings = text;
    StoreSink store(kept);
    CameraHealth health(health_setup(plan, kept, store));
    note_end(begun, store);
    BeatSink beat(link, health);
    CameraLive live(setup, plan, store);
    SettingsNotes notes(plan, store, health, live, setup);
    Pace pace(plan.source->info().frames_per_second, begun.start_ms, setup.stop);
    if (!has_clock) {
        plan.pace = &pace;
        skip_to_present(*plan.source, begun.start_ms);
    }
    plan.heat_by_hour = true;
    plan.before_frame = [&](Session&, double) {
        link.count_taken();
        live.before_frame();
        read_site_again(setup, text, notes);
    };
    link.set_counting();
    return status_of(run(plan, {&store, &health, &live.frames(), &live.floor(), &beat}, setup.stop),
                     notes);
}

}  // namespace

int camera_process(const std::atomic<bool>& stop) {
    // Threads that share the work on a picture wait for it in a loop; the processors are for the
    // other cameras.
    cv::setNumThreads(1);
    CameraRequests requests;
    ServiceLink link(ChildProcess::kHandedFile);
    const ServiceFile file = parse_service_file(link.begun().text, link.begun().path);
    const ServiceCamera& camera = *find_camera(file, link.begun().camera);
    link.start([&requests](const CameraMessage& message) { requests.hear(message); });
    const StandardOutput nowhere("/dev/null");  // for what the library prints
    const CameraSetup setup{file, camera, link, requests, stop};
    return camera.in_cascade() ? run_device(setup) : run_camera(setup);
}

}  // namespace host
