// The run of one device of a site, prepared.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "host/app/run.h"
#include "host/link/device_link.h"
#include "host/settings/site.h"
#include "host/settings/site_config.h"
#include "host/settings/site_options.h"

namespace host {

// Opens the device's camera. The lines and regions are those that are counted by this device; a
// slave has none. `plan.link` is left empty. Throws InputError.
RunPlan device_plan(const Site& site, const SiteDevice& device, SiteRole role,
                    const std::atomic<bool>& stop);

// The link of the device with the others; the site must outlive it.
LinkSetup device_link(const Site& site, const SiteDevice& device,
                      const std::optional<BrokerAddress>& broker,
                      std::function<void(const std::string&)> report);

}  // namespace host
