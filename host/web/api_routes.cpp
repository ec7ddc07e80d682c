// A line for each.
#include "host/web/api_routes.h"

#include "host/web/api_commission.h"
#include "host/web/api_events.h"
#include "host/web/api_history.h"
#include "host/web/api_people.h"
#include "host/web/api_place.h"
#include "host/web/api_schema.h"
#include "host/web/api_settings.h"

namespace host {
namespace {

const std::string kRoot = "/api/v1/";
const std::string kCamera = kRoot + "cameras/{camera}/";

}  // namespace

void add_api_routes(Router& router, const ApiSources& sources) {
    using Answer = HttpResponse (*)(const ApiSources&, const HttpRequest&);
    const auto get = [&](const std::string& path, Answer answer) {
        router.add("GET", kRoot + path, Role::kViewer, [sources, answer](const ApiCall& call) {
            return answer(sources, call.request);
        });
    };
    get("place", place_answer);
    get("health", health_answer);
    get("counts", counts_answer);
    get("regions", regions_answer);
    get("areas", areas_answer);
    get("visitors", visitors_answer);
    get("events", events_answer);
    get("people", person_answer);
    router.add("GET", kCamera + "heat", Role::kViewer, [sources](const ApiCall& call) {
        return heat_answer(sources, call.names.at("camera"), call.request);
    });
    add_settings_routes(router, sources);
    add_schema_route(router, sources);
    add_commission_route(router, sources);
}

}  // namespace host
