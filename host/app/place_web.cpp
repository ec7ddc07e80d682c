// Databases, areas and addresses of a place.
#include "host/app/place_web.h"

#include "host/base/utc.h"
#include "host/service/place.h"
#include "host/web/api_events.h"
#include "host/web/api_live.h"
#include "host/web/api_place.h"
#include "host/web/live_counts.h"

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
    input.place_database = place_database(*file);
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

std::vector<RegionNow> regions_now(const LivePlace& place) {
    std::vector<RegionNow> regions;
    for (const ServiceCamera& camera : place.file()->cameras) {
        const auto figures = place.camera(camera.name).figures;
        if (!figures) continue;
        for (const RegionFigures& region : figures->regions)
            regions.push_back({camera.name, region.name, region.people, region.longest_stay_ms});
    }
    return regions;
}

LiveSources live_sources(const LivePlace& place) {
    constexpr std::size_t kAtOnce = 200;  // events
    const ApiSources api = api_sources(place);
    LiveSources sources;
    sources.committed = [&place] { return committed_text(place); };
    sources.health = [api] { return health_json(api); };
    sources.counts = [api, &place] { return live_counts_json(api, regions_now(place)); };
    sources.events = [api](const std::optional<std::string>& after) {
        return events_after(api, after, kAtOnce);
    };
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
    const ApiSources api = api_sources(place);
    return {api.health, [&place] { return metrics_input(place); }, api};
}

PlaceWeb::PlaceWeb(LivePlace& place, LivePictures& pictures)
    : feed_(pictures, live_sources(place)),
      server_(place.file()->web->address, static_cast<std::uint16_t>(place.file()->web->port),
              HttpLimits{}, handler(place, pictures, feed_)) {}

PlaceWeb::~PlaceWeb() {
    feed_.end();
}

}  // namespace host
