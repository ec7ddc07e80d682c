// An HTTP/1.1 server. One thread serves all sockets, and a few workers call the handler, so that a
// query that takes its time holds nobody up.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "host/net/http_message.h"
#include "host/net/tls_files.h"

namespace host {

struct HttpLimits {
    std::size_t target_bytes = 8192;
    std::uint32_t header_bytes = 16'384;  // the target included
    std::uint64_t body_bytes = 200'000;
    std::chrono::milliseconds time{10'000};  // for one request to come, and for its answer to go
    int connections = 400;                   // more are closed at once: 100 pages with 4 each
    // Two may be busy with passwords, and two wait for pictures.
    std::size_t workers = 5;
};

class HttpServer {
  public:
    // Listens on a numeric address; port 0 is any free one. The handler is called on the workers,
    // several at a time; what it throws is answered with status 500. Where files are given it
    // speaks TLS and nothing else. Throws InputError when the address cannot be listened on, or
    // the files cannot be used.
    HttpServer(const std::string& address, std::uint16_t port, const HttpLimits& limits,
               HttpHandler handler, const TlsFiles& tls = {});
    // Ends the connections that are open; waits for handlers that are running.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const;

    // For a server that speaks TLS: new connections get what its files hold now. Throws InputError
    // when they cannot be used; what was used before stays.
    void renew_certificate();

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace host
