// For compilers that cannot build the server.
#include "host/base/input_error.h"
#include "host/net/http_server.h"

namespace host {

struct HttpServer::Parts {};

HttpServer::HttpServer(const std::string&, std::uint16_t, const HttpLimits&, HttpHandler,
                       const TlsFiles&) {
    throw InputError("this program was built without a web server");
}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::port() const {
    return 0;
}

void HttpServer::renew_certificate() {}

}  // namespace host
