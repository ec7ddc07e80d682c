// Sessions, users and tokens over the API.
#pragma once

#include <string>

#include "host/web/accounts.h"

namespace host {

// Times are told by the clock of the time zone that is in force; empty for the machine's. The
// accounts must outlive the routes.
void add_account_routes(Router& router, Accounts& accounts,
                        const std::function<std::string()>& time_zone);

}  // namespace host
