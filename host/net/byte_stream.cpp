// Descriptors that are asked with poll() before anything is taken from them.
#include "host/net/byte_stream.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "host/base/abandonable.h"
#include "host/base/input_error.h"

namespace host {
namespace {

constexpr int kMoment_ms = 50;  // between two questions whether to stop
constexpr std::string_view kTcp = "tcp://";
constexpr std::string_view kListen = "?listen";

struct TcpAddress {
    std::string host;
    std::string port;
    bool listen = false;
};

TcpAddress parse_tcp(const std::string& address) {
    std::string_view text = address;
    text.remove_prefix(kTcp.size());
    TcpAddress tcp;
    tcp.listen = text.ends_with(kListen);
    if (tcp.listen) text.remove_suffix(kListen.size());
    const std::size_t colon = text.rfind(':');
    if (colon != std::string_view::npos) {
        tcp.host = text.substr(0, colon);
        tcp.port = text.substr(colon + 1);
    }
    if (tcp.host.starts_with('[') && tcp.host.ends_with(']'))
        tcp.host = tcp.host.substr(1, tcp.host.size() - 2);
    const bool is_number =
        !tcp.port.empty() && tcp.port.find_first_not_of("0123456789") == std::string::npos;
    if (tcp.host.empty() || !is_number) {
        throw InputError("\"" + address +
                         "\" is no address; write tcp://HOST:PORT, or tcp://HOST:PORT?listen to "
                         "wait for the sender");
    }
    return tcp;
}

// A descriptor until somebody takes it.
class OpenFile {
  public:
    explicit OpenFile(int file) : file_(file) {}
    ~OpenFile() {
        if (file_ >= 0) ::close(file_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int number() const { return file_; }
    int take() { return std::exchange(file_, -1); }

  private:
    int file_;
};

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

Addresses look_up(const std::string& host, const std::string& port, int flags) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
    if (error != 0) throw std::runtime_error(gai_strerror(error));
    return Addresses(list);
}

bool is_number(const std::string& host) {
    in6_addr bytes;
    return ::inet_pton(AF_INET, host.c_str(), &bytes) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), &bytes) == 1;
}

// A name server may take half a minute to say nothing.
Addresses look_up(const std::string& host, const std::string& port, bool listen,
                  const ByteStream::Stop& stop) {
    const int flags = listen ? AI_PASSIVE : 0;
    if (is_number(host)) return look_up(host, port, flags | AI_NUMERICHOST);
    auto found = do_abandonable<Addresses>([=] { return look_up(host, port, flags); }, stop);
    if (!found) throw std::runtime_error("\"" + host + "\" was not found in time");
    return std::move(*found);
}

int socket_for(const addrinfo& address) {
    return ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
                    address.ai_protocol);
}

}  // namespace

ByteStream::Kind ByteStream::kind_of(const std::string& address) {
    if (address == "-") return Kind::kStandardInput;
    if (address.starts_with(kTcp)) {
        parse_tcp(address);
        return Kind::kTcp;
    }
    struct stat status {};
    if (::stat(address.c_str(), &status) != 0)
        throw InputError("\"" + address + "\" cannot be opened: " + std::strerror(errno));
    if (S_ISFIFO(status.st_mode)) return Kind::kPipe;
    if (S_ISCHR(status.st_mode)) return Kind::kDevice;
    throw InputError(
        "\"" + address +
        "\" is no named pipe and no device; a live source is -, a pipe, /dev/videoN or "
        "tcp://HOST:PORT, and recordings go with --recording");
}

ByteStream::ByteStream(const std::string& address, Stop stop)
    : address_(address), kind_(kind_of(address)), stop_(std::move(stop)) {
    switch (kind_) {
        case Kind::kStandardInput:
            file_ = STDIN_FILENO;
            owned_ = false;
            break;
        case Kind::kPipe:
            watch_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
            reopen();
            break;
        case Kind::kDevice:
            throw InputError("\"" + address + "\" is a device");
        case Kind::kTcp: {
            const TcpAddress tcp = parse_tcp(address);
            file_ = tcp.listen ? accept_at(tcp.host, tcp.port) : connect_to(tcp.host, tcp.port);
            break;
        }
    }
}

