// Which lines and regions a database has, and who is told of what is safe in it.
#include "host/app/run_store.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/base/text.h"
#include "host/base/wall_clock.h"
#include "host/settings/record_options.h"
#include "host/sinks/camera_health.h"
#include "host/sinks/store_sink.h"

namespace host {
namespace {

// A line for each transaction, whole before the next one begins.
class CommitLog {
  public:
    explicit CommitLog(const std::string& path) : path_(path) {
        if (path_.empty()) return;
        out_.open(path_, std::ios::app);
        if (!out_) throw InputError("--store-log: cannot write \"" + path_ + "\"");
    }

    void add(const Committed& done) {
        if (path_.empty()) return;
        out_ << nlohmann::ordered_json{{"epoch", done.epoch}, {"sequence", done.sequence}}.dump()
             << std::endl;
        if (!out_) std::fprintf(stderr, "vca: cannot write \"%s\"\n", visible(path_).c_str());
        out_.clear();
    }

  private:
    std::string path_;
    std::ofstream out_;
};

void tell_on_stderr(const HealthNote& note) {
    std::fprintf(stderr, "vca: %s\n", visible(note.text).c_str());
}

// The others a live input says itself.
bool is_of_camera_alone(const std::string& fault) {
    return fault == camera_fault::kCovered || fault == camera_fault::kMoved ||
           fault == camera_fault::kLate;
}

// What an earlier run has left open, where that can be read.
std::vector<HealthNote> left_open(const std::string& database) {
    try {
        return StoreReader(database).open_faults();
    } catch (const std::runtime_error&) {
        return {};
    }
}

StoreSinkSetup store_setup(const RunPlan& plan) {
    const RunOptions& options = plan.options;
    const SourceInfo& info = plan.source->info();
    StoreSinkSetup setup;
    setup.start_us = info.start_us;
    if (info.live) setup.clock_synchronised = clock_synchronised;
    setup.frames_per_second = info.frames_per_second;
    setup.regions = plan.regions;
    setup.names = story_names(plan);
    StoreSetup& store = setup.writer.store;
    store.path = options.store;
    store.device = std::filesystem::path(options.store).stem().string();
    store.lines = setup.names.lines;
    store.regions = setup.names.regions;
    store.settings = recorded_settings_text(options, info);
    store.author = "vca run";
    const auto log = std::make_shared<CommitLog>(options.store_log);
    setup.writer.committed = [log](const Committed& done) { log->add(done); };
    setup.writer.told = tell_on_stderr;
    return setup;
}

CameraHealthSetup health_setup(const RunPlan& plan, const StoreSinkSetup& from, StoreSink& store) {
    const SourceInfo& info = plan.source->info();
    CameraHealthSetup setup;
    setup.frames_per_second = info.frames_per_second;
    setup.camera = info.camera;
    setup.regions = from.names.regions;
    setup.clock_synchronised = from.clock_synchronised;
    setup.time_us = [&store](double time_s) { return store.time_us(time_s); };
    setup.tell = [&store](const HealthNote& note) {
        store.add_health(note);
        if (is_of_camera_alone(note.fault)) tell_on_stderr(note);
    };
    setup.left_open = left_open(plan.options.store);
    return setup;
}

}  // namespace

std::vector<std::unique_ptr<Sink>> open_run_store(const RunPlan& plan) {
    std::vector<std::unique_ptr<Sink>> sinks;
    if (plan.options.store.empty()) return sinks;
    const StoreSinkSetup setup = store_setup(plan);
    auto store = std::make_unique<StoreSink>(setup);
    auto health = std::make_unique<CameraHealth>(health_setup(plan, setup, *store));
    sinks.push_back(std::move(store));
    sinks.push_back(std::move(health));
    return sinks;
}

}  // namespace host
