// From the service where one runs, otherwise from databases.
#include "host/app/status_command.h"

#include <chrono>
#include <cstdio>

#include "host/base/exit_status.h"
#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/base/utc.h"
#include "host/net/http_client.h"
#include "host/report/output_folder.h"
#include "host/service/health.h"
#include "host/web/routes.h"

namespace host {
namespace {

// Without logging in a service tells no more than how it is.
HealthLevel ask_service(const StatusOptions& options) {
    constexpr std::chrono::seconds kPatience{10};
    if (const std::string why = why_unreadable(options.ca_file);
        !options.ca_file.empty() && !why.empty())
        throw InputError("cannot read \"" + options.ca_file + "\": " + why);
    const std::string& url = options.url;
    const bool has_end = url.ends_with('/') && !url.ends_with("//");
    const std::string base = has_end ? url.substr(0, url.size() - 1) : url;
    const HealthLevel level =
        parse_health_level(http_get(base + kHealthPath, kPatience, options.ca_file).body);
    write_text(stdout, options.form == TextForm::kJson
                           ? health_level_json(level)
                           : std::string(health_level_name(level)) + "\n");
    return level;
}

HealthLevel read_databases(const StatusOptions& options) {
    const std::int64_t now_us = utc_now_us();
    const ServiceHealth health = options.place_file.empty()
                                     ? read_health(options.stores, now_us)
                                     : place_health(read_service_file(options.place_file), now_us);
    write_text(stdout, options.form == TextForm::kJson ? health_json(health) : health_text(health));
    return health.level();
}

int exit_status_of(HealthLevel level) {
    if (level == HealthLevel::kOk) return kExitOk;
    return level == HealthLevel::kDegraded ? kExitIncomplete : kExitFailure;
}

}  // namespace

int status_command(const StatusOptions& options) {
    return exit_status_of(options.url.empty() ? read_databases(options) : ask_service(options));
}

}  // namespace host
