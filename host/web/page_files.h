// The page itself: a few files that are read when the service starts, so that no address of a
// request ever reaches the file system.
#pragma once

#include <string>

#include "host/web/router.h"

namespace host {

// The folder with the page: installed with the program, or built beside it. Empty when there is
// none.
std::string page_folder();

// Answers with the page of this folder to everybody: there is nothing secret in it, and whoever
// logs in needs it. Without a folder "/" says how to come by a page. Throws InputError when a file
// of the folder cannot be read.
void add_page_routes(Router& router, const std::string& folder);

}  // namespace host
