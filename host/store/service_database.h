// The service's own database, beside those of its cameras: who may log in, which cameras somebody
// has found to count right, and how its webhooks stand.
#pragma once

#include <memory>
#include <string>

#include "host/store/database.h"

namespace host {

// Opens or creates it and brings its tables to their newest form; only its owner may read the file.
// Never null. Throws ForeignDatabase and StoreError.
std::unique_ptr<Database> open_service_database(const std::string& path);

}  // namespace host
