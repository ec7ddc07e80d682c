// A request and its answer, as far as handlers need them.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace host {

struct HttpRequest {
    std::string method;  // "GET"; a HEAD is handed on as one
    std::string path;    // "/healthz", as it was sent, without the query
    std::string query;   // behind the question mark
    std::string body;
    std::string peer;  // numeric address of whoever asks

    // The value of a header, whatever its case; empty for none.
    std::string header(const std::string& name) const;
    std::vector<std::pair<std::string, std::string>> headers;
};

struct HttpResponse {
    int status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;  // beside length and type
};

using HttpHandler = std::function<HttpResponse(const HttpRequest&)>;

}  // namespace host
