// Databases, areas and addresses of a place.
#include "host/app/place_web.h"

#include "host/base/utc.h"
#include "host/service/place.h"

namespace host {
namespace {

MetricsInput metrics_input(const LivePlace& place) {
    const auto file = place.file();
    MetricsInput input;
    input.place = file->place;
    for (const ServiceCamera& camera : file->cameras)
        input.cameras.push_back(
            {database_of(*file, camera.name), place.camera(camera.name).figures});
    input.areas = areas_of(*file);
    input.time_zone = file->time_zone.value;
    input.now_us = utc_now_us();
    return input;
}

ApiSources api_sources(const LivePlace& place) {
    ApiSources sources;
    sources.place = [&place] { return place.file(); };
    sources.now_us = utc_now_us;
    sources.health = [&place] { return read_health(databases_of(*place.file()), utc_now_us()); };
    sources.look = [&place](const std::string& camera) {
        const LiveCamera live = place.camera(camera);
        CameraLook look;
        look.stand = live.stand;
        look.frames_per_second = live.frames_per_second;
        return look;
    };
    sources.commissioned = [](const std::string&) { return std::nullopt; };
    return sources;
}

}  // namespace

WebSources web_sources(const LivePlace& place) {
    const ApiSources api = api_sources(place);
    return {api.health, [&place] { return metrics_input(place); }, api};
}

std::unique_ptr<HttpServer> open_web(const LivePlace& place) {
    const auto file = place.file();
    if (!file->web) return nullptr;
    const auto router = std::make_shared<const Router>(make_routes(web_sources(place)));
    return std::make_unique<HttpServer>(
        file->web->address, static_cast<std::uint16_t>(file->web->port), HttpLimits{},
        [router](const HttpRequest& request) { return router->answer(request); });
}

}  // namespace host
