// Which databases a command reads.
#pragma once

#include <string>
#include <vector>

#include "host/settings/service_file.h"

namespace host {

// Those of a place that are there, with the one of the place itself; says on standard error which
// cameras have none yet. Throws InputError when there are none at all.
std::vector<std::string> stores_of(const ServiceFile& file);

struct GivenStores {
    std::vector<std::string> stores;
    std::string time_zone;
};
// Those that were named, or those of the place whose file was.
GivenStores given_stores(const std::vector<std::string>& stores, const std::string& place_file,
                         const std::string& time_zone);

}  // namespace host
