// Whether a site makes sense: its devices, and what they see of its lines and regions.
#pragma once

#include <string>
#include <vector>

#include "host/app/site.h"

namespace host {

// Throws InputError for what cannot work; `file` names the site where no line of it can be named.
void check_site(const Site& site, const std::string& file);

// What works but is hardly meant, one sentence each.
std::vector<std::string> site_warnings(const Site& site);

// The command `vca site check`: reads the file, draws its plan (unless `plan_path` is empty), and
// gives what there is to say. Throws InputError for a file that is not sound.
std::string check_site_file(const std::string& path, const std::string& plan_path);

}  // namespace host
