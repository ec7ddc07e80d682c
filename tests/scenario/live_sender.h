// A camera that is none: a process of its own, which sends the same pictures again and again to a
// named pipe or a TCP port and can be stopped, killed and started again.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/scenario/free_port.h"

namespace test {

class Sender {
  public:
    // To a pipe, or, where there is a port, to who listens at it.
    Sender(std::string pipe, std::uint16_t port = 0) : pipe_(std::move(pipe)), port_(port) {
        if (::pipe2(told_, O_CLOEXEC) != 0) std::abort();
    }
    ~Sender() {
        kill();
        ::close(told_[0]);
        ::close(told_[1]);
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    // All pictures in a loop, so many seconds apart.
    void start(const std::vector<std::string>& pictures, double step_s) {
        kill();
        child_ = ::fork();
        if (child_ != 0) return;
        std::signal(SIGPIPE, SIG_IGN);
        while (true)
            send_loops(pictures, step_s);
    }
    void kill() {
        if (child_ <= 0) return;
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
        child_ = -1;
    }
    void hold() const { ::kill(child_, SIGSTOP); }
    void go_on() const { ::kill(child_, SIGCONT); }

    // How many loops were begun, of all senders.
    int loops() {
        pollfd asked{told_[0], POLLIN, 0};
        char note = 0;
        while (::poll(&asked, 1, 0) > 0 && ::read(told_[0], &note, 1) == 1)
            ++loops_;
        return loops_;
    }

  private:
    int open() const {
        if (port_ == 0) return ::open(pipe_.c_str(), O_WRONLY | O_CLOEXEC);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int file = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::connect(file, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
            return file;
        ::close(file);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return -1;
    }

    static bool write_all(int file, std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t sent = ::write(file, bytes.data(), bytes.size());
            if (sent <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

    // Until nobody takes them any more. A camera that was stopped does not hurry afterwards.
    void send_loops(const std::vector<std::string>& pictures, double step_s) const {
        using std::chrono::steady_clock;
        const auto step = std::chrono::duration_cast<steady_clock::duration>(
            std::chrono::duration<double>(step_s));
        const int file = open();
        auto due = steady_clock::now();
        while (file >= 0) {
            if (::write(told_[1], "l", 1) != 1) ::_exit(1);
            for (const std::string& picture : pictures) {
                due = std::max(due + step, steady_clock::now());
                std::this_thread::sleep_until(due);
                if (!write_all(file, picture)) {
                    ::close(file);
                    return;
                }
            }
        }
    }

    std::string pipe_;
    std::uint16_t port_;
    int told_[2] = {-1, -1};
    int loops_ = 0;
    pid_t child_ = -1;
};

}  // namespace test
