// A list that is looked through.
#include "host/web/router.h"

#include <utility>

namespace host {

void Router::add(const std::string& method, const std::string& path, HttpHandler handler) {
    routes_.push_back({method, path, std::move(handler)});
}

HttpResponse Router::answer(const HttpRequest& request) const {
    std::string allowed;
    for (const Route& route : routes_) {
        if (route.path != request.path) continue;
        if (route.method == request.method) return route.handler(request);
        allowed += (allowed.empty() ? "" : ", ") + route.method;
    }
    HttpResponse response;
    response.status = allowed.empty() ? 404 : 405;
    response.body = allowed.empty() ? "there is no such page\n" : "use " + allowed + "\n";
    if (!allowed.empty()) response.headers.emplace_back("Allow", allowed);
    return response;
}

}  // namespace host
