// Entrances by their areas.
#include "host/service/place.h"

namespace host {
std::vector<std::string> databases_of(const ServiceFile& file) {
    std::vector<std::string> paths;
    for (const ServiceCamera& camera : file.cameras)
        paths.push_back(database_of(file, camera.name));
    return paths;
}

std::string place_database(const ServiceFile& file) {
    return database_of(file, kPlaceDevice);
}

std::string service_database(const ServiceFile& file) {
    return database_of(file, kServiceDatabase);
}

std::vector<std::string> webhook_names(const ServiceFile& file) {
    std::vector<std::string> names;
    for (const WebhookOptions& webhook : file.webhooks)
        names.push_back(webhook.name);
    return names;
}

std::vector<std::string> area_databases(const ServiceFile& file) {
    std::vector<std::string> paths = databases_of(file);
    paths.push_back(place_database(file));
    return paths;
}

std::vector<Door> doors_of(const ServiceFile& file) {
    std::vector<Door> doors;
    for (const ServiceEntrance& entrance : file.entrances)
        doors.push_back({entrance.line, entrance.in, entrance.camera});
    return doors;
}

std::vector<Area> areas_of(const ServiceFile& file) {
    std::vector<Area> areas;
    for (const ServiceArea& given : file.areas) {
        Area area{given.name,
                  {},
                  parse_time_of_day(given.reset.value, given.reset.place),
                  given.capacity};
        for (const ServiceEntrance& entrance : file.entrances) {
            if (entrance.area == given.name)
                area.doors.push_back({entrance.line, entrance.in, entrance.camera});
        }
        if (!area.doors.empty()) areas.push_back(std::move(area));
    }
    return areas;
}

std::vector<Area> watched_areas(const ServiceFile& file) {
    std::vector<Area> areas = areas_of(file);
    std::erase_if(areas, [](const Area& area) { return !area.capacity; });
    return areas;
}

}  // namespace host
