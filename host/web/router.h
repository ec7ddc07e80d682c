// Which function answers which request, and who may ask for it. State never changes by GET.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "host/net/http_message.h"

namespace host {

// Each may do what those before it may.
enum class Role { kNobody, kViewer, kOperator, kAdmin };

struct Caller {
    Role role = Role::kNobody;
    std::string name;
};

struct ApiCall {
    const HttpRequest& request;
    Caller caller;
    std::map<std::string, std::string> names;  // decoded, of the path's parts in braces
};

// Throws ApiError for what is refused.
using ApiHandler = std::function<HttpResponse(const ApiCall&)>;
// Who asks, or why the request is refused whatever it asks for.
using Gate = std::function<std::variant<Caller, HttpResponse>(const HttpRequest&)>;

class Router {
  public:
    explicit Router(Gate gate) : gate_(std::move(gate)) {}

    // Answers requests for this path, in which "{camera}" stands for any one part, to those whose
    // role is at least `needed`.
    void add(const std::string& method, const std::string& path, Role needed, ApiHandler handler);
    // 404 for a path that is not known, 405 for another method, 401 for nobody and 403 for somebody
    // whose role does not suffice.
    HttpResponse answer(const HttpRequest& request) const;

    struct Route {
        std::string method;
        std::string path;
        Role needed;
        ApiHandler handler;
    };
    const std::vector<Route>& routes() const { return routes_; }

  private:
    Gate gate_;
    std::vector<Route> routes_;
};

}  // namespace host
