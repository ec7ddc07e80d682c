// An MQTT 5 broker that answers as a test wants it: it may keep its confirmations to itself, refuse
// messages, and drop its clients.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/loopback_listener.h"

namespace test {

class FakeBroker {
  public:
    struct Received {
        std::string topic;
        std::string payload;
        bool retained = false;
    };

    explicit FakeBroker(int port = 0) : listener_(port) {
        thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
    }
    ~FakeBroker() {
        thread_.request_stop();
        thread_.join();
        for (const Client& client : clients_)
            ::close(client.socket);
    }
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;

    int port() const { return listener_.port(); }
    // From now on messages are confirmed, or not.
    void confirm(bool yes) { confirms_ = yes; }
    // With this reason, or with 0 for success.
    void refuse(int reason) { reason_ = reason; }
    // After the next round, all clients are without a connection.
    void drop_clients() { drop_ = true; }
    // Told to everybody who subscribes, as retained.
    void keep(const std::string& topic, const std::string& payload) {
        const std::lock_guard lock(mutex_);
        kept_[topic] = payload;
    }
    int connections() const { return connections_; }
    // Messages under topics that end so, in their order.
    std::vector<Received> received(const std::string& end) const {
        const std::lock_guard lock(mutex_);
        std::vector<Received> some;
        for (const Received& one : received_)
            if (one.topic.ends_with(end)) some.push_back(one);
        return some;
    }

  private:
    struct Client {
        int socket = -1;
        std::string bytes;
        std::vector<std::uint16_t> unconfirmed;
    };

    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::vector<pollfd> waited{{listener_.file(), POLLIN, 0}};
            for (const Client& client : clients_)
                waited.push_back({client.socket, POLLIN, 0});
            ::poll(waited.data(), waited.size(), 5);
            if (drop_.exchange(false)) close_all();
            if ((waited[0].revents & POLLIN) != 0) {
                clients_.push_back({listener_.accept(), "", {}});
                ++connections_;
            }
            for (Client& client : clients_)
                serve(client);
            std::erase_if(clients_, [](const Client& client) { return client.socket < 0; });
        }
    }

    void close_all() {
        for (const Client& client : clients_)
            ::close(client.socket);
        clients_.clear();
    }

    void serve(Client& client) {
        std::array<char, 65536> part{};
        const ssize_t size = ::recv(client.socket, part.data(), part.size(), MSG_DONTWAIT);
        if (size == 0) {
            ::close(std::exchange(client.socket, -1));
            return;
        }
        if (size > 0) client.bytes.append(part.data(), static_cast<std::size_t>(size));
        while (client.socket >= 0 && take_packet(client)) {
        }
        if (!confirms_) return;
        for (const std::uint16_t number : client.unconfirmed)
            send(client, 0x40, {char(number >> 8), char(number & 255), char(reason_.load()), 0});
        client.unconfirmed.clear();
    }

    static std::uint32_t variable_length(const std::string& bytes, std::size_t& at) {
        std::uint32_t value = 0;
        for (int shift = 0; at < bytes.size(); shift += 7) {
            const auto byte = static_cast<unsigned char>(bytes[at++]);
            value |= (byte & 127U) << shift;
            if ((byte & 128U) == 0) break;
        }
        return value;
    }
    static std::uint16_t number_at(const std::string& bytes, std::size_t at) {
        return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes.at(at)) << 8 |
                                          static_cast<unsigned char>(bytes.at(at + 1)));
    }
    static std::string with_length(const std::string& text) {
        return std::string{char(text.size() >> 8), char(text.size() & 255)} + text;
    }

    bool take_packet(Client& client) {
        const std::string& bytes = client.bytes;
        std::size_t at = 1;
        while (at < bytes.size() && at < 5 && (bytes[at] & 128) != 0)
            ++at;
        if (at >= bytes.size()) return false;
        at = 1;
        const std::size_t length = variable_length(bytes, at);
        if (bytes.size() < at + length) return false;
        const auto head = static_cast<unsigned char>(bytes[0]);
        const std::string body = bytes.substr(at, length);
        client.bytes.erase(0, at + length);
        answer(client, head, body);
        return true;
    }

    void answer(Client& client, unsigned char head, const std::string& body) {
        switch (head >> 4) {
            case 1:  // connect
                send(client, 0x20, {0, 0, 0});
                break;
            case 3:
                take_message(client, head, body);
                break;
            case 8:
                take_subscription(client, body);
                break;
            case 12:  // ping
                send(client, 0xD0, "");
                break;
            case 14:  // goodbye
                ::close(std::exchange(client.socket, -1));
                break;
            default:
                break;
        }
    }

    void take_message(Client& client, unsigned char head, const std::string& body) {
        const std::size_t name = number_at(body, 0);
        std::size_t at = 2 + name;
        if ((head & 6) != 0) {
            client.unconfirmed.push_back(number_at(body, at));
            at += 2;
        }
        const std::size_t properties = variable_length(body, at);
        const std::lock_guard lock(mutex_);
        received_.push_back({body.substr(2, name), body.substr(at + properties), (head & 1) != 0});
    }

    void take_subscription(Client& client, const std::string& body) {
        std::size_t at = 2;
        at += variable_length(body, at);
        std::string answer = body.substr(0, 2) + std::string(1, '\0');
        while (at < body.size()) {
            at += 2U + number_at(body, at) + 1U;
            answer += '\1';
        }
        send(client, 0x90, answer);
        const std::lock_guard lock(mutex_);
        for (const auto& [topic, payload] : kept_)
            send(client, 0x31, with_length(topic) + std::string(1, '\0') + payload);
    }

    static void send(Client& client, int head, const std::string& body) {
        std::string packet(1, static_cast<char>(head));
        std::size_t length = body.size();
        do {
            const std::size_t rest = length >> 7;
            packet += static_cast<char>((length & 127) | (rest > 0 ? 128 : 0));
            length = rest;
        } while (length > 0);
        packet += body;
        [[maybe_unused]] const ssize_t sent =
            ::send(client.socket, packet.data(), packet.size(), MSG_NOSIGNAL);
    }

    const LoopbackListener listener_;
    std::atomic<bool> confirms_{true};
    std::atomic<bool> drop_{false};
    std::atomic<int> reason_{0};
    std::atomic<int> connections_{0};
    mutable std::mutex mutex_;
    std::vector<Received> received_;
    std::map<std::string, std::string> kept_;
    std::vector<Client> clients_;  // the thread's own
    std::jthread thread_;
};

}  // namespace test
