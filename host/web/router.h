// Which function answers which request, and who may ask for it. State never changes by GET.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "host/net/http_message.h"
#include "host/web/role.h"

namespace host {

struct Caller {
    Role role = Role::kNobody;
    std::string name;                   // of a user, or "token " and the name of a token
    bool must_change_password = false;  // has logged in with a one-time password
};

struct ApiCall {
    const HttpRequest& request;
    Caller caller;
    std::map<std::string, std::string> names;  // decoded, of the path's parts in braces
};

// Throws ApiError for what is refused.
using ApiHandler = std::function<HttpResponse(const ApiCall&)>;
// Who asks, or why the request is refused whatever it asks for. It may be asked again with the same
// request, to hear whether a session still holds.
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
