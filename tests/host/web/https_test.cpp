// The server with TLS, asked by a client that looks at its certificate.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <memory>
#include <thread>

#include "host/base/input_error.h"
#include "host/net/http_client.h"
#include "host/net/http_server.h"
#include "tests/host/web/certificates.h"

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using host::HttpRequest;
using host::HttpResponse;
using host::HttpServer;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using namespace std::chrono_literals;

constexpr auto kAges = 60s;
constexpr const char* kAsk = "GET /1 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";

// A connection that trusts one certificate.
class Client {
  public:
    Client(std::uint16_t port, const std::string& trusted, int newest = TLS1_3_VERSION)
        : context_(asio::ssl::context::tls_client), stream_(io_, context(trusted, newest)) {
        const timeval ages{60, 0};
        stream_.next_layer().connect({asio::ip::address_v4::loopback(), port});
        ::setsockopt(stream_.next_layer().native_handle(), SOL_SOCKET, SO_RCVTIMEO, &ages,
                     sizeof ages);
        stream_.handshake(asio::ssl::stream_base::client, error_);
    }
    bool is_connected() const { return !error_; }
    std::string why_not() const { return error_.message(); }
    void say(const std::string& text) { asio::write(stream_, asio::buffer(text), error_); }
    // Until the other side says that this is all.
    std::string hear() {
        std::string all;
        asio::read(stream_, asio::dynamic_buffer(all), error_);
        EXPECT_EQ(error_, asio::error::eof) << error_.message() << ": not said, but cut off";
        return all;
    }
    std::string answer_to(const std::string& request) {
        say(request);
        return hear();
    }

  private:
    asio::ssl::context& context(const std::string& trusted, int newest) {
        context_.load_verify_file(trusted);
        context_.set_verify_mode(asio::ssl::verify_peer);
        SSL_CTX_set_max_proto_version(context_.native_handle(), newest);
        // Of its own accord it would not try what is too old.
        SSL_CTX_set_security_level(context_.native_handle(), 0);
        return context_;
    }

    asio::io_context io_;
    asio::ssl::context context_;
    asio::ssl::stream<tcp::socket> stream_;
    error_code error_;
};

// What somebody hears who does not speak TLS.
std::string heard_plainly(std::uint16_t port, const std::string& request) {
    asio::io_context io;
    tcp::socket socket(io);
    socket.connect({asio::ip::address_v4::loopback(), port});
    asio::write(socket, asio::buffer(request));
    std::string all;
    error_code end;
    asio::read(socket, asio::dynamic_buffer(all), end);
    return all;
}

