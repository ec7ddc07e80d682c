// Databases, areas and addresses of a place.
#include "host/app/place_web.h"

#include "host/base/utc.h"
#include "host/service/service_check.h"
#include "host/web/api_accounts.h"
#include "host/web/gate.h"

namespace host {
namespace {

constexpr const char* kServiceDatabase = "service";

std::vector<std::string> databases_of(const ServiceFile& file) {
    std::vector<std::string> paths;
    for (const ServiceCamera& camera : file.cameras)
        paths.push_back(database_of(file, camera.name));
    return paths;
}

// Lines of two cameras may have the same name, so that doors name their camera as well.
std::vector<Area> all_areas(const ServiceFile& file) {
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

// A full disk passes; until then nothing of it is lost.
void keep(Accounts& accounts) {
    try {
        accounts.keep();
    } catch (const StoreError&) {
        // The next second tries again.
    }
}

HttpHandler handler(const ServiceFile& file, Accounts& accounts) {
    Gate gate = make_gate(accounts, {file.web->address, file.web->hosts});
    const auto router = std::make_shared<Router>(make_routes(web_sources(file), std::move(gate)));
    add_account_routes(*router, accounts, file.time_zone.value);
    return [router](const HttpRequest& request) { return router->answer(request); };
}

MetricsInput metrics_input(const ServiceFile& file) {
    MetricsInput input;
    input.place = file.place;
    for (const std::string& database : databases_of(file))
        input.cameras.push_back({database, std::nullopt});
    input.areas = all_areas(file);
    input.time_zone = file.time_zone.value;
    input.now_us = utc_now_us();
    return input;
}

}  // namespace

WebSources web_sources(const ServiceFile& file) {
    return {[&file] { return read_health(databases_of(file), utc_now_us()); },
            [&file] { return metrics_input(file); }, file.web->open_metrics};
}

std::string service_database(const ServiceFile& file) {
    return database_of(file, kServiceDatabase);
}

PlaceWeb::PlaceWeb(const ServiceFile& file)
    : file_(file),
      accounts_({service_database(file)}),
      keeper_(std::chrono::seconds(1), [this] { keep(accounts_); }),
      server_(file.web->address, static_cast<std::uint16_t>(file.web->port), HttpLimits{},
              handler(file, accounts_)) {}

std::string PlaceWeb::welcome() {
    ServiceWeb web = *file_.web;
    web.port = server_.port();
    if (web.on_every_address()) web.address = "localhost";
    std::string text = "the page: " + web_address(web) + "\n";
    if (const auto password = accounts_.first_password()) {
        text += std::string("log in as ") + kFirstUser + " with the one-time password " +
                *password + "\n";
    }
    return text;
}

}  // namespace host
