// A socket of this machine alone that waits for connections, for servers that tests make up.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace test {

class LoopbackListener {
  public:
    // A port of the system's choice when `port` is 0. Throws std::runtime_error when it is taken.
    explicit LoopbackListener(int port = 0)
        : file_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        ::setsockopt(file_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        socklen_t size = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (::bind(file_, any, size) != 0 || ::listen(file_, 8) != 0 ||
            ::getsockname(file_, any, &size) != 0) {
            ::close(file_);
            throw std::runtime_error("no port to listen on");
        }
        port_ = ntohs(address.sin_port);
    }
    ~LoopbackListener() { ::close(file_); }
    LoopbackListener(const LoopbackListener&) = delete;
    LoopbackListener& operator=(const LoopbackListener&) = delete;

    int file() const { return file_; }
    int port() const { return port_; }
    int accept() const { return ::accept(file_, nullptr, nullptr); }

  private:
    const int file_;
    int port_ = 0;
};

}  // namespace test
