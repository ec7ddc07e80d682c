// Databases, areas and addresses of a place.
#include "host/app/place_web.h"

#include "host/base/utc.h"
#include "host/service/place.h"

namespace host {
namespace {

MetricsInput metrics_input(const ServiceFile& file) {
    MetricsInput input;
    input.place = file.place;
    for (const std::string& database : databases_of(file))
        input.cameras.push_back({database, std::nullopt});
    input.areas = areas_of(file);
    input.time_zone = file.time_zone.value;
    input.now_us = utc_now_us();
    return input;
}

}  // namespace

WebSources web_sources(const ServiceFile& file) {
    return {[&file] { return read_health(databases_of(file), utc_now_us()); },
            [&file] { return metrics_input(file); }};
}

std::unique_ptr<HttpServer> open_web(const ServiceFile& file) {
    if (!file.web) return nullptr;
    const auto router = std::make_shared<const Router>(make_routes(web_sources(file)));
    return std::make_unique<HttpServer>(
        file.web->address, static_cast<std::uint16_t>(file.web->port), HttpLimits{},
        [router](const HttpRequest& request) { return router->answer(request); });
}

}  // namespace host
