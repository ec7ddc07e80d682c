// Messages between two processes of one machine over a Unix socket.
//
// A message is a header of 12 bytes, a text and bytes: "vca" and the version of this form, the
// lengths of text and bytes as 32-bit little-endian numbers, then both.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace host {

struct SocketMessage {
    std::string text;  // JSON
    std::vector<std::uint8_t> bytes;
};

class MessageSocket {
  public:
    static constexpr std::size_t kMostText = std::size_t{1} << 20;
    static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

    // Two ends that are connected, closed in new programs. Throws std::runtime_error.
    static std::pair<int, int> open_pair();

    // Takes over an end.
    explicit MessageSocket(int file);
    ~MessageSocket();
    MessageSocket(const MessageSocket&) = delete;
    MessageSocket& operator=(const MessageSocket&) = delete;

    // For poll(); -1 once closed.
    int file() const;

    // Sends without waiting, any thread. False, and nothing is kept, when the other side has not
    // taken what was sent before, or is gone.
    bool send(const SocketMessage& message);
    // Sends what the other side did not take before.
    void flush();

    // What has come whole, without waiting; one thread at a time.
    std::vector<SocketMessage> receive();

    // The other side is gone, or has sent what is no message.
    bool is_closed() const;
    std::string why_closed() const;

  private:
    void close_because(const std::string& why);
    void send_waiting();
    bool take_message(SocketMessage& message);

    mutable std::mutex mutex_;
    int file_;
    std::string why_;
    std::string waiting_;   // to be sent
    std::string received_;  // not yet whole
};

}  // namespace host
