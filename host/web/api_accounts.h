// Sessions, users and tokens over the API.
#pragma once

#include <string>

#include "host/web/accounts.h"

namespace host {

// Times are told by the clock of this time zone; empty for the machine's. The accounts must outlive
// the routes. Throws InputError for a time zone that is not known.
void add_account_routes(Router& router, Accounts& accounts, const std::string& time_zone);

}  // namespace host
