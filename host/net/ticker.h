// Calls a function repeatedly on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace host {

class Ticker {
  public:
    Ticker(std::chrono::milliseconds period, std::function<void()> tick)
        : thread_([this, period, tick = std::move(tick)](const std::stop_token& stop) {
              std::unique_lock lock(mutex_);
              while (!stop.stop_requested()) {
                  tick();
                  stopped_.wait_for(lock, stop, period, [] { return false; });
              }
          }) {}
    // Returns when the function is no longer running.
    ~Ticker() = default;
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

  private:
    std::mutex mutex_;
    std::condition_variable_any stopped_;
    std::jthread thread_;
};

}  // namespace host
