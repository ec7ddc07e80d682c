// Connect, write and read one after the other, with one time limit over all.
// Boost 1.74 uses std::exchange and leaves <utility> out, so it stands first.
#include "host/net/http_client.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <functional>
#include <stdexcept>
#include <utility>

#include "host/base/input_error.h"
#include "host/base/text.h"

namespace host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

constexpr const char* kScheme = "http://";
constexpr std::uint64_t kMostBytes = 16'000'000;
constexpr unsigned kHttp11 = 11;

struct Url {
    std::string host;
    std::string port = "80";
    std::string path = "/";
};

Url parse_url(const std::string& text) {
    const std::string scheme = kScheme;
    Url url;
    if (text.starts_with(scheme)) {
        const std::size_t slash = text.find('/', scheme.size());
        const std::string place = text.substr(scheme.size(), slash - scheme.size());
        if (slash != std::string::npos) url.path = text.substr(slash);
        const std::size_t colon = place.rfind(':');
        const bool has_port = colon != std::string::npos && place.back() != ']';
        url.host = place.substr(0, has_port ? colon : std::string::npos);
        if (has_port) url.port = place.substr(colon + 1);
        if (url.host.starts_with('[') && url.host.ends_with(']'))
            url.host = url.host.substr(1, url.host.size() - 2);
    }
    if (url.host.empty() || url.port.empty())
        throw InputError("\"" + text + "\" is not an address; write http://HOST:PORT/");
    return url;
}

}  // namespace

HttpResponse http_get(const std::string& text, std::chrono::milliseconds time) {
    const Url url = parse_url(text);
    asio::io_context io{1};
    beast::tcp_stream stream(io);
    http::request<http::empty_body> request{http::verb::get, url.path, kHttp11};
    request.set(http::field::host, url.host + ":" + url.port);
    request.keep_alive(false);
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(kMostBytes);
    error_code result = asio::error::timed_out;
    const auto then = [&result](const auto& next) {
        return [&result, next](const error_code& error, const auto&...) {
            result = error;
            if (!error) next();
        };
    };
    const auto done = [] {};
    const auto read = [&] { http::async_read(stream, buffer, parser, then(done)); };
    const auto write = [&] { http::async_write(stream, request, then(read)); };
    try {
        const auto endpoints = asio::ip::tcp::resolver(io).resolve(url.host, url.port);
        stream.expires_after(time);
        stream.async_connect(endpoints, then(write));
        io.run();
    } catch (const boost::system::system_error& error) {
        result = error.code();
    }
    if (result) throw std::runtime_error("no answer from " + text + ": " + result.message());
    const http::response<http::string_body> answer = parser.release();
    HttpResponse response;
    response.status = static_cast<int>(answer.result_int());
    response.type = std::string(answer[http::field::content_type]);
    response.body = answer.body();
    return response;
}

}  // namespace host
