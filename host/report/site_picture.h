// The floor of a site with the paths of the merged objects.
#pragma once

#include <string>

#include "host/score/site_eval.h"

namespace host {

// The plan of the floor with the merged trails before the frame with the most objects, and the
// counts. Throws std::runtime_error when the file cannot be written.
void write_site_picture(const Site& site, const SiteResult& result, const std::string& path);

}  // namespace host
