// Stands between a client and an MQTT broker of the test, and keeps the broker's confirmations back
// when the test wants it to.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/loopback_listener.h"

namespace test {

class AckProxy {
  public:
    explicit AckProxy(int broker_port) : broker_port_(broker_port) {
        thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
    }
    ~AckProxy() {
        thread_.request_stop();
        thread_.join();
        for (Pair& pair : pairs_)
            close(pair);
    }
    AckProxy(const AckProxy&) = delete;
    AckProxy& operator=(const AckProxy&) = delete;

    int port() const { return listener_.port(); }
    // From now on confirmations are lost, or pass.
    void lose(bool yes) { loses_ = yes; }
    int lost() const { return lost_; }

  private:
    struct Pair {
        int client = -1;
        int broker = -1;
        std::string from_broker;
    };

    static sockaddr_in loopback(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        return address;
    }
    static void close(Pair& pair) {
        if (pair.client >= 0) ::close(std::exchange(pair.client, -1));
        if (pair.broker >= 0) ::close(std::exchange(pair.broker, -1));
    }

    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::vector<pollfd> waited{{listener_.file(), POLLIN, 0}};
            for (const Pair& pair : pairs_) {
                waited.push_back({pair.client, POLLIN, 0});
                waited.push_back({pair.broker, POLLIN, 0});
            }
            ::poll(waited.data(), waited.size(), 5);
            if ((waited[0].revents & POLLIN) != 0) accept();
            for (Pair& pair : pairs_)
                pass_on(pair);
            std::erase_if(pairs_, [](const Pair& pair) { return pair.client < 0; });
        }
    }

    void accept() {
        Pair pair;
        pair.client = listener_.accept();
        pair.broker = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(broker_port_);
        if (::connect(pair.broker, reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0)
            close(pair);
        else
            pairs_.push_back(std::move(pair));
    }

    // What has come; false when the connection is over.
    static bool receive(int socket, std::string& bytes) {
        std::array<char, 65536> part{};
        const ssize_t size = ::recv(socket, part.data(), part.size(), MSG_DONTWAIT);
        if (size > 0) bytes.append(part.data(), static_cast<std::size_t>(size));
        return size > 0 || (size < 0 && errno == EAGAIN);
    }
    static void send(int socket, const std::string& bytes) {
        std::size_t at = 0;
        while (at < bytes.size()) {
            const ssize_t size = ::send(socket, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (size <= 0) return;
            at += static_cast<std::size_t>(size);
        }
    }

    void pass_on(Pair& pair) {
        std::string from_client;
        const bool there =
            receive(pair.client, from_client) && receive(pair.broker, pair.from_broker);
        send(pair.broker, from_client);
        while (const std::size_t size = whole_packet(pair.from_broker)) {
            constexpr int kConfirmation = 4;
            const bool confirms =
                static_cast<unsigned char>(pair.from_broker[0]) >> 4 == kConfirmation;
            if (confirms && loses_) {
                ++lost_;
            } else {
                send(pair.client, pair.from_broker.substr(0, size));
            }
            pair.from_broker.erase(0, size);
        }
        if (!there) close(pair);
    }

    // The size of the first packet; 0 while it is not complete.
    static std::size_t whole_packet(const std::string& bytes) {
        std::size_t length = 0;
        for (std::size_t at = 1; at < bytes.size() && at <= 4; ++at) {
            const auto byte = static_cast<unsigned char>(bytes[at]);
            length |= (byte & 127U) << (7 * (at - 1));
            if ((byte & 128U) != 0) continue;
            const std::size_t size = at + 1 + length;
            return bytes.size() < size ? 0 : size;
        }
        return 0;
    }

    const int broker_port_;
    const LoopbackListener listener_;
    std::vector<Pair> pairs_;
    std::atomic<bool> loses_ = false;
    std::atomic<int> lost_ = 0;
    std::jthread thread_;
};

}  // namespace test
