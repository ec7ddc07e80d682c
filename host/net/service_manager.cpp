// libsystemd's notifications.
#include "host/net/service_manager.h"

#include <systemd/sd-daemon.h>

#include <cstdlib>

namespace host {

ServiceManager::ServiceManager() : listens_(std::getenv("NOTIFY_SOCKET") != nullptr) {
    std::uint64_t time_us = 0;
    // Told three times in the time that the watchdog has, so that one may come late.
    if (sd_watchdog_enabled(0, &time_us) > 0) each_ = std::chrono::microseconds(time_us / 3);
}

// A manager that does not hear it is no reason to end.
void ServiceManager::ready() const {
    sd_notify(0, "READY=1");
}

void ServiceManager::status(const std::string& sentence) const {
    sd_notify(0, ("STATUS=" + sentence).c_str());
}

void ServiceManager::alive() {
    const auto now = Clock::now();
    if (each_ == Clock::duration{} || now < next_) return;
    next_ = now + each_;
    sd_notify(0, "WATCHDOG=1");
}

void ServiceManager::stopping() const {
    sd_notify(0, "STOPPING=1");
}

}  // namespace host
