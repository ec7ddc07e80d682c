// A request and its answer, as far as handlers need them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
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
    bool tls = false;  // whether nobody on the way can read it

    // The value of a header, whatever its case; empty for none.
    std::string header(const std::string& name) const;
    std::vector<std::pair<std::string, std::string>> headers;
};

// A body whose end is not known when it begins. Its destructor is called when the connection is
// gone.
class HttpStream {
  public:
    virtual ~HttpStream() = default;
    // Called once and first: any thread may call `more` when there is something to send, as long as
    // the server lives.
    virtual void on_more(std::function<void()> more) = 0;
    // What is to be sent now, without waiting: an empty text for nothing yet, none for the end.
    virtual std::optional<std::string> take() = 0;
};

struct HttpResponse {
    int status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;  // beside length and type
    std::shared_ptr<HttpStream> stream;  // in place of the body; null for none
};

using HttpHandler = std::function<HttpResponse(const HttpRequest&)>;

}  // namespace host
