// Which function answers which request. State never changes by GET.
#pragma once

#include <string>
#include <vector>

#include "host/net/http_message.h"

namespace host {

class Router {
  public:
    // Answers requests for exactly this path.
    void add(const std::string& method, const std::string& path, HttpHandler handler);
    // 404 for a path that is not known, 405 for another method.
    HttpResponse answer(const HttpRequest& request) const;

  private:
    struct Route {
        std::string method;
        std::string path;
        HttpHandler handler;
    };
    std::vector<Route> routes_;
};

}  // namespace host
