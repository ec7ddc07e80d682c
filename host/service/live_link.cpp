// Wait to be asked, wait for a frame, send it.
#include "host/service/live_link.h"

#include <poll.h>

#include <chrono>
#include <utility>

namespace host {
namespace {

constexpr std::chrono::milliseconds kMoment{100};

void wait_readable(int file) {
    pollfd poll_file{file, POLLIN, 0};
    ::poll(&poll_file, 1, static_cast<int>(kMoment.count()));
}

}  // namespace

LiveLink::LiveLink(int file, LiveFrames& frames, std::string camera)
    : socket_(file),
      frames_(frames),
      camera_(std::move(camera)),
      thread_([this](const std::stop_token& stop) { work(stop); }) {}

void LiveLink::work(const std::stop_token& stop) {
    while (!stop.stop_requested() && !socket_.is_closed()) {
        if (wanted_ == 0) wait_readable(socket_.file());
        hear_wishes();
        if (wanted_ > 0) {
            if (auto frame = frames_.take(kMoment)) {
                --wanted_;
                socket_.send({to_json(*frame, camera_), std::move(frame->jpeg)});
            }
        }
        socket_.flush();
    }
}

void LiveLink::hear_wishes() {
    for (const SocketMessage& message : socket_.receive()) {
        if (message.text != kWantFrame) continue;
        ++wanted_;
        frames_.want();
    }
}

}  // namespace host
