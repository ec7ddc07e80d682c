// Databases of a place, by its file.
#include "host/app/place_stores.h"

#include <cstdio>
#include <filesystem>

#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/service/place.h"

namespace host {

std::vector<std::string> stores_of(const ServiceFile& file) {
    std::error_code error;
    std::vector<std::string> stores;
    for (const ServiceCamera& camera : file.cameras) {
        std::string path = database_of(file, camera.name);
        if (std::filesystem::exists(path, error)) {
            stores.push_back(std::move(path));
        } else {
            std::fprintf(stderr, "vca: camera \"%s\" has no database yet\n",
                         visible(camera.name).c_str());
        }
    }
    if (stores.empty()) {
        throw InputError("there are no databases in \"" + file.folder + "\"; vca serve makes them");
    }
    std::string place = place_database(file);
    if (std::filesystem::exists(place, error)) stores.push_back(std::move(place));
    return stores;
}

GivenStores given_stores(const std::vector<std::string>& stores, const std::string& place_file,
                         const std::string& time_zone) {
    if (place_file.empty()) return {stores, time_zone};
    const ServiceFile file = read_service_file(place_file);
    return {stores_of(file), time_zone.empty() ? file.time_zone.value : time_zone};
}

}  // namespace host
