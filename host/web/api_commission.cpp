// Noted for good only when every walk was counted.
#include "host/web/api_commission.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/web/api_answer.h"
#include "host/web/place_reader.h"
#include "host/web/query.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

struct Walks {
    std::string line;
    int walked = 0;
    int counted = 0;
};

Walks walks_of(const HttpRequest& request) {
    try {
        const Json json = json_body(request);
        return {json.at("line"), json.at("walked"), json.at("counted")};
    } catch (const Json::exception&) {
        throw ApiError(kBadRequest,
                       "walks are {\"line\": text, \"walked\": number, \"counted\": number}");
    }
}

HttpResponse commission_answer(const ApiSources& sources, const ApiCall& call) {
    constexpr int kNoContent = 204;
    constexpr int kMostWalks = 1000;
    const Query query(call.request, {});
    const PlaceReader place(sources);
    const ServiceCamera& camera = place.camera(call.names.at("camera"));
    const Walks walks = walks_of(call.request);
    const auto lines = place.lines_of(camera.name);
    if (std::find(lines.begin(), lines.end(), walks.line) == lines.end())
        throw ApiError(kBadRequest,
                       "the camera \"" + camera.name + "\" has no line \"" + walks.line + "\"");
    if (walks.walked < 1 || walks.walked > kMostWalks)
        throw ApiError(kBadRequest, "\"walked\" is not from 1 to 1000");
    if (walks.counted != walks.walked)
        throw ApiError(kBadRequest, std::to_string(walks.counted) + " of " +
                                        std::to_string(walks.walked) + " walks were counted");
    sources.commission(camera.name, {place.now_us(), call.caller.name, walks.line, walks.walked});
    HttpResponse response;
    response.status = kNoContent;
    return response;
}

}  // namespace

void add_commission_route(Router& router, const ApiSources& sources) {
    router.add("PUT", "/api/v1/cameras/{camera}/commissioned", Role::kOperator,
               [sources](const ApiCall& call) { return commission_answer(sources, call); });
}

}  // namespace host
