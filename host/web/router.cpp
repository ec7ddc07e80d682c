// A list that is looked through.
#include "host/web/router.h"

#include <optional>
#include <utility>

#include "host/base/input_error.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

std::vector<std::string> parts_of(const std::string& path) {
    std::vector<std::string> parts(1);
    for (const char c : path) {
        if (c == '/') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

bool is_name(const std::string& part) {
    return part.size() > 2 && part.front() == '{' && part.back() == '}';
}

// The names in the path; nothing when it is another path.
std::optional<std::map<std::string, std::string>> match(const std::string& pattern,
                                                        const std::string& path) {
    const std::vector<std::string> wanted = parts_of(pattern);
    const std::vector<std::string> given = parts_of(path);
    if (wanted.size() != given.size()) return std::nullopt;
    std::map<std::string, std::string> names;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (is_name(wanted[i])) {
            const auto text = percent_decoded(given[i]);
            if (!text || text->empty()) return std::nullopt;
            names[wanted[i].substr(1, wanted[i].size() - 2)] = *text;
        } else if (wanted[i] != given[i]) {
            return std::nullopt;
        }
    }
    return names;
}

HttpResponse refuse(Role caller) {
    if (caller == Role::kNobody) return error_answer(401, "Please log in.");
    return error_answer(403, "Your role does not allow this.");
}

HttpResponse call(const Router::Route& route, const ApiCall& request) {
    if (request.caller.role < route.needed) return refuse(request.caller.role);
    try {
        return route.handler(request);
    } catch (const ApiError& error) {
        return error_answer(error.status(), error.what());
    } catch (const InputError& error) {
        return error_answer(kBadRequest, error.what());
    }
}

}  // namespace

void Router::add(const std::string& method, const std::string& path, Role needed,
                 ApiHandler handler) {
    routes_.push_back({method, path, needed, std::move(handler)});
}

HttpResponse Router::answer(const HttpRequest& request) const {
    auto caller = gate_(request);
    if (auto* const refused = std::get_if<HttpResponse>(&caller)) return std::move(*refused);
    std::string allowed;
    for (const Route& route : routes_) {
        auto names = match(route.path, request.path);
        if (!names) continue;
        if (route.method == request.method)
            return call(route, {request, std::get<Caller>(std::move(caller)), std::move(*names)});
        allowed += (allowed.empty() ? "" : ", ") + route.method;
    }
    if (allowed.empty()) return error_answer(404, "There is nothing here.");
    HttpResponse response = error_answer(405, "Only " + allowed + " can be done here.");
    response.headers.emplace_back("Allow", allowed);
    return response;
}

}  // namespace host
