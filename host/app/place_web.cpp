// Databases, areas and addresses of a place.
#include "host/app/place_web.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <utility>
#include <variant>

#include "host/base/file_stamp.h"
#include "host/base/input_error.h"
#include "host/base/utc.h"
#include "host/service/place.h"
#include "host/web/api_accounts.h"
#include "host/web/api_events.h"
#include "host/web/api_live.h"
#include "host/web/api_place.h"
#include "host/web/api_settings.h"
#include "host/web/gate.h"
#include "host/web/live_counts.h"
#include "host/web/page_files.h"

namespace host {
namespace {

// A full disk passes; until then nothing of it is lost.
void keep(Accounts& accounts) {
    try {
        accounts.keep();
    } catch (const StoreError&) {
        // The next second tries again.
    }
}

MetricsInput metrics_input(const LivePlace& place) {
    const auto file = place.file();
    MetricsInput input;
    input.now_us = utc_now_us();
    input.place = file->place;
    for (const ServiceCamera& camera : file->cameras)
        input.cameras.push_back(
            {database_of(*file, camera.name), place.camera(camera.name).figures});
    input.areas = areas_of(*file);
    input.place_database = place_database(*file);
    input.faults = place_faults(*file, input.now_us);
    input.time_zone = file->time_zone.value;
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

ApiSources api_sources(LivePlace& place, const Commissioning& commissioning) {
    ApiSources sources;
    sources.place = [&place] { return place.file(); };
    sources.now_us = utc_now_us;
    sources.health = [&place] { return place_health(*place.file(), utc_now_us()); };
    sources.look = [&place](const std::string& camera) {
        const LiveCamera live = place.camera(camera);
        CameraLook look;
        look.stand = live.stand;
        look.frames_per_second = live.frames_per_second;
        if (live.about) {
            look.width = live.about->width;
            look.height = live.about->height;
            look.colour = live.about->colour;
            look.model = live.about->model;
        }
        return look;
    };
    sources.commissioned = [&commissioning](const std::string& camera) {
        return commissioning.of(camera);
    };
    sources.commission = [&commissioning](const std::string& camera, const Commissioned& note) {
        commissioning.note(camera, note);
    };
    sources.note_settings = [&place](const std::string& camera, const std::string& text,
                                     const SettingsAuthor& by) {
        place.note_settings(camera, text, by);
    };
    sources.refusal = [&place](const std::string& camera) { return place.refusal(camera); };
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

// A stream outlives the request that opened it, but neither its session nor its token.
bool may_watch(const Gate& gate, const HttpRequest& request) {
    const auto caller = gate(request);
    const auto* const known = std::get_if<Caller>(&caller);
    return known != nullptr && known->role >= Role::kViewer;
}

LiveSources live_sources(LivePlace& place, const ApiSources& api, const Gate& gate) {
    constexpr std::size_t kAtOnce = 200;  // events
    LiveSources sources;
    sources.committed = [&place] { return committed_text(place); };
    sources.health = [api] { return health_json(api); };
    sources.counts = [api, &place] { return live_counts_json(api, regions_now(place)); };
    sources.settings = [api](const std::string& camera) { return settings_news(api, camera); };
    sources.events = [api](const std::optional<std::string>& after) {
        return events_after(api, after, kAtOnce);
    };
    sources.holds = [gate](const HttpRequest& request) { return may_watch(gate, request); };
    return sources;
}

WebSources web_sources(const LivePlace& place, const ApiSources& api) {
    return {api.health, [&place] { return metrics_input(place); }, place.file()->web->open_metrics,
            api};
}

}  // namespace

PlaceWeb::PlaceWeb(LivePlace& place, LivePictures& pictures)
    : web_(*place.file()->web),
      accounts_({service_database(*place.file())}),
      commissioning_(service_database(*place.file())),
      keeper_(std::chrono::seconds(1), [this] { keep(accounts_); }),
      gate_(make_gate(accounts_, {web_.address, web_.hosts})),
      api_(api_sources(place, commissioning_)),
      feed_(pictures, live_sources(place, api_, gate_)),
      server_(web_.address, static_cast<std::uint16_t>(web_.port), HttpLimits{},
              handler(place, pictures), web_.tls),
      certificate_(std::chrono::seconds(1), [this] { renew_certificate(); }) {}

PlaceWeb::~PlaceWeb() {
    feed_.end();
}

void PlaceWeb::renew_certificate() {
    if (!web_.tls.given()) return;
    const std::string now = file_stamp(web_.tls.certificate) + file_stamp(web_.tls.key);
    if (now == certificate_stamp_) return;
    certificate_stamp_ = now;
    try {
        server_.renew_certificate();
    } catch (const InputError& error) {
        std::fprintf(stderr, "%s; the certificate of before stays in use\n", error.what());
    }
}

HttpHandler PlaceWeb::handler(LivePlace& place, LivePictures& pictures) {
    const auto router = std::make_shared<Router>(make_routes(web_sources(place, api_), gate_));
    add_account_routes(*router, accounts_, [&place] { return place.file()->time_zone.value; });
    add_live_routes(*router, {place, pictures, feed_});
    add_page_routes(*router, page_folder());
    return [router](const HttpRequest& request) { return router->answer(request); };
}

std::string PlaceWeb::welcome() {
    ServiceWeb web = web_;
    web.port = server_.port();
    // A certificate is for a name.
    if (web.tls.given() && !web.hosts.empty()) web.address = web.hosts.front();
    if (web.on_every_address()) web.address = "localhost";
    std::string text = "the page: " + web_address(web) + "\n";
    if (const auto password = accounts_.first_password()) {
        text += std::string("log in as ") + kFirstUser + " with the one-time password " +
                *password + "\n";
    }
    return text;
}

}  // namespace host
