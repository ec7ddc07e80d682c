// From the service where one runs, otherwise from databases.
#include "host/app/status_command.h"

#include <chrono>
#include <cstdio>

#include "host/base/exit_status.h"
#include "host/base/utc.h"
#include "host/net/http_client.h"
#include "host/report/output_folder.h"
#include "host/service/health.h"
#include "host/service/place.h"
#include "host/web/routes.h"

namespace host {
namespace {

ServiceHealth ask_service(const std::string& url) {
    constexpr std::chrono::seconds kPatience{10};
    const std::string base = url.ends_with('/') ? url.substr(0, url.size() - 1) : url;
    return parse_health(http_get(base + kHealthPath, kPatience).body);
}

std::vector<std::string> databases_of(const StatusOptions& options) {
    if (options.place_file.empty()) return options.stores;
    return databases_of(read_service_file(options.place_file));
}

int exit_status_of(HealthLevel level) {
    if (level == HealthLevel::kOk) return kExitOk;
    return level == HealthLevel::kDegraded ? kExitIncomplete : kExitFailure;
}

}  // namespace

int status_command(const StatusOptions& options) {
    const ServiceHealth health = options.url.empty()
                                     ? read_health(databases_of(options), utc_now_us())
                                     : ask_service(options.url);
    write_text(stdout, options.form == TextForm::kJson ? health_json(health) : health_text(health));
    return exit_status_of(health.level());
}

}  // namespace host
