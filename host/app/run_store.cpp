// Who is told of what is safe in a run's database.
#include "host/app/run_store.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/app/plan_store.h"
#include "host/base/text.h"

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

std::vector<std::unique_ptr<Sink>> open_run_store(const RunPlan& plan) {
    std::vector<std::unique_ptr<Sink>> sinks;
    const RunOptions& options = plan.options;
    if (options.store.empty()) return sinks;
    StoreSinkSetup setup = store_setup(plan, options.store);
    setup.writer.store.author = "vca run";
    const auto log = std::make_shared<CommitLog>(options.store_log);
    setup.writer.committed = [log](const Committed& done) { log->add(done); };
    auto store = std::make_unique<StoreSink>(setup);
    auto health = std::make_unique<CameraHealth>(health_setup(plan, setup, *store));
    sinks.push_back(std::move(store));
    sinks.push_back(std::move(health));
    return sinks;
}

}  // namespace host