class Https : public test::Certificates {
  protected:
    void start(const host::TlsFiles& files, host::HttpLimits limits = {}) {
        server_ = std::make_unique<HttpServer>("127.0.0.1", 0, limits, answer(), files);
    }
    host::HttpHandler answer() {
        return [this](const HttpRequest& request) {
            HttpResponse response;
            response.body = request.path + (request.tls ? " safely" : " openly");
            if (request.path == "/live") response.stream = std::make_shared<Ticks>(gone_);
            return response;
        };
    }
    bool goes() const {
        const auto limit = std::chrono::steady_clock::now() + kAges;
        while (!gone_ && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(1ms);
        return gone_;
    }

    // Has something to say once.
    class Ticks final : public host::HttpStream {
      public:
        explicit Ticks(std::atomic<bool>& gone) : gone_(gone) {}
        ~Ticks() override { gone_ = true; }
        void on_more(std::function<void()>) override {}
        std::optional<std::string> take() override { return std::exchange(text_, ""); }

      private:
        std::atomic<bool>& gone_;
        std::string text_ = "data: tick\n\n";
    };

    std::atomic<bool> gone_{false};
    std::unique_ptr<HttpServer> server_;
};

TEST_F(Https, TheClientOfTheProgramTrustsWhomItIsTold) {
    const host::TlsFiles files = make("service");
    const host::TlsFiles other = make("other");
    start(files);
    const std::string url = "https://localhost:" + std::to_string(server_->port()) + "/1";
    EXPECT_EQ(host::http_get(url, kAges, files.certificate).body, "/1 safely");
    EXPECT_THROW(host::http_get(url, kAges, other.certificate), std::runtime_error);
    EXPECT_THROW(host::http_get(url, kAges), std::runtime_error);
}

TEST_F(Https, AnswersAndTellsBrowsersToAskSoAgain) {
    const host::TlsFiles own = make("own");
    start(own);
    Client client(server_->port(), own.certificate);
    ASSERT_TRUE(client.is_connected()) << client.why_not();
    EXPECT_THAT(client.answer_to(kAsk),
                AllOf(StartsWith("HTTP/1.1 200 OK\r\n"),
                      HasSubstr("Strict-Transport-Security: max-age=2592000\r\n"),
                      EndsWith("\r\n\r\n/1 safely")));
    Client again(server_->port(), own.certificate);
    again.say("GET /1 HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_THAT(again.answer_to("GET /2 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
                AllOf(HasSubstr("/1 safely"), HasSubstr("/2 safely")));
    const HttpServer open("127.0.0.1", 0, {}, answer());
    EXPECT_THAT(heard_plainly(open.port(), kAsk),
                AllOf(EndsWith("/1 openly"), Not(HasSubstr("Strict-Transport"))));
}

TEST_F(Https, OldVersionsAreRefused) {
    const host::TlsFiles own = make("own");
    start(own);
    EXPECT_TRUE(Client(server_->port(), own.certificate, TLS1_2_VERSION).is_connected());
    const Client old(server_->port(), own.certificate, TLS1_1_VERSION);
    EXPECT_FALSE(old.is_connected());
    EXPECT_THAT(old.why_not(), HasSubstr("alert protocol version")) << "it is the server's word";
}

TEST_F(Https, WhoDoesNotSpeakItIsTold) {
    start(make("own"));
    EXPECT_THAT(heard_plainly(server_->port(), kAsk),
                AllOf(StartsWith("HTTP/1.1 400"), HasSubstr("This service is asked with https.")));
    EXPECT_THAT(heard_plainly(server_->port(), "anything else\r\n\r\n"),
                StartsWith("HTTP/1.1 400"));
    // A greeting of 48 bytes that says nothing.
    const std::string begin("\x16\x03\x01\x00\x30\x01\x00\x00\x2c", 9);
    EXPECT_THAT(heard_plainly(server_->port(), begin + std::string(44, 'x')),
                Not(HasSubstr("HTTP")));
}

TEST_F(Https, WhoNeverComesToAHandshakeIsCutOff) {
    host::HttpLimits limits;
    limits.time = 200ms;
    start(make("own"), limits);
    EXPECT_EQ(heard_plainly(server_->port(), ""), "");
    EXPECT_EQ(heard_plainly(server_->port(), "\x16\x03\x01"), "");
}

TEST_F(Https, StreamsEndWhenTheReaderGoes) {
    const host::TlsFiles own = make("own");
    start(own);
    {
        Client client(server_->port(), own.certificate);
        client.say("GET /live HTTP/1.1\r\nHost: x\r\n\r\n");
    }
    EXPECT_TRUE(goes());
}

TEST_F(Https, ANewCertificateIsForNewConnections) {
    const host::TlsFiles own = make("own");
    const host::TlsFiles next = make("next");
    start(own);
    Client open(server_->port(), own.certificate);
    std::filesystem::rename(next.key, own.key);
    EXPECT_THROW(server_->renew_certificate(), host::InputError) << "the old one's key is gone";
    EXPECT_TRUE(Client(server_->port(), own.certificate).is_connected());
    std::filesystem::rename(next.certificate, own.certificate);
    server_->renew_certificate();
    const auto limit = std::chrono::steady_clock::now() + kAges;
    while (!Client(server_->port(), own.certificate).is_connected())
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
    EXPECT_THAT(open.answer_to(kAsk), EndsWith("/1 safely"));
}

}  // namespace
