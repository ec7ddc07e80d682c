// A place that answers over HTTP, and whoever asks it: a program with a token, or a browser with
// the cookie of its session.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/net/http_message.h"
#include "host/web/accounts.h"
#include "tests/scenario/free_port.h"
#include "tests/scenario/service_fixture.h"

namespace test {

// One connection; whatever takes longer than a minute is its end.
class HttpConnection {
  public:
    HttpConnection(std::uint16_t port, const std::string& request)
        : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval minute{60, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &minute, sizeof minute);
        if (::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
            ::send(socket_, request.data(), request.size(), MSG_NOSIGNAL);
    }
    ~HttpConnection() { ::close(socket_); }
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    // False at the end.
    bool read_more(std::string& text) const {
        char part[65536];
        const ssize_t got = ::recv(socket_, part, sizeof part, 0);
        if (got <= 0) return false;
        text.append(part, static_cast<std::size_t>(got));
        return true;
    }

  private:
    int socket_;
};

// Somebody who asks.
class WebClient {
  public:
    using Headers = std::vector<std::pair<std::string, std::string>>;

    WebClient() = default;
    explicit WebClient(std::uint16_t port, Headers always = {})
        : port_(port), always_(std::move(always)) {}

    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }
    std::string request(const std::string& method, const std::string& path,
                        const Headers& headers = {}, const std::string& body = {}) const {
        std::string text =
            method + " " + path + " HTTP/1.1\r\nHost: " + host() +
            "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
        if (method != "GET")
            text += "Content-Type: application/json\r\nOrigin: http://" + host() + "\r\n";
        for (const Headers& list : {always_, headers})
            for (const auto& [name, value] : list)
                text.append(name).append(": ").append(value).append("\r\n");
        return text + "\r\n" + body;
    }
    // Status 0 while nobody answers.
    host::HttpResponse ask(const std::string& method, const std::string& path,
                           const Headers& headers = {},
                           const nlohmann::json& body = nullptr) const {
        const HttpConnection connection(
            port_, request(method, path, headers, body.is_null() ? "" : body.dump()));
        std::string text;
        while (connection.read_more(text)) {
        }
        return parsed(text);
    }
    host::HttpResponse get(const std::string& path, const Headers& headers = {}) const {
        return ask("GET", path, headers);
    }
    // Keeps the cookie when it is let in.
    int log_in(const std::string& name, const std::string& password) {
        const host::HttpResponse answer =
            ask("POST", "/api/v1/session", {}, {{"name", name}, {"password", password}});
        const std::string cookie = header(answer, "Set-Cookie");
        if (answer.status == 200) always_ = {{"Cookie", cookie.substr(0, cookie.find(';'))}};
        return answer.status;
    }
    std::uint16_t port() const { return port_; }

    static std::string header(const host::HttpResponse& answer, const std::string& name) {
        for (const auto& [key, value] : answer.headers)
            if (key == name) return value;
        return {};
    }

  private:
    static host::HttpResponse parsed(const std::string& text) {
        host::HttpResponse answer;
        answer.status = 0;
        const std::size_t head = text.find("\r\n\r\n");
        if (!text.starts_with("HTTP/1.1 ") || head == std::string::npos) return answer;
        answer.status = std::atoi(text.c_str() + 9);
        answer.body = text.substr(head + 4);
        for (std::size_t at = text.find("\r\n"); at < head;) {
            const std::size_t end = text.find("\r\n", at + 2);
            const std::string line = text.substr(at + 2, end - at - 2);
            const std::size_t colon = line.find(": ");
            answer.headers.emplace_back(line.substr(0, colon), line.substr(colon + 2));
            at = end;
        }
        answer.type = header(answer, "Content-Type");
        return answer;
    }

    std::uint16_t port_ = 0;
    Headers always_;
};

// A page's stream, read event by event.
class EventStream {
  public:
    EventStream(const WebClient& client, const std::string& query)
        : connection_(client.port(), client.request("GET", "/api/v1/live" + query)) {}

    // The data of the next event of this name; nothing at the end of the stream. The limit only
    // ends a test that has failed.
    std::optional<nlohmann::json> next(const std::string& name) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        while (std::chrono::steady_clock::now() < limit) {
            const std::size_t end = text_.find("\n\n");
            if (end == std::string::npos) {
                if (!connection_.read_more(text_)) return std::nullopt;
                continue;
            }
            const std::string event = text_.substr(0, end);
            text_.erase(0, end + 2);
            const std::size_t data = event.find("data: ");
            if (event.find("event: " + name + "\n") != std::string::npos)
                return nlohmann::json::parse(event.substr(data + 6));
        }
        return std::nullopt;
    }

  private:
    HttpConnection connection_;
    std::string text_;
};

class WebService : public Service {
  protected:
    static constexpr const char* kPassword = "a good password";

    // A camera "door" in a doorway; more keys of it, and more of [web].
    void write_place(const std::string& camera = "", const std::string& web = "") {
        port_ = free_port();
        write("vca.toml",
              "place = \"shop\"\ntime_zone = \"UTC\"\n[[camera]]\nname = \"door\"\n"
              "scene = \"doorway\"\n" +
                  camera + "[[entrance]]\ncamera = \"door\"\nline = \"door\"\n[web]\n" + web +
                  "port = " + std::to_string(port_) + "\n");
    }
    // What an administrator would do, also before the first start.
    host::Accounts accounts() const {
        std::filesystem::create_directories(work_ / "store");
        return host::Accounts({database("service")});
    }
    WebClient program(host::Role role) const {
        const std::string secret = accounts().add_token("test", role, "test").secret;
        return WebClient(port_, {{"Authorization", "Bearer " + secret}});
    }
    WebClient nobody() const { return WebClient(port_); }
    std::string url(const std::string& path = "") const {
        return "http://" + nobody().host() + path;
    }

    std::uint16_t port_ = 0;
};

}  // namespace test
