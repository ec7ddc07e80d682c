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
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "host/base/input_error.h"
#include "host/base/text.h"

namespace host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;

constexpr unsigned kHttp11 = 11;

HttpRequest to_handler(const Request& from, const tcp::socket& socket) {
    HttpRequest request;
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
    Parts(const HttpLimits& given, HttpHandler call)
        : limits(given), handler(std::move(call)), workers(given.workers) {}

    void listen(const std::string& address, std::uint16_t port);
    asio::awaitable<void> accept();
    asio::awaitable<void> serve(beast::tcp_stream stream);
    // False when the connection is to be closed.
    asio::awaitable<bool> answer_one(beast::tcp_stream& stream, beast::flat_buffer& buffer);
    asio::awaitable<bool> send(beast::tcp_stream& stream, const Response& response);
    // Until the stream or the connection ends. A reader who takes nothing for so long as an answer
    // may take is cut off.
    asio::awaitable<void> send_stream(beast::tcp_stream& stream, const HttpResponse& made,
                                      const Request& request);
    asio::awaitable<HttpResponse> call(const HttpRequest& request);

    const HttpLimits limits;
    const HttpHandler handler;
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
        asio::co_spawn(io, serve(beast::tcp_stream(std::move(socket))), asio::detached);
    }
}

asio::awaitable<void> HttpServer::Parts::serve(beast::tcp_stream stream) {
    struct Counted {
        explicit Counted(int& number) : count(number) { ++count; }
        ~Counted() { --count; }
        Counted(const Counted&) = delete;
        Counted& operator=(const Counted&) = delete;
        int& count;
    };
    const Counted counted(connections);
    beast::flat_buffer buffer;
    while (co_await answer_one(stream, buffer)) {
    }
    error_code ignored;
    stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
}

asio::awaitable<bool> HttpServer::Parts::answer_one(beast::tcp_stream& stream,
                                                    beast::flat_buffer& buffer) {
    http::request_parser<http::string_body> parser;
    parser.header_limit(limits.header_bytes);
    parser.body_limit(limits.body_bytes);
    stream.expires_after(limits.time);
    error_code error;
    co_await http::async_read(stream, buffer, parser,
                              asio::redirect_error(asio::use_awaitable, error));
    if (const int status = error ? status_of(error) : 0; status != 0) {
        Request unread{http::verb::get, "", kHttp11};
        unread.keep_alive(false);
        const Response response =
            to_wire(refusal(status, status == 400 ? "This is no HTTP request."
                                                  : "The request is too large."),
                    unread);
        co_await send(stream, response);
        co_return false;
    }
    if (error) co_return false;
    const Request wire = parser.release();
    const HttpRequest request = to_handler(wire, stream.socket());
    HttpResponse made = refusal(414, "The address is too long.");
    if (wire.target().size() <= limits.target_bytes)
        made = co_await asio::co_spawn(workers.get_executor(), call(request), asio::use_awaitable);
    if (made.stream != nullptr && wire.method() == http::verb::get) {
        co_await send_stream(stream, made, wire);
        co_return false;
    }
    const Response response = to_wire(made, wire);
    const bool sent = co_await send(stream, response);
    co_return sent&& wire.keep_alive();
}

asio::awaitable<bool> HttpServer::Parts::send(beast::tcp_stream& stream, const Response& response) {
    stream.expires_after(limits.time);
    error_code error;
    co_await http::async_write(stream, response, asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

asio::awaitable<void> HttpServer::Parts::send_stream(beast::tcp_stream& stream,
                                                     const HttpResponse& made,
                                                     const Request& request) {
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
    stream.expires_after(limits.time);
    co_await http::async_write_header(stream, serializer,
                                      asio::redirect_error(asio::use_awaitable, error));
    stream.expires_never();
    asio::co_spawn(io, watch_for_end(stream.socket(), state), asio::detached);
    while (!error && !state->gone) {
        const std::optional<std::string> text = made.stream->take();
        if (!text) break;
        if (text->empty()) {
            error_code woken;
            co_await state->more.async_wait(asio::redirect_error(asio::use_awaitable, woken));
            continue;
        }
        stream.expires_after(limits.time);
        co_await asio::async_write(stream, asio::buffer(*text),
                                   asio::redirect_error(asio::use_awaitable, error));
        stream.expires_never();
    }
    // The watch must not outlive the socket.
    error_code ignored;
    stream.socket().cancel(ignored);
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
                       HttpHandler handler)
    : parts_(std::make_unique<Parts>(limits, std::move(handler))) {
    parts_->listen(address, port);
    asio::co_spawn(parts_->io, parts_->accept(), asio::detached);
    parts_->thread = std::thread([io = &parts_->io] { io->run(); });
}

HttpServer::~HttpServer() {
    parts_->io.stop();
    parts_->thread.join();
    parts_->workers.join();
}

std::uint16_t HttpServer::port() const {
    return parts_->acceptor.local_endpoint().port();
}

}  // namespace host
