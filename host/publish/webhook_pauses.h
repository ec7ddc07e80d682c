// When a receiver is tried again that has not taken a message.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <vector>

namespace host {

// After each failure in a row the next of these pauses, then the last one again and again: a
// receiver that comes back waits for an hour at most.
inline constexpr std::array kWebhookPauses{
    std::chrono::seconds{5},       std::chrono::seconds{30},      std::chrono::seconds{2 * 60},
    std::chrono::seconds{10 * 60}, std::chrono::seconds{30 * 60}, std::chrono::seconds{60 * 60}};

class WebhookPauses {
  public:
    using Clock = std::chrono::steady_clock;

    explicit WebhookPauses(std::vector<std::chrono::milliseconds> pauses);
    static std::vector<std::chrono::milliseconds> usual();

    bool over(Clock::time_point now) const { return now >= next_; }
    void fail(Clock::time_point now);
    void succeed();
    // How often in a row.
    std::size_t failures() const { return failures_; }
    // How long it has been failing.
    Clock::duration lasts(Clock::time_point now) const;

  private:
    std::vector<std::chrono::milliseconds> pauses_;
    std::size_t failures_ = 0;
    Clock::time_point first_{};
    Clock::time_point next_{};
};

}  // namespace host
