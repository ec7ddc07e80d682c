// Whether the file of a place makes sense, and what it means for its databases.
#pragma once

#include <string>
#include <vector>

#include "host/settings/service_file.h"
#include "host/store/retention.h"
#include "host/store/visitors.h"

namespace host {

// Throws InputError for what cannot work: in the file, in the settings of its cameras, in a
// recording or scene that is not there.
void check_service(const ServiceFile& file);

// The file in words, with what is probably unintended; check_service() has passed it.
std::string describe_service(const ServiceFile& file);

// The areas that only this camera's lines lead to.
std::vector<Area> areas_of(const ServiceFile& file, const std::string& camera);

Retention retention_of(const KeptDays& days);

}  // namespace host
