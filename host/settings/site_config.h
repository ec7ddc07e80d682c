// What the library of each device of a site is told, and what its camera sees.
#pragma once

#include <vector>

#include "host/frames/site_view.h"
#include "host/settings/site.h"
#include "vca/config.h"

namespace host {

// How a device counts: as part of the site, or each on its own for comparison.
enum class SiteRole { kTogether, kAlone };

// The lines in pixels of the master's picture, which they may extend beyond.
std::vector<CountingLine> master_lines(const Site& site);

// The parts of the lines over which a camera alone can follow people, in its own picture; the
// points of a line that it does not see, or less than 0.5 m of, are empty.
std::vector<CountingLine> own_lines(const Site& site, const SiteDevice& device);

// The regions likewise; a camera alone has those whose corners on the floor it sees completely; the
// points of the others are empty.
std::vector<CountingRegion> master_regions(const Site& site);
std::vector<CountingRegion> own_regions(const Site& site, const SiteDevice& device);

// A master gets the lines and regions of the site in its own picture's pixels, a slave none: it
// only follows people. A camera alone gets its own parts of them.
VCA_ALGO_CFG_S device_config(const Site& site, const SiteDevice& device, SiteRole role);

// What the simulator has to show to a device of a simulated site.
SiteViewSetup view_setup(const Site& site, const SiteDevice& device);

}  // namespace host
