// Whether a site makes sense: its devices, and what they see of its lines and regions.
#pragma once

#include <string>
#include <vector>

#include "host/settings/site.h"

namespace host {

// Throws InputError for what cannot work; `file` names the site where no line of it can be named.
void check_site(const Site& site, const std::string& file);

// What works but is probably unintended, one sentence each.
std::vector<std::string> site_warnings(const Site& site);

// What a site file says in words, with its warnings; read_site_file() has checked it.
std::string describe_site(const Site& site);

}  // namespace host
