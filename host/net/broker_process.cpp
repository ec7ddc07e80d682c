// Start, supervision and end of the broker's process.
#include "host/net/broker_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kStartTime{10};
constexpr std::chrono::seconds kEndTime{5};
constexpr std::chrono::milliseconds kPoll{10};
constexpr std::chrono::milliseconds kWatch{200};  // between checks, and between two starts

// Below the ports that the system gives to outgoing connections, which would otherwise take the
// broker's port while it is away; a client that calls it could even be connected to itself.
constexpr int kFirstPort = 20000;
constexpr int kLastPort = 32000;
constexpr int kPortAttempts = 100;

// Debian keeps the broker in a place that only the administrator's search path includes.
constexpr const char* kPlaces[] = {"/usr/sbin/mosquitto", "/usr/local/sbin/mosquitto",
                                   "/usr/bin/mosquitto", "/usr/local/bin/mosquitto"};

const char* find_broker() {
    for (const char* place : kPlaces) {
        if (access(place, X_OK) == 0) return place;
    }
    throw std::runtime_error(
        "the MQTT broker is not installed; install the Debian package mosquitto");
}

class Socket {
  public:
    Socket() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (fd_ >= 0) close(fd_);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd() const { return fd_; }

  private:
    int fd_;
};

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool answers(int port) {
    const Socket socket;
    const sockaddr_in address = loopback(port);
    return connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// Only the machine itself can connect, so nobody has to authenticate. The limits keep a client that
// does not read, or sends nonsense, from filling the memory. A broker started by an administrator
// would change its user, after which the system forgets to end it with its parent.
void write_configuration(const std::string& path, int port) {
    std::ofstream file(path);
    file << "listener " << port << " 127.0.0.1\n"
         << "allow_anonymous true\n"
         << "user root\n"
         << "persistence false\n"
         << "set_tcp_nodelay true\n"
         << "max_packet_size 65536\n"
         << "max_queued_messages 200\n"
         << "log_dest stderr\n";
    file.close();
    if (!file) throw std::runtime_error("cannot write " + path);
}

// Between fork and exec only calls that are safe there.
[[noreturn]] void become_broker(const char* program, const char* configuration, int log,
                                pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    execl(program, program, "-c", configuration, static_cast<char*>(nullptr));
    _exit(127);
}

bool ended(pid_t pid) {
    return waitpid(pid, nullptr, WNOHANG) == pid;
}

}  // namespace

BrokerProcess::BrokerProcess(const std::string& folder, int port)
    : port_(port), configuration_(folder + "/mosquitto.conf"), log_(folder + "/mosquitto.log") {
    find_broker();
    if (answers(port)) {
        throw std::runtime_error("the port " + std::to_string(port) +
                                 " for the MQTT broker is in use");
    }
    write_configuration(configuration_, port);
    start();
    wait_until_up();
    keeper_ = std::thread([this] { keep_up(); });
}

void BrokerProcess::start() {
    const char* const program = find_broker();
    const int log = open(log_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (log < 0) throw std::runtime_error("cannot write " + log_);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) become_broker(program, configuration_.c_str(), log, parent);
    const int fork_error = errno;
    close(log);
    if (child < 0) {
        throw std::runtime_error("cannot start the MQTT broker: " +
                                 std::generic_category().message(fork_error));
    }
    pid_ = child;
}

void BrokerProcess::wait_until_up() {
    const auto end = steady_clock::now() + kStartTime;
    while (!answers(port_)) {
        const bool gone = ended(pid_);
        if (gone) pid_ = -1;
        if (gone || steady_clock::now() > end) {
            stop();
            throw std::runtime_error("the MQTT broker did not start on port " +
                                     std::to_string(port_) + "; see " + log_);
        }
        std::this_thread::sleep_for(kPoll);
    }
}

// The devices connect again by themselves, so a broker that is back in time costs little.
void BrokerProcess::keep_up() {
    std::unique_lock lock(mutex_);
    while (!stop_changed_.wait_for(lock, kWatch, [this] { return stopping_; })) {
        if (pid_ >= 0 && !ended(pid_)) continue;
        pid_ = -1;
        try {
            start();
            ++restarts_;
        } catch (const std::exception&) {
            // Tried again after the next pause.
        }
    }
}

BrokerProcess::~BrokerProcess() {
    stop();
}

void BrokerProcess::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        stop_changed_.notify_all();
    }
    if (keeper_.joinable()) keeper_.join();
    if (pid_ < 0) return;
    kill(pid_, SIGTERM);
    const auto end = steady_clock::now() + kEndTime;
    while (!ended(pid_)) {
        if (steady_clock::now() > end) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            break;
        }
        std::this_thread::sleep_for(kPoll);
    }
    pid_ = -1;
}

int free_loopback_port() {
    std::random_device random;
    std::uniform_int_distribution<int> any_port(kFirstPort, kLastPort);
    for (int attempt = 0; attempt < kPortAttempts; ++attempt) {
        const int port = any_port(random);
        const Socket socket;
        const sockaddr_in address = loopback(port);
        if (bind(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            return port;
        }
    }
    throw std::runtime_error("no loopback port is free for the MQTT broker");
}

}  // namespace host
