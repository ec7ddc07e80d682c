// A thread that sleeps most of the time.
#include "host/service/pruning.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "host/base/utc.h"

namespace host {

Pruning::Pruning(Setup setup) : setup_(std::move(setup)), thread_([this] { work(); }) {}

Pruning::~Pruning() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

bool Pruning::wait(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, time, [this] { return stopping_; });
    return !stopping_;
}

void Pruning::work() {
    for (auto time = setup_.first; wait(time); time = setup_.every)
        for (const std::string& database : setup_.databases)
            prune_one(database);
}

// What could not be done today is done tomorrow.
void Pruning::prune_one(const std::string& database) {
    const auto stop = [this] {
        const std::lock_guard lock(mutex_);
        return stopping_;
    };
    // A camera that has not begun yet has none.
    if (stop() || !std::filesystem::exists(database)) return;
    try {
        for (const std::string& lost : prune(database, setup_.keep, utc_now_us(), stop).lost)
            setup_.tell(database + ": " + lost);
    } catch (const std::runtime_error& error) {
        setup_.tell(database + " cannot be pruned today: " + error.what());
    }
}

}  // namespace host
