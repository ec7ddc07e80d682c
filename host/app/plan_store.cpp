// Which lines and regions a database has.
#include "host/app/plan_store.h"

#include <cstdio>
#include <filesystem>

#include "host/base/text.h"
#include "host/settings/record_options.h"

namespace host {

StoreSinkSetup store_setup(const RunPlan& plan, const std::string& path) {
    const SourceInfo& info = plan.source->info();
    StoreSinkSetup setup;
    setup.start_us = info.start_us;
    setup.frames_per_second = info.frames_per_second;
    setup.regions = plan.regions;
    setup.names = story_names(plan);
    StoreSetup& store = setup.writer.store;
    store.path = path;
    store.device = std::filesystem::path(path).stem().string();
    store.lines = setup.names.lines;
    store.regions = setup.names.regions;
    store.settings = recorded_settings_text(plan.options, info);
    setup.writer.told = [](const HealthNote& note) {
        std::fprintf(stderr, "vca: %s\n", visible(note.text).c_str());
    };
    return setup;
}

}  // namespace host
