// Transactions by the clock on the wall, and events by the clock of the scene, which begins at a
// known moment.
#include "bench/chain_commits.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>

#include "host/app/plan_store.h"
#include "host/store/store_reader.h"

namespace bench {
namespace {

constexpr std::int64_t kUntilStart_ms = 500;  // for the library to come up
constexpr int kMostEvents = 100'000;

double wall_ms() {
    return std::chrono::duration<double, std::milli>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

struct Commit {
    std::int64_t sequence = 0;
    double at_ms = 0.0;
};

class CommitTimes {
  public:
    void add(const host::Committed& done) {
        const std::lock_guard lock(mutex_);
        commits_.push_back({done.sequence, wall_ms()});
    }

    // Of the transaction with this event. Throws std::runtime_error.
    double of(std::int64_t sequence) const {
        const auto with_it =
            std::find_if(commits_.begin(), commits_.end(),
                         [sequence](const Commit& c) { return c.sequence >= sequence; });
        if (with_it == commits_.end()) throw std::runtime_error("an event was not committed");
        return with_it->at_ms;
    }

  private:
    std::mutex mutex_;
    std::vector<Commit> commits_;
};

}  // namespace

std::vector<double> run_at_pace(host::RunPlan& plan, const std::vector<host::Sink*>& sinks) {
    const std::string& path = plan.options.store;
    const std::atomic<bool> never{false};
    CommitTimes times;
    double start_ms = 0.0;
    {
        host::StoreSinkSetup setup = host::store_setup(plan, path);
        setup.writer.committed = [&times](const host::Committed& done) { times.add(done); };
        host::StoreSink store(setup);
        host::CameraHealth health(host::health_setup(plan, setup, store));
        std::vector<host::Sink*> all{&store, &health};
        all.insert(all.end(), sinks.begin(), sinks.end());
        const std::int64_t start_at_ms = static_cast<std::int64_t>(wall_ms()) + kUntilStart_ms;
        start_ms = static_cast<double>(start_at_ms);
        host::Pace pace(plan.source->info().frames_per_second, start_at_ms, never);
        plan.pace = &pace;
        host::run(plan, all, never);
        plan.pace = nullptr;
    }
    const host::StoreReader reader(path);
    std::vector<double> waits_ms;
    for (const host::ToldEvent& event : reader.newest_counts(reader.last(), kMostEvents)) {
        if (event.kind != host::event_kind_name(host::EventKind::kCrossing)) continue;
        const double scene_ms =
            1e-3 * static_cast<double>(event.time_us - plan.source->info().start_us);
        waits_ms.push_back(times.of(event.number.sequence) - (start_ms + scene_ms));
    }
    return waits_ms;
}

}  // namespace bench
