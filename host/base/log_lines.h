// Lines on standard error for whoever runs a service: each whole, none too long, not too many, and
// with its priority where the system's journal reads them.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>

namespace host {

// The numbers are those of syslog.
enum class LogLevel { kError = 3, kWarning = 4, kNews = 6 };

// One sentence about something, such as a camera; about the place when that is empty.
using Say =
    std::function<void(LogLevel level, const std::string& about, const std::string& sentence)>;

// "<3>" where standard error is the journal's; empty elsewhere.
std::string log_prefix(LogLevel level);

class LogLines {
  public:
    static constexpr std::size_t kMostCharacters = 1000;  // of a sentence
    static constexpr std::size_t kMostLines = 200;        // in a minute

    explicit LogLines(std::chrono::milliseconds minute = std::chrono::minutes(1))
        : minute_(minute) {}
    // Any thread. What is too much in a minute is left out, and said when that is over.
    void write(LogLevel level, const std::string& about, const std::string& sentence);

  private:
    using Clock = std::chrono::steady_clock;
    const std::chrono::milliseconds minute_;
    std::mutex mutex_;
    Clock::time_point since_{};
    std::size_t lines_ = 0;
};

}  // namespace host
