// Opening of those that are there.
#include "host/store/store_readers.h"

#include <algorithm>
#include <filesystem>

namespace host {

void StoreReaders::open() {
    if (std::any_of(stores_.begin(), stores_.end(),
                    [](const StoreReader& store) { return store.replaced(); }))
        stores_.clear();
    std::error_code error;
    for (const std::string& path : paths_)
        if (!is_open(path) && std::filesystem::exists(path, error)) stores_.emplace_back(path);
}

std::vector<std::int64_t> StoreReaders::versions() const {
    std::vector<std::int64_t> versions;
    for (const StoreReader& store : stores_)
        versions.push_back(store.version());
    return versions;
}

bool StoreReaders::is_open(const std::string& path) const {
    return std::any_of(stores_.begin(), stores_.end(),
                       [&path](const StoreReader& store) { return store.path() == path; });
}

}  // namespace host
