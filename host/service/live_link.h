// The camera's end of the connection for what is live: one frame for each time that the service
// asks, so none is made while nobody watches, and none waits for a service that does not listen.
#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <thread>

#include "host/net/message_socket.h"
#include "host/sinks/live_frames.h"

namespace host {

// What the service sends to get the next frame.
inline constexpr const char* kWantFrame = "want";

class LiveLink {
  public:
    // Takes over the socket; the frames must outlive it.
    LiveLink(int file, LiveFrames& frames, std::string camera);
    ~LiveLink() = default;
    LiveLink(const LiveLink&) = delete;
    LiveLink& operator=(const LiveLink&) = delete;

  private:
    void work(const std::stop_token& stop);
    void hear_wishes();

    MessageSocket socket_;
    LiveFrames& frames_;
    const std::string camera_;
    int wanted_ = 0;  // frames that were asked for and not sent; the thread's own
    std::jthread thread_;
};

}  // namespace host
