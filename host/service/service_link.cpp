// Signs of life, and what the service asks for.
#include "host/service/service_link.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "host/base/input_error.h"
#include "host/base/version.h"

namespace host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kBeat{1};
constexpr int kMoment_ms = 100;
constexpr std::chrono::seconds kFirstMessage{10};
// What is counted is written by then; a process that hangs must not keep its database from the
// next.
constexpr std::chrono::seconds kLastWrites{8};

bool wait_readable(int file) {
    pollfd poll_file{file, POLLIN, 0};
    return ::poll(&poll_file, 1, kMoment_ms) > 0;
}

}  // namespace

ServiceLink::ServiceLink(int file) : socket_(file) {
    const auto end = steady_clock::now() + kFirstMessage;
    while (!socket_.is_closed() && steady_clock::now() < end) {
        wait_readable(socket_.file());
        for (const SocketMessage& message : socket_.receive()) {
            const auto known = camera_message(message.text);
            if (!known || !std::holds_alternative<CameraBegin>(*known)) continue;
            begun_ = std::get<CameraBegin>(*known);
            tell(CameraHello{version_number()});
            return;
        }
    }
    throw InputError("a camera's process is started by vca serve; run that");
}

ServiceLink::~ServiceLink() = default;

void ServiceLink::start(std::function<void(const CameraMessage&)> hear) {
    hear_ = std::move(hear);
    thread_ = std::jthread([this](const std::stop_token& stop) { work(stop); });
}

void ServiceLink::tell(const CameraMessage& message) {
    socket_.send({to_text(message), {}});
}

void ServiceLink::work(const std::stop_token& stop) {
    auto next_beat = steady_clock::now();
    while (!stop.stop_requested()) {
        if (steady_clock::now() >= next_beat) {
            next_beat += kBeat;
            tell(CameraBeat{counting_, taken_, finished_});
        }
        wait_readable(socket_.file());
        take_messages();
        if (socket_.is_closed()) return follow_service(stop);
    }
}

void ServiceLink::take_messages() {
    for (const SocketMessage& message : socket_.receive()) {
        if (const auto known = camera_message(message.text)) hear_(*known);
    }
}

void ServiceLink::follow_service(const std::stop_token& stop) const {
    ::kill(::getpid(), SIGTERM);
    const auto end = steady_clock::now() + kLastWrites;
    while (!stop.stop_requested() && steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(kMoment_ms));
    if (!stop.stop_requested()) ::kill(::getpid(), SIGKILL);
}

}  // namespace host
