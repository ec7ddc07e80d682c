// The link of one device of a site, made by the session that runs its library.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/link/link_figures.h"
#include "host/net/mqtt_client.h"
#include "host/settings/site.h"

namespace host {

class Bus;
struct Event;

class DeviceLink {
  public:
    virtual ~DeviceLink() = default;
    // Bus thread, every event of the library; does not wait.
    virtual void on_event(const Event& event) = 0;
    // Takes leave of the site; nothing reaches the library afterwards.
    virtual void stop() = 0;
    virtual LinkFigures figures() const = 0;
};

struct LinkSetup {
    const Site* site = nullptr;  // must outlive the link
    std::string device;
    MqttSettings broker;
    // One sentence for a person, on the link's threads.
    std::function<void(const std::string&)> report;
    std::function<std::int64_t()> frame_in_work;
};

// A master's link or a slave's. The library has to be up, and is sent messages until stop().
std::unique_ptr<DeviceLink> make_device_link(Bus& bus, const LinkSetup& setup);

}  // namespace host
