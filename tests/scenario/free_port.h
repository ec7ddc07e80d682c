// Where a test's own service can be reached.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

namespace test {

// A free TCP port of this machine, a moment ago.
inline std::uint16_t free_port() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int file = ::socket(AF_INET, SOCK_STREAM, 0);
    socklen_t size = sizeof address;
    ::bind(file, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(file, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(file);
    return ntohs(address.sin_port);
}

}  // namespace test
