// Framing, and sending that never waits.
#include "host/net/message_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace host {
namespace {

constexpr std::string_view kMark{"vca\1", 4};
constexpr std::size_t kHeader = 12;
// What one side sends while the other one is busy: many small messages or a large one.
constexpr std::size_t kMostWaiting = MessageSocket::kMostBytes + MessageSocket::kMostText;

void add_number(std::string& text, std::size_t number) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        text += static_cast<char>(static_cast<std::uint8_t>(number >> shift));
}

std::size_t number_at(const std::string& text, std::size_t at) {
    std::size_t number = 0;
    for (std::size_t i = 4; i-- > 0;)
        number = number << 8 | static_cast<std::uint8_t>(text[at + i]);
    return number;
}

bool would_wait() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

std::pair<int, int> MessageSocket::open_pair() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("cannot open a socket: " + std::generic_category().message(errno));
    }
    return {ends[0], ends[1]};
}

MessageSocket::MessageSocket(int file) : file_(file) {
    ::fcntl(file_, F_SETFL, ::fcntl(file_, F_GETFL) | O_NONBLOCK);
    ::fcntl(file_, F_SETFD, FD_CLOEXEC);
}

MessageSocket::~MessageSocket() {
    if (file_ >= 0) ::close(file_);
}

int MessageSocket::file() const {
    const std::lock_guard lock(mutex_);
    return file_;
}

bool MessageSocket::is_closed() const {
    return file() < 0;
}

std::string MessageSocket::why_closed() const {
    const std::lock_guard lock(mutex_);
    return why_;
}

void MessageSocket::close_because(const std::string& why) {
    if (file_ < 0) return;
    ::close(file_);
    file_ = -1;
    why_ = why;
    waiting_.clear();
}

bool MessageSocket::send(const SocketMessage& message) {
    if (message.text.size() > kMostText || message.bytes.size() > kMostBytes) return false;
    const std::lock_guard lock(mutex_);
    send_waiting();
    const std::size_t size = kHeader + message.text.size() + message.bytes.size();
    if (file_ < 0 || waiting_.size() + size > kMostWaiting) return false;
    waiting_ += kMark;
    add_number(waiting_, message.text.size());
    add_number(waiting_, message.bytes.size());
    waiting_ += message.text;
    waiting_.append(message.bytes.begin(), message.bytes.end());
    send_waiting();
    return file_ >= 0;
}

void MessageSocket::flush() {
    const std::lock_guard lock(mutex_);
    send_waiting();
}

void MessageSocket::send_waiting() {
    std::size_t sent = 0;
    while (file_ >= 0 && sent < waiting_.size()) {
        const ssize_t count =
            ::send(file_, waiting_.data() + sent, waiting_.size() - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (would_wait()) {
            break;
        } else {
            return close_because("the other side is gone");
        }
    }
    waiting_.erase(0, sent);
}

std::vector<SocketMessage> MessageSocket::receive() {
    const std::lock_guard lock(mutex_);
    std::vector<SocketMessage> messages;
    std::array<char, 65536> bytes{};
    while (file_ >= 0) {
        const ssize_t count = ::recv(file_, bytes.data(), bytes.size(), 0);
        if (count < 0 && would_wait()) break;
        if (count <= 0) {
            close_because("the other side is gone");
            break;
        }
        received_.append(bytes.data(), static_cast<std::size_t>(count));
        for (SocketMessage message; take_message(message);)
            messages.push_back(std::move(message));
    }
    return messages;
}

bool MessageSocket::take_message(SocketMessage& message) {
    if (received_.size() < kHeader) return false;
    const std::size_t text = number_at(received_, 4);
    const std::size_t bytes = number_at(received_, 8);
    if (!received_.starts_with(kMark) || text > kMostText || bytes > kMostBytes) {
        received_.clear();
        close_because("the other side has sent what is no message of this version");
        return false;
    }
    if (received_.size() < kHeader + text + bytes) return false;
    message.text = received_.substr(kHeader, text);
    const auto begin = received_.begin() + static_cast<std::ptrdiff_t>(kHeader + text);
    message.bytes.assign(begin, begin + static_cast<std::ptrdiff_t>(bytes));
    received_.erase(0, kHeader + text + bytes);
    return true;
}

}  // namespace host
