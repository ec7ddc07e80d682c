// The processes of a place: one for each camera, started again when it dies or hangs.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/net/child_process.h"
#include "host/net/message_socket.h"
#include "host/service/camera_message.h"
#include "host/service/camera_watch.h"
#include "host/settings/service_file.h"

namespace host {

class Supervisor {
  public:
    // One sentence about a camera, or about the place when `camera` is empty.
    using Say = std::function<void(const std::string& camera, const std::string& sentence)>;

    Supervisor(ServiceFile file, Say say);
    ~Supervisor();
    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;

    // Until `stop` turns true, or all cameras have come to the end of their recordings. Call it on
    // the thread that lives as long as the program: the processes end with it.
    void run(const std::atomic<bool>& stop);

  private:
    struct Camera {
        explicit Camera(ServiceCamera given) : what(std::move(given)) {}

        ServiceCamera what;
        std::unique_ptr<ChildProcess> process;
        std::unique_ptr<MessageSocket> socket;
        CameraWatch watch;
        CameraWatch::Time start_at{};
        CameraCommitted committed;
        std::string hung_why;       // and was therefore ended
        std::int64_t ended_us = 0;  // since when it does not count; 0 while it does
        std::string ended_why;
        std::string complaint;  // its last one, which is said once
        bool at_end = false;    // of its recording
    };

    void start(Camera& camera);
    void wait_for_news() const;
    void look_after(Camera& camera);
    void hear(Camera& camera);
    void hear_message(Camera& camera, const std::string& text);
    void note_end(Camera& camera, int status);
    void end_all();
    bool all_at_end() const;

    ServiceFile file_;
    const Say say_;
    std::vector<std::unique_ptr<Camera>> cameras_;
};

}  // namespace host
