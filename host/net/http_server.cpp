// Coroutines around sockets. Only this file has any: clang 14 does not compile those of this Boost,
// which uses std::exchange and leaves <utility> out, so that stands first.
#include "host/net/http_server.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/stream_base.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/detect_ssl.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/net/tls_context.h"

namespace host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;

using TlsStream = beast::ssl_stream<beast::tcp_stream>;
using TlsContext = std::shared_ptr<asio::ssl::context>;

constexpr unsigned kHttp11 = 11;
// For a browser to ask with TLS only: 30 days.
constexpr const char* kOnlyTls = "max-age=2592000";
// For the other side of a TLS connection to say goodbye, too.
constexpr std::chrono::seconds kFarewell{1};

template <typename Stream>
constexpr bool kIsTls = std::is_same_v<Stream, TlsStream>;

template <typename Stream>
beast::tcp_stream& lowest(Stream& stream) {
    return beast::get_lowest_layer(stream);
}

HttpRequest to_handler(const Request& from, const tcp::socket& socket, bool tls) {
    HttpRequest request;
    request.tls = tls;
    error_code gone;
    const tcp::endpoint peer = socket.remote_endpoint(gone);
    if (!gone) request.peer = peer.address().to_string();
    const std::string target(from.target());
    const std::size_t query = target.find('?');
    request.method = from.method() == http::verb::head ? "GET" : std::string(from.method_string());
    request.path = target.substr(0, query);
    if (query != std::string::npos) request.query = target.substr(query + 1);
    request.body = from.body();
    for (const auto& field : from)
        request.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    return request;
}

template <typename Body>
http::response<Body> head_of(const HttpResponse& from, const Request& request) {
    http::response<Body> response{http::status::ok, request.version()};
    response.result(static_cast<unsigned>(from.status));
    response.set(http::field::content_type, from.type);
    response.set(http::field::cache_control, "no-store");
    response.set("X-Content-Type-Options", "nosniff");
    for (const auto& [name, value] : from.headers)
        response.set(name, value);
    return response;
}

Response to_wire(const HttpResponse& from, const Request& request) {
    auto response = head_of<http::string_body>(from, request);
    response.keep_alive(request.keep_alive());
    response.body() = from.body;
    response.prepare_payload();
    // It would be that of the body which the reader has.
    if (response.result() == http::status::not_modified)
        response.erase(http::field::content_length);
    if (request.method() == http::verb::head) response.body().clear();
    return response;
}

// Whether a stream has more to send, or nobody to send it to.
struct StreamState {
    explicit StreamState(asio::io_context& io) : more(io, asio::steady_timer::time_point::max()) {}

    asio::steady_timer more;  // cancelled when something has changed
    bool gone = false;        // the other side
    bool watched = true;      // for that
};

// A reader of a stream has nothing to say: whatever comes is the end.
asio::awaitable<void> watch_for_end(tcp::socket& socket, std::shared_ptr<StreamState> state) {
    error_code ignored;
    co_await socket.async_wait(tcp::socket::wait_read,
                               asio::redirect_error(asio::use_awaitable, ignored));
    state->gone = true;
    state->watched = false;
    state->more.cancel();
}

struct Counted {
    explicit Counted(int& number) : count(number) { ++count; }
    ~Counted() { --count; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    int& count;
};

// What a request that cannot be read deserves; 0 for a connection that is simply over.
int status_of(const error_code& error) {
    if (error == http::error::header_limit) return 431;
    if (error == http::error::body_limit) return 413;
    if (error == http::error::end_of_stream || error == http::error::partial_message) return 0;
    return error.category() == http::make_error_code(http::error::bad_method).category() ? 400 : 0;
}

HttpResponse refusal(int status, const char* sentence) {
    HttpResponse refused;
    refused.status = status;
    refused.type = "application/json";
    refused.body = std::string(R"({"error":")") + sentence + R"("})";
    return refused;
}

}  // namespace

struct HttpServer::Parts {
    Parts(const HttpLimits& given, HttpHandler call, const TlsFiles& files)
        : limits(given),
          handler(std::move(call)),
          tls_files(files),
          tls(files.given() ? make_tls_context(files) : nullptr),
          workers(given.workers) {}

