// What the file of a place means for its databases.
#pragma once

#include <string>
#include <vector>

#include "host/settings/service_file.h"
#include "host/store/opening_hours.h"
#include "host/store/visitors.h"

namespace host {

// Of the cameras, in the order of the file.
std::vector<std::string> databases_of(const ServiceFile& file);
// Of what happens to the place as a whole, as a device of its own.
std::string place_database(const ServiceFile& file);

// Of the service itself: accounts, and how its webhooks stand.
std::string service_database(const ServiceFile& file);
std::vector<std::string> webhook_names(const ServiceFile& file);

// What people in areas are counted by: the databases of the cameras and of the place.
std::vector<std::string> area_databases(const ServiceFile& file);

// Lines of two cameras may have the same name, so that these doors name their camera.
std::vector<Door> doors_of(const ServiceFile& file);
// All areas that an entrance leads into.
std::vector<Area> areas_of(const ServiceFile& file);

// Those of them that have a capacity.
std::vector<Area> watched_areas(const ServiceFile& file);

}  // namespace host
