// The server answers requests, refuses what is too large, slow or no HTTP, and ends in order.
#include "host/net/http_server.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "host/base/input_error.h"
#include "host/net/http_client.h"

namespace {

using host::HttpRequest;
using host::HttpResponse;
using host::HttpServer;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using namespace std::chrono_literals;

constexpr auto kAges = 60s;

// A connection that says what it likes.
class Plain {
  public:
    explicit Plain(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval ages{60, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &ages, sizeof ages);
    }
    ~Plain() { ::close(socket_); }
    Plain(const Plain&) = delete;
    Plain& operator=(const Plain&) = delete;

    void say(const std::string& text) const {
        EXPECT_EQ(::send(socket_, text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
    }
    // Until the other side closes.
    std::string hear() const {
        std::string all;
        char part[4096];
        for (ssize_t got = 0; (got = ::recv(socket_, part, sizeof part, 0)) > 0;)
            all.append(part, static_cast<std::size_t>(got));
        return all;
    }

  private:
    int socket_;
};

HttpResponse echo(const HttpRequest& request) {
    if (request.path == "/throw") throw std::runtime_error("on purpose");
    HttpResponse response;
    response.body = request.method + " " + request.path + " ?" + request.query + " " +
                    request.header("X-TEST") + " " + request.body;
    if (request.path == "/peer") response.body = request.peer;
    response.headers.emplace_back("X-Own", "here");
    return response;
}

class Http : public ::testing::Test {
  protected:
    void start(const host::HttpLimits& limits = {}) {
        server_ = std::make_unique<HttpServer>("127.0.0.1", 0, limits, echo);
    }
    std::string answer_to(const std::string& request) const {
        const Plain client(server_->port());
        client.say(request);
        return client.hear();
    }
    std::unique_ptr<HttpServer> server_;
};

TEST_F(Http, HandsRequestsOverAndAnswersBack) {
    start();
    EXPECT_THAT(answer_to("POST /a/b?c=d HTTP/1.1\r\nHost: x\r\nx-Test: yes\r\n"
                          "Content-Length: 4\r\nConnection: close\r\n\r\nbody"),
                AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("X-Own: here\r\n"),
                      HasSubstr("Cache-Control: no-store\r\n"), HasSubstr("Content-Length: 23\r\n"),
                      HasSubstr("\r\n\r\nPOST /a/b ?c=d yes body")));
}

TEST_F(Http, AConnectionIsGoodForSeveralRequests) {
    start();
    const std::string answers = answer_to(
        "GET /1 HTTP/1.1\r\nHost: x\r\n\r\nGET /2 HTTP/1.1\r\nHost: x\r\nConnection: "
        "close\r\n\r\n");
    EXPECT_THAT(answers, AllOf(HasSubstr("GET /1"), HasSubstr("GET /2")));
}

TEST_F(Http, SaysWhoAsks) {
    start();
    EXPECT_THAT(answer_to("GET /peer HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
                EndsWith("\r\n\r\n127.0.0.1"));
}

TEST_F(Http, AHeadHasTheLengthAndNoBody) {
    start();
    const std::string answer =
        answer_to("HEAD /1 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(answer, AllOf(HasSubstr("Content-Length: 10\r\n"), EndsWith("\r\n\r\n")));
}

TEST_F(Http, WhatAHandlerThrowsEndsNothing) {
    start();
    EXPECT_THAT(answer_to("GET /throw HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 500"), Not(HasSubstr("on purpose"))));
    EXPECT_THAT(answer_to("GET /1 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
                HasSubstr("GET /1"));
}

TEST_F(Http, WhatIsTooLargeOrNoHttpIsRefused) {
    start();
    const std::string huge(17'000, 'a');
    EXPECT_THAT(
        answer_to("GET / HTTP/1.1\r\nX: " + huge + "\r\n\r\n"),
        AllOf(StartsWith("HTTP/1.1 431"), EndsWith("{\"error\":\"The request is too large.\"}")));
    EXPECT_THAT(answer_to("GET /" + huge + " HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 431"));
    EXPECT_THAT(answer_to("GET /" + huge.substr(8192) + " HTTP/1.1\r\nConnection: close\r\n\r\n"),
                StartsWith("HTTP/1.1 414"));
    EXPECT_THAT(answer_to("POST / HTTP/1.1\r\nContent-Length: 200001\r\n\r\n"),
                StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(answer_to("this is something else\r\n\r\n"), StartsWith("HTTP/1.1 400"));
    EXPECT_THAT(answer_to(std::string("\0\x16\x03\x01\r\n\r\n", 8)), StartsWith("HTTP/1.1 400"));
}

TEST_F(Http, WhoTakesTooLongIsCutOff) {
    host::HttpLimits limits;
    limits.time = 200ms;
    start(limits);
    EXPECT_EQ(answer_to("GET / HTTP/1.1\r\nHost:"), "");
}

TEST_F(Http, MoreConnectionsThanAllowedAreClosed) {
    host::HttpLimits limits;
    limits.connections = 1;
    start(limits);
    const Plain first(server_->port());
    first.say("GET /1 HTTP/1.1\r\nHost: x\r\n");  // is being listened to
    // It may take a moment until the first one is known.
    const auto limit = std::chrono::steady_clock::now() + kAges;
    std::string second = "?";
    while (!second.empty() && std::chrono::steady_clock::now() < limit) {
        const Plain client(server_->port());
        second = client.hear();
    }
    EXPECT_EQ(second, "");
    first.say("Connection: close\r\n\r\n");
    EXPECT_THAT(first.hear(), HasSubstr("GET /1"));
}

TEST_F(Http, ManyAtOnceAreAllAnswered) {
    start();
    std::atomic<int> right{0};
    std::vector<std::thread> clients;
    const std::string url = "http://127.0.0.1:" + std::to_string(server_->port());
    for (int i = 0; i < 20; ++i) {
        clients.emplace_back([&right, url, i] {
            const std::string path = "/" + std::to_string(i);
            for (int k = 0; k < 10; ++k)
                right += host::http_get(url + path, kAges).body.starts_with("GET " + path) ? 1 : 0;
        });
    }
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(right, 200);
}

// Says a number whenever it is asked to.
class Numbers final : public host::HttpStream {
  public:
    ~Numbers() override { gone_ = true; }
    explicit Numbers(std::atomic<bool>& gone) : gone_(gone) {}
    void on_more(std::function<void()> more) override {
        const std::lock_guard lock(mutex_);
        more_ = std::move(more);
    }
    std::optional<std::string> take() override {
        const std::lock_guard lock(mutex_);
        if (waiting_.empty() && ended_) return std::nullopt;
        return std::exchange(waiting_, {});
    }
    void say(const std::string& words, bool last = false) {
        const std::lock_guard lock(mutex_);
        waiting_ += words;
        ended_ = last;
        if (more_) more_();
    }

  private:
    std::atomic<bool>& gone_;
    std::mutex mutex_;
    std::function<void()> more_;
    std::string waiting_;
    bool ended_ = false;
};

class Streams : public ::testing::Test {
  protected:
    void start(const host::HttpLimits& limits = {}) {
        server_ = std::make_unique<HttpServer>("127.0.0.1", 0, limits,
                                               [this](const HttpRequest& request) {
                                                   HttpResponse response = echo(request);
                                                   if (request.path == "/live")
                                                       response.stream = open();
                                                   return response;
                                               });
    }
    std::shared_ptr<Numbers> open() {
        const auto stream = std::make_shared<Numbers>(gone_);
        const std::lock_guard lock(mutex_);
        stream_ = stream;
        return stream;
    }
    std::shared_ptr<Numbers> stream() {
        const auto limit = std::chrono::steady_clock::now() + kAges;
        while (std::chrono::steady_clock::now() < limit) {
            const std::lock_guard lock(mutex_);
            if (auto stream = stream_.lock()) return stream;
        }
        return nullptr;
    }
    bool goes() const {
        const auto limit = std::chrono::steady_clock::now() + kAges;
        while (!gone_ && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(1ms);
        return gone_;
    }
    static constexpr const char* kAsk = "GET /live HTTP/1.1\r\nHost: x\r\n\r\n";

    std::atomic<bool> gone_{false};
    std::mutex mutex_;
    std::weak_ptr<Numbers> stream_;
    std::unique_ptr<HttpServer> server_;
};

TEST_F(Streams, ArePassedOnUntilTheyEnd) {
    start();
    const Plain client(server_->port());
    client.say(kAsk);
    for (int i = 0; i < 100; ++i)
        stream()->say(std::to_string(i) + " ");
    stream()->say("end", true);
    const std::string all = client.hear();
    EXPECT_THAT(all, AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), Not(HasSubstr("Content-Length")),
                           HasSubstr("X-Own: here\r\n"), HasSubstr("\r\n\r\n0 1 2 "),
                           ::testing::EndsWith("98 99 end")));
    EXPECT_TRUE(goes());
}

TEST_F(Streams, EndWhenTheReaderGoes) {
    start();
    {
        const Plain client(server_->port());
        client.say(kAsk);
        ASSERT_NE(stream(), nullptr);
    }
    EXPECT_TRUE(goes()) << "nothing had to be sent for it";
}

TEST_F(Streams, AReaderWhoTakesNothingIsCutOffAndHoldsNobodyUp) {
    host::HttpLimits limits;
    limits.time = 500ms;
    start(limits);
    const Plain slow(server_->port());
    slow.say(kAsk);
    const auto held = stream();
    ASSERT_NE(held, nullptr);
    const std::string much(1 << 20, 'x');
    for (int i = 0; i < 32; ++i)
        held->say(much);
    const std::string url = "http://127.0.0.1:" + std::to_string(server_->port());
    for (int i = 0; i < 50; ++i)
        EXPECT_THAT(host::http_get(url + "/1", kAges).body, StartsWith("GET /1"));
    const std::weak_ptr<Numbers> watched = held;
    std::this_thread::sleep_for(limits.time);
    const auto limit = std::chrono::steady_clock::now() + kAges;
    while (watched.use_count() > 1 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(watched.use_count(), 1) << "the server has let it go";
}

TEST_F(Streams, AHeadHasNone) {
    start();
    const Plain client(server_->port());
    client.say("HEAD /live HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(client.hear(), AllOf(StartsWith("HTTP/1.1 200"), ::testing::EndsWith("\r\n\r\n")));
}

TEST_F(Streams, EndWithTheServer) {
    start();
    const Plain client(server_->port());
    client.say(kAsk);
    const auto held = stream();
    ASSERT_NE(held, nullptr);
    server_.reset();
    client.hear();
}

TEST_F(Http, EndsWhileSomebodyIsConnected) {
    start();
    const Plain idle(server_->port());
    idle.say("GET /1 HTTP/1.1\r\n");
    server_.reset();
    EXPECT_EQ(idle.hear(), "");
}

TEST(HttpServerAddress, OneThatCannotBeUsedIsWrongInput) {
    EXPECT_THROW(HttpServer("nowhere", 0, {}, echo), host::InputError);
    const HttpServer first("127.0.0.1", 0, {}, echo);
    EXPECT_THROW(HttpServer("192.0.2.1", 0, {}, echo), host::InputError);
}

TEST(HttpClient, TellsWhatIsWrong) {
    EXPECT_THROW(host::http_get("ftp://127.0.0.1/", kAges), host::InputError);
    EXPECT_THROW(host::http_get("http://", kAges), host::InputError);
    EXPECT_THROW(host::http_get("http:///localhost", kAges), host::InputError);
    std::uint16_t port = 0;
    {
        const HttpServer server("127.0.0.1", 0, {}, echo);
        port = server.port();
    }
    EXPECT_THROW(host::http_get("http://127.0.0.1:" + std::to_string(port), kAges),
                 std::runtime_error);
}

}  // namespace
