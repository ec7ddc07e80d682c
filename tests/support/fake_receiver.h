// A receiver of webhooks that answers as a test wants it: with any status, with too much, slowly,
// or not at all.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/loopback_listener.h"

namespace test {

class FakeReceiver {
  public:
    struct Received {
        std::map<std::string, std::string> headers;  // names in lower case
        std::string path;
        std::string body;
        int answered = 0;  // the status
    };
    static constexpr int kHangs = 0;   // takes the message and says nothing
    static constexpr int kDrops = -1;  // and closes the connection

    explicit FakeReceiver(int port = 0) : listener_(port) {
        thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
    }
    ~FakeReceiver() {
        thread_.request_stop();
        thread_.join();
        for (const Client& client : clients_)
            ::close(client.socket);
    }
    FakeReceiver(const FakeReceiver&) = delete;
    FakeReceiver& operator=(const FakeReceiver&) = delete;

    int port() const { return listener_.port(); }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port()) + "/hook"; }
    // From now on it answers so: a status, kHangs or kDrops.
    void answer(int status) {
        decide([status](const Received&) { return status; });
    }
    // Asked for each message.
    void decide(std::function<int(const Received&)> by) {
        const std::lock_guard lock(mutex_);
        decide_ = std::move(by);
    }
    void answer_body(std::string body) {
        const std::lock_guard lock(mutex_);
        answer_ = std::move(body);
    }
    int connections() const { return connections_; }

    std::vector<Received> attempts() const {
        const std::lock_guard lock(mutex_);
        return attempts_;
    }
    std::size_t taken_so_far() const { return taken_; }
    // Those that it has confirmed, in their order.
    std::vector<Received> taken() const {
        std::vector<Received> some;
        for (const Received& one : attempts())
            if (one.answered >= 200 && one.answered < 300) some.push_back(one);
        return some;
    }

  private:
    struct Client {
        int socket = -1;
        std::string bytes;
    };

    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::vector<pollfd> waited{{listener_.file(), POLLIN, 0}};
            for (const Client& client : clients_)
                waited.push_back({client.socket, POLLIN, 0});
            ::poll(waited.data(), waited.size(), 5);
            if ((waited[0].revents & POLLIN) != 0) {
                clients_.push_back({listener_.accept(), ""});
                ++connections_;
            }
            for (Client& client : clients_)
                serve(client);
            std::erase_if(clients_, [](const Client& client) { return client.socket < 0; });
        }
    }

    void serve(Client& client) {
        std::array<char, 65536> part{};
        const ssize_t size = ::recv(client.socket, part.data(), part.size(), MSG_DONTWAIT);
        if (size == 0) {
            ::close(std::exchange(client.socket, -1));
            return;
        }
        if (size > 0) client.bytes.append(part.data(), static_cast<std::size_t>(size));
        const std::size_t head = client.bytes.find("\r\n\r\n");
        if (head == std::string::npos) return;
        Received received = parse(client.bytes.substr(0, head));
        const std::size_t length = std::stoul(received.headers["content-length"]);
        if (client.bytes.size() < head + 4 + length) return;
        received.body = client.bytes.substr(head + 4, length);
        client.bytes.erase(0, head + 4 + length);
        take(client, std::move(received));
    }

    static Received parse(const std::string& head) {
        Received received;
        received.path = head.substr(5, head.find(' ', 5) - 5);
        for (std::size_t at = head.find("\r\n"); at != std::string::npos;) {
            const std::size_t next = head.find("\r\n", at + 2);
            const std::string line = head.substr(at + 2, next - at - 2);
            const std::size_t colon = line.find(':');
            std::string name = line.substr(0, colon);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            received.headers[name] = line.substr(std::min(line.size(), colon + 2));
            at = next;
        }
        return received;
    }

    void take(Client& client, Received received) {
        const std::lock_guard lock(mutex_);
        received.answered = decide_(received);
        const int status = received.answered;
        attempts_.push_back(std::move(received));
        taken_ += status >= 200 && status < 300 ? 1 : 0;
        if (status == kHangs) return;
        if (status == kDrops) {
            ::close(std::exchange(client.socket, -1));
            return;
        }
        const std::string text =
            "HTTP/1.1 " + std::to_string(status) +
            " x\r\nLocation: /elsewhere\r\nContent-Length: " + std::to_string(answer_.size()) +
            "\r\n\r\n" + answer_;
        // What does not fit does not matter: the sender may have gone.
        [[maybe_unused]] const ssize_t sent =
            ::send(client.socket, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }

    const LoopbackListener listener_;
    std::vector<Client> clients_;
    std::atomic<int> connections_ = 0;
    std::atomic<std::size_t> taken_ = 0;
    mutable std::mutex mutex_;
    std::function<int(const Received&)> decide_ = [](const Received&) { return 204; };
    std::string answer_;
    std::vector<Received> attempts_;
    std::jthread thread_;
};

}  // namespace test
