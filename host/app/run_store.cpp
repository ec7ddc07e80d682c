// Which lines and regions a database has, and who is told of what is safe in it.
#include "host/app/run_store.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/base/text.h"
#include "host/settings/record_options.h"
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

}  // namespace

std::unique_ptr<Sink> open_run_store(const RunPlan& plan) {
    const RunOptions& options = plan.options;
    if (options.store.empty()) return nullptr;
    const SourceInfo& info = plan.source->info();
    StoreSinkSetup setup;
    setup.start_us = info.start_us;
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
    setup.writer.told = [](const HealthNote& note) {
        std::fprintf(stderr, "vca: %s\n", visible(note.text).c_str());
    };
    return std::make_unique<StoreSink>(setup);
}

}  // namespace host
