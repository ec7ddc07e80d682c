// What the system's manager of services is told of this one, where it wants to know.
#pragma once

#include <chrono>
#include <string>

namespace host {

class ServiceManager {
  public:
    ServiceManager();

    // Whether somebody listens.
    bool listens() const { return listens_; }
    // All that was to be started has been.
    void ready() const;
    // How it is, in a sentence.
    void status(const std::string& sentence) const;
    // The main loop turns. Call it at each turn: it is told as often as the manager's watchdog
    // needs, and a service of which nothing is heard is started again.
    void alive();
    void stopping() const;

  private:
    using Clock = std::chrono::steady_clock;
    bool listens_ = false;
    Clock::duration each_{};  // 0: no watchdog
    Clock::time_point next_{};
};

}  // namespace host
