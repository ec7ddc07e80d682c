// Which lines and regions a database has, and which faults are said aloud.
#include "host/app/plan_store.h"

#include <cstdio>
#include <filesystem>

#include "host/base/text.h"
#include "host/base/wall_clock.h"
#include "host/settings/record_options.h"
#include "host/store/store_reader.h"

namespace host {
namespace {

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

}  // namespace

StoreSinkSetup store_setup(const RunPlan& plan, const std::string& path) {
    const SourceInfo& info = plan.source->info();
    StoreSinkSetup setup;
    setup.start_us = info.start_us;
    if (info.live) setup.clock_synchronised = clock_synchronised;
    setup.frames_per_second = info.frames_per_second;
    setup.regions = plan.regions;
    setup.names = story_names(plan);
    StoreSetup& store = setup.writer.store;
    store.path = path;
    store.device = std::filesystem::path(path).stem().string();
    store.lines = setup.names.lines;
    store.regions = setup.names.regions;
    store.settings = settings_in_force_text(plan.options, info);
    setup.writer.told = tell_on_stderr;
    return setup;
}

CameraHealthSetup health_setup(const RunPlan& plan, const StoreSinkSetup& from, StoreSink& store) {
    const SourceInfo& info = plan.source->info();
    CameraHealthSetup setup;
    setup.frames_per_second = info.frames_per_second;
    setup.camera = info.camera;
    setup.lines = plan.lines;
    setup.regions = plan.regions;
    setup.counts_merged = from.names.counts_merged;
    if (info.live) {
        setup.late_frames = [source = plan.source.get()] {
            const auto figures = source->live_figures();
            return figures ? figures->late : 0;
        };
    } else if (plan.pace != nullptr) {
        setup.late_frames = [pace = plan.pace] { return pace->figures().late; };
    }
    setup.clock_synchronised = from.clock_synchronised;
    setup.time_us = [&store](double time_s) { return store.time_us(time_s); };
    setup.tell = [&store](const HealthNote& note) {
        store.note(note);
        if (is_of_camera_alone(note.fault)) tell_on_stderr(note);
    };
    setup.left_open = left_open(from.writer.store.path);
    return setup;
}

}  // namespace host
