// What the service answers over HTTP.
#pragma once

#include <functional>

#include "host/publish/metrics.h"
#include "host/service/health.h"
#include "host/web/api_sources.h"
#include "host/web/router.h"

namespace host {

inline constexpr const char* kHealthPath = "/healthz";
inline constexpr const char* kMetricsPath = "/metrics";

// Where the answers come from; called on any thread.
struct WebSources {
    std::function<ServiceHealth()> health;
    std::function<MetricsInput()> metrics;
    bool open_metrics = false;  // everybody may read them
    ApiSources api{};
};

Router make_routes(const WebSources& sources, Gate gate);

}  // namespace host
