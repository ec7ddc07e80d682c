// Databases, areas and addresses of a place.
#include "host/app/place_web.h"

#include "host/base/utc.h"
#include "host/service/place.h"
#include "host/web/api_live.h"

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

// Numbers of what is safe, camera by camera.
std::string committed_text(const LivePlace& place) {
    std::string text;
    for (const ServiceCamera& camera : place.file()->cameras) {
        const CameraCommitted last = place.camera(camera.name).committed;
        text += last.epoch + ' ' + std::to_string(last.sequence) + '\n';
    }
    return text;
}

LiveSources live_sources(const LivePlace& place) {
    LiveSources sources;
    sources.committed = [&place] { return committed_text(place); };
    return sources;
}

HttpHandler handler(LivePlace& place, LivePictures& pictures, LiveFeed& feed) {
    const auto router = std::make_shared<Router>(
        // Whoever is on this machine.
        make_routes(web_sources(place), [](const HttpRequest&) {
            return Caller{Role::kAdmin, ""};
        }));
    add_live_routes(*router, {place, pictures, feed});
    return [router](const HttpRequest& request) { return router->answer(request); };
}

}  // namespace

WebSources web_sources(const LivePlace& place) {
    return {[&place] { return read_health(databases_of(*place.file()), utc_now_us()); },
            [&place] { return metrics_input(place); }};
}

PlaceWeb::PlaceWeb(LivePlace& place, LivePictures& pictures)
    : feed_(pictures, live_sources(place)),
      server_(place.file()->web->address, static_cast<std::uint16_t>(place.file()->web->port),
              HttpLimits{}, handler(place, pictures, feed_)) {}

PlaceWeb::~PlaceWeb() {
    feed_.end();
}

}  // namespace host