    void listen(const std::string& address, std::uint16_t port);
    asio::awaitable<void> accept();
    asio::awaitable<void> serve(beast::tcp_stream stream);
    asio::awaitable<void> serve_tls(beast::tcp_stream stream, TlsContext context);
    template <typename Stream>
    asio::awaitable<void> answer_all(Stream& stream);
    // False when the connection is to be closed.
    template <typename Stream>
    asio::awaitable<bool> answer_one(Stream& stream, beast::flat_buffer& buffer);
    template <typename Stream>
    asio::awaitable<bool> send(Stream& stream, const Response& response);
    template <typename Stream>
    asio::awaitable<void> send_refusal(Stream& stream, int status, const char* sentence);
    // Until the stream or the connection ends. A reader who takes nothing for so long as an answer
    // may take is cut off.
    template <typename Stream>
    asio::awaitable<void> send_stream(Stream& stream, const HttpResponse& made,
                                      const Request& request);
    asio::awaitable<HttpResponse> call(const HttpRequest& request);

    const HttpLimits limits;
    const HttpHandler handler;
    const TlsFiles tls_files;
    TlsContext tls;  // the thread's own; null without TLS
    asio::io_context io{1};
    asio::thread_pool workers;
    tcp::acceptor acceptor{io};
    int connections = 0;  // the thread's own
    std::thread thread;
};

void HttpServer::Parts::listen(const std::string& address, std::uint16_t port) {
    try {
        const tcp::endpoint endpoint(asio::ip::make_address(address), port);
        acceptor.open(endpoint.protocol());
        acceptor.set_option(tcp::acceptor::reuse_address(true));
        acceptor.bind(endpoint);
        acceptor.listen();
    } catch (const boost::system::system_error& error) {
        throw InputError("cannot listen on " + visible(address) + " port " + std::to_string(port) +
                         ": " + error.code().message());
    }
}

asio::awaitable<void> HttpServer::Parts::accept() {
    constexpr std::chrono::milliseconds kPause{100};
    while (true) {
        error_code error;
        tcp::socket socket =
            co_await acceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (error == asio::error::operation_aborted) co_return;
        if (error) {
            // Without file handles the next attempt would fail at once, too.
            asio::steady_timer pause(io, kPause);
            co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
            continue;
        }
        if (connections >= limits.connections) continue;
        // Small parts of a stream go at once.
        socket.set_option(tcp::no_delay(true), error);
        beast::tcp_stream stream(std::move(socket));
        if (tls != nullptr)
            asio::co_spawn(io, serve_tls(std::move(stream), tls), asio::detached);
        else
            asio::co_spawn(io, serve(std::move(stream)), asio::detached);
    }
}

asio::awaitable<void> HttpServer::Parts::serve(beast::tcp_stream stream) {
    const Counted counted(connections);
    co_await answer_all(stream);
    error_code ignored;
    stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
}

asio::awaitable<void> HttpServer::Parts::serve_tls(beast::tcp_stream plain, TlsContext context) {
    const Counted counted(connections);
    beast::flat_buffer buffer;
    error_code error;
    plain.expires_after(limits.time);
    const bool is_tls = co_await beast::async_detect_ssl(
        plain, buffer, asio::redirect_error(asio::use_awaitable, error));
    if (error) co_return;
    if (!is_tls) {
        co_await send_refusal(plain, 400, "This service is asked with https.");
        plain.socket().shutdown(tcp::socket::shutdown_send, error);
        co_return;
    }
    TlsStream stream(std::move(plain), *context);
    lowest(stream).expires_after(limits.time);
    const std::size_t used =
        co_await stream.async_handshake(asio::ssl::stream_base::server, buffer.data(),
                                        asio::redirect_error(asio::use_awaitable, error));
    buffer.consume(used);
    if (error) co_return;
    co_await answer_all(stream);
    lowest(stream).expires_after(kFarewell);
    co_await stream.async_shutdown(asio::redirect_error(asio::use_awaitable, error));
}

template <typename Stream>
asio::awaitable<void> HttpServer::Parts::answer_all(Stream& stream) {
    beast::flat_buffer buffer;
    while (co_await answer_one(stream, buffer)) {
    }
}

template <typename Stream>
asio::awaitable<void> HttpServer::Parts::send_refusal(Stream& stream, int status,
                                                      const char* sentence) {
    Request unread{http::verb::get, "", kHttp11};
    unread.keep_alive(false);
    const Response response = to_wire(refusal(status, sentence), unread);
    co_await send(stream, response);
}

template <typename Stream>
asio::awaitable<bool> HttpServer::Parts::answer_one(Stream& stream, beast::flat_buffer& buffer) {
    http::request_parser<http::string_body> parser;
    parser.header_limit(limits.header_bytes);
    parser.body_limit(limits.body_bytes);
    lowest(stream).expires_after(limits.time);
    error_code error;
    co_await http::async_read(stream, buffer, parser,
                              asio::redirect_error(asio::use_awaitable, error));
    if (const int status = error ? status_of(error) : 0; status != 0) {
        co_await send_refusal(
            stream, status,
            status == 400 ? "This is no HTTP request." : "The request is too large.");
        co_return false;
    }
    if (error) co_return false;
    const Request wire = parser.release();
    const HttpRequest request = to_handler(wire, lowest(stream).socket(), kIsTls<Stream>);
    HttpResponse made = refusal(414, "The address is too long.");
    if (wire.target().size() <= limits.target_bytes)
        made = co_await asio::co_spawn(workers.get_executor(), call(request), asio::use_awaitable);
    if (kIsTls<Stream>) made.headers.emplace_back("Strict-Transport-Security", kOnlyTls);
    if (made.stream != nullptr && wire.method() == http::verb::get) {
        co_await send_stream(stream, made, wire);
        co_return false;
    }
    const Response response = to_wire(made, wire);
    const bool sent = co_await send(stream, response);
    co_return sent&& wire.keep_alive();
}

template <typename Stream>
asio::awaitable<bool> HttpServer::Parts::send(Stream& stream, const Response& response) {
    lowest(stream).expires_after(limits.time);
    error_code error;
    co_await http::async_write(stream, response, asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

template <typename Stream>
asio::awaitable<void> HttpServer::Parts::send_stream(Stream& stream, const HttpResponse& made,
                                                     const Request& request) {
    beast::tcp_stream& connection = lowest(stream);
    const auto state = std::make_shared<StreamState>(io);
    made.stream->on_more([&service = io, known = std::weak_ptr(state)] {
        asio::post(service, [known] {
            if (const auto now = known.lock()) now->more.cancel();
        });
    });
    // Its end is that of the connection.
    auto head = head_of<http::empty_body>(made, request);
    head.keep_alive(false);
    http::response_serializer<http::empty_body> serializer(head);
    error_code error;
    connection.expires_after(limits.time);
    co_await http::async_write_header(stream, serializer,
                                      asio::redirect_error(asio::use_awaitable, error));
    connection.expires_never();
    asio::co_spawn(io, watch_for_end(connection.socket(), state), asio::detached);
    while (!error && !state->gone) {
        const std::optional<std::string> text = made.stream->take();
        if (!text) break;
        if (text->empty()) {
            error_code woken;
            co_await state->more.async_wait(asio::redirect_error(asio::use_awaitable, woken));
            continue;
        }
        connection.expires_after(limits.time);
        co_await asio::async_write(stream, asio::buffer(*text),
                                   asio::redirect_error(asio::use_awaitable, error));
        connection.expires_never();
    }
    // The watch must not outlive the socket.
    error_code ignored;
    connection.socket().cancel(ignored);
    while (state->watched)
        co_await state->more.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
}

asio::awaitable<HttpResponse> HttpServer::Parts::call(const HttpRequest& request) {
    HttpResponse response;
    try {
        response = handler(request);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vca: %s: %s\n", visible(request.path).c_str(),
                     visible(error.what()).c_str());
        response = refusal(500, "Something went wrong; the service's log says more.");
    }
    co_return response;
}

HttpServer::HttpServer(const std::string& address, std::uint16_t port, const HttpLimits& limits,
                       HttpHandler handler, const TlsFiles& tls)
    : parts_(std::make_unique<Parts>(limits, std::move(handler), tls)) {
    parts_->listen(address, port);
    asio::co_spawn(parts_->io, parts_->accept(), asio::detached);
    parts_->thread = std::thread([io = &parts_->io] { io->run(); });
}

HttpServer::~HttpServer() {
    parts_->io.stop();
    parts_->thread.join();
    parts_->workers.join();
}

void HttpServer::renew_certificate() {
    asio::post(parts_->io, [parts = parts_.get(), tls = make_tls_context(parts_->tls_files)] {
        parts->tls = tls;
    });
}

std::uint16_t HttpServer::port() const {
    return parts_->acceptor.local_endpoint().port();
}

}  // namespace host
