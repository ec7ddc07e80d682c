// The camera's end of the connection to the service of its place.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include "host/net/message_socket.h"
#include "host/service/camera_message.h"

namespace host {

class ServiceLink {
  public:
    // Takes over the socket and waits for the first message. Throws InputError when there is none,
    // because somebody else than a service has started the process.
    explicit ServiceLink(int file);
    ~ServiceLink();
    ServiceLink(const ServiceLink&) = delete;
    ServiceLink& operator=(const ServiceLink&) = delete;

    const CameraBegin& begun() const { return begun_; }

    // From here on signs of life are sent, and `hear` is told, on the link's own thread, what the
    // service asks for. When the service is gone the process is asked to end, and ended when it
    // does not.
    void start(std::function<void(const CameraMessage&)> hear);

    // What signs of life tell; any thread.
    void count_taken() { ++taken_; }
    void count_finished() { ++finished_; }
    void set_counting() { counting_ = true; }

    // Any thread. It is not waited for a service that does not listen.
    void tell(const CameraMessage& message);

  private:
    void work(const std::stop_token& stop);
    void take_messages();
    void follow_service(const std::stop_token& stop) const;

    MessageSocket socket_;
    CameraBegin begun_;
    std::atomic<bool> counting_{false};
    std::atomic<std::int64_t> taken_{0};
    std::atomic<std::int64_t> finished_{0};
    std::function<void(const CameraMessage&)> hear_;
    std::jthread thread_;
};

}  // namespace host