ByteStream::~ByteStream() {
    if (owned_ && file_ >= 0) ::close(file_);
    if (watch_ >= 0) ::close(watch_);
}

// At once, also before there is a sender. A descriptor that has seen the end tells it again until
// somebody writes, so a fresh one is needed. The old one is closed after it: what the next sender
// has written already stays in the pipe.
void ByteStream::reopen() {
    ::inotify_add_watch(watch_, address_.c_str(), IN_CLOSE_WRITE);
    const int fresh = ::open(address_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fresh < 0) throw std::runtime_error(std::strerror(errno));
    if (file_ >= 0) ::close(file_);
    file_ = fresh;
}

bool ByteStream::wait_for(int file, short events) const {
    pollfd asked{file, events, 0};
    while (!stop_()) {
        // Errors and hang-ups show in what is done next.
        if (::poll(&asked, 1, kMoment_ms) > 0) return true;
        if (file == file_ && is_replaced()) return true;
    }
    return false;
}

// A sender may have made the pipe anew under the same name; nobody writes into the old one then.
bool ByteStream::is_replaced() const {
    struct stat ours {};
    struct stat there {};
    return kind_ == Kind::kPipe && ::fstat(file_, &ours) == 0 &&
           ::stat(address_.c_str(), &there) == 0 &&
           (ours.st_ino != there.st_ino || ours.st_dev != there.st_dev);
}

bool ByteStream::has_sender() const {
    pollfd asked{file_, POLLIN, 0};
    return ::poll(&asked, 1, 0) >= 0 && (asked.revents & POLLHUP) == 0;
}

// The system notes it before the pipe shows its end.
void ByteStream::note_leaving() {
    alignas(inotify_event) std::array<char, 4096> notes;
    while (watch_ >= 0 && ::read(watch_, notes.data(), notes.size()) > 0)
        left_ = true;
}

int ByteStream::connect_to(const std::string& host, const std::string& port) const {
    const auto list = look_up(host, port, false, stop_);
    int error = ECONNREFUSED;
    for (const addrinfo* address = list.get(); address != nullptr; address = address->ai_next) {
        OpenFile file(socket_for(*address));
        if (file.number() < 0) continue;
        if (::connect(file.number(), address->ai_addr, address->ai_addrlen) != 0) {
            error = errno;
            if (error != EINPROGRESS) continue;
            if (!wait_for(file.number(), POLLOUT)) return -1;
            socklen_t size = sizeof error;
            ::getsockopt(file.number(), SOL_SOCKET, SO_ERROR, &error, &size);
            if (error != 0) continue;
        }
        return file.take();
    }
    throw std::runtime_error(std::strerror(error));
}

int ByteStream::accept_at(const std::string& host, const std::string& port) const {
    const auto list = look_up(host, port, true, stop_);
    const OpenFile door(socket_for(*list));
    const int on = 1;
    ::setsockopt(door.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(door.number(), list->ai_addr, list->ai_addrlen) != 0 ||
        ::listen(door.number(), 1) != 0)
        throw std::runtime_error(std::strerror(errno));
    while (wait_for(door.number(), POLLIN)) {
        const int file = ::accept4(door.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (file >= 0) return file;
    }
    return -1;
}

ByteStream::Taken ByteStream::read(std::uint8_t* to, int most) {
    while (file_ >= 0 && wait_for(file_, POLLIN)) {
        const ssize_t got = ::read(file_, to, static_cast<std::size_t>(most));
        const bool waits = got < 0 && (errno == EAGAIN || errno == EINTR);
        note_leaving();
        if (waits && !left_ && !is_replaced()) continue;
        // Where another came before the end of the first was seen, the pipe shows none, and the
        // bytes may be of either.
        const bool mixed = left_ && (got > 0 || waits) && has_sender();
        if (got <= 0 || mixed) left_ = false;
        const int bytes = static_cast<int>(std::max<ssize_t>(got, 0));
        if (mixed) return {State::kMixed, bytes};
        return {got > 0 ? State::kBytes : State::kEnd, bytes};
    }
    return {State::kStopped, 0};
}

}  // namespace host
