// The link of one device of a site, made by the session that runs its library.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/engine/session.h"
#include "host/link/link_figures.h"
#include "host/net/mqtt_client.h"
#include "host/settings/site.h"

namespace host {

class DeviceLink : public Sink {
  public:
    // Leaves the site; nothing reaches the library afterwards. Call it before the library is
    // stopped.
    virtual void stop() = 0;
    virtual LinkFigures figures() const = 0;
};

struct LinkSetup {
    const Site* site = nullptr;  // must outlive the link
    std::string device;
    MqttSettings broker;
    // One sentence for a person; called on the link's threads.
    std::function<void(const std::string&)> report;
};

// A master's or a slave's link, not connected to a session yet: add it to the session's sinks. It
// sends messages to the library until stop().
std::unique_ptr<DeviceLink> make_device_link(Session& session, const LinkSetup& setup);

}  // namespace host
