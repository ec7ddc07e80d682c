// One function for each page.
#include "host/web/routes.h"

#include <utility>

#include "host/web/api_answer.h"
#include "host/web/api_routes.h"

namespace host {
namespace {

// Whoever restarts what is unhealthy looks at the status alone: 503 is kept for what does not work.
// What exactly does not is told to those who may log in.
HttpResponse health_page(const ServiceHealth& health) {
    constexpr int kUnavailable = 503;
    HttpResponse response;
    if (health.level() == HealthLevel::kFailed) response.status = kUnavailable;
    response.type = kJsonType;
    response.body = health_level_json(health.level());
    return response;
}

HttpResponse metrics_page(const MetricsInput& input) {
    HttpResponse response;
    response.type = kMetricsType;
    response.body = metrics_text(input);
    return response;
}

}  // namespace

Router make_routes(const WebSources& sources, Gate gate) {
    Router router(std::move(gate));
    router.add("GET", kHealthPath, Role::kNobody,
               [ask = sources.health](const ApiCall&) { return health_page(ask()); });
    router.add("GET", kMetricsPath, sources.open_metrics ? Role::kNobody : Role::kViewer,
               [ask = sources.metrics](const ApiCall&) { return metrics_page(ask()); });
    add_api_routes(router, sources.api);
    return router;
}

}  // namespace host
