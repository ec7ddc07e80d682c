// Opening a camera's database to look into it.
#pragma once

#include <memory>
#include <string>

#include "host/store/database.h"

namespace host {

// Never null. Throws InputError for what is not such a database; StoreError.
std::unique_ptr<Database> open_to_read(const std::string& path);

}  // namespace host
