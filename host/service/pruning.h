// Removes once a day, in the background, what is too old to be kept.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/store/retention.h"

namespace host {

class Pruning {
  public:
    struct Setup {
        std::vector<std::string> databases;
        Retention keep;
        std::chrono::milliseconds first = std::chrono::minutes(10);  // after the start
        std::chrono::milliseconds every = std::chrono::hours(24);
        // What subscribers have lost by it, and databases that cannot be pruned now; one sentence
        // each, on a thread of its own.
        std::function<void(const std::string&)> tell;
    };

    explicit Pruning(Setup setup);
    // Ends within one small transaction.
    ~Pruning();
    Pruning(const Pruning&) = delete;
    Pruning& operator=(const Pruning&) = delete;

  private:
    void work();
    bool wait(std::chrono::milliseconds time);
    void prune_one(const std::string& database);

    const Setup setup_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace host
