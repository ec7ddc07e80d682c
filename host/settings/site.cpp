// Who is who in a site.
#include "host/settings/site.h"

#include <algorithm>

namespace host {
namespace {

template <typename Fits>
const SiteDevice* find_if(const Site& site, Fits fits) {
    const auto found = std::find_if(site.devices.begin(), site.devices.end(), fits);
    return found == site.devices.end() ? nullptr : &*found;
}

}  // namespace

const SiteDevice& master_of(const Site& site) {
    const SiteDevice* master = find_if(site, [](const SiteDevice& d) { return d.master; });
    if (master == nullptr) throw InputError("the site \"" + site.name + "\" has no master");
    return *master;
}

bool is_simulated(const Site& site) {
    return std::all_of(site.devices.begin(), site.devices.end(),
                       [](const SiteDevice& device) { return device.is_simulated(); });
}

const SiteDevice* find_slave(const Site& site, int index) {
    return find_if(site, [index](const SiteDevice& d) { return !d.master && d.index == index; });
}

const SiteDevice* find_device(const Site& site, const std::string& name) {
    return find_if(site, [&name](const SiteDevice& d) { return d.name == name; });
}

}  // namespace host
