// Whether the file of a place makes sense.
#pragma once

#include <string>
#include <vector>

#include "host/settings/service_file.h"

namespace host {

// Throws InputError for what cannot work: in the file, in the settings of its cameras, in a
// recording or scene that is not there.
void check_service(const ServiceFile& file);

// The file in words, with what is probably unintended; check_service() has passed it.
std::string describe_service(const ServiceFile& file);

// Whether all devices of a site are cameras of the place, which then has a broker of its own for
// them.
bool is_whole_cascade(const ServiceFile& file, const std::string& site);
bool has_whole_cascade(const ServiceFile& file);

}  // namespace host
