// The service's end of the connections for what is live: the newest frames of the cameras that
// somebody watches, with their pictures. Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/net/message_socket.h"
#include "host/sinks/live_frame.h"

namespace host {

class LivePictures {
  public:
    using Clock = std::chrono::steady_clock;
    // Never null.
    using Frame = std::shared_ptr<const LiveFrame>;
    // Told of each frame, on the thread of the connections.
    using Listener = std::function<void(const std::string& camera, const Frame& frame)>;

    // For so long each frame and its picture can be had.
    static constexpr std::chrono::seconds kKept{4};

    LivePictures();
    ~LivePictures();
    LivePictures(const LivePictures&) = delete;
    LivePictures& operator=(const LivePictures&) = delete;

    // Takes over the socket to a camera's process that begins; its frames are numbered on from
    // those of the process before, so that no number means two frames.
    void connect(const std::string& camera, int file);
    void disconnect(const std::string& camera);

    // An empty one ends it: on return the one before is not running.
    void listen(Listener listener);

    // Frames of the camera are made as long as a watch of it lives, which must not outlive this.
    class Watch {
      public:
        Watch(LivePictures& pictures, std::string camera);
        ~Watch();
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

      private:
        LivePictures& pictures_;
        const std::string camera_;
    };

    // Null when it is not kept, or not any more.
    std::shared_ptr<const LiveFrame> frame(const std::string& camera, std::int64_t number) const;
    // The newest; while nobody watches it is waited for. Null when none came in time.
    std::shared_ptr<const LiveFrame> newest(const std::string& camera,
                                            std::chrono::milliseconds wait);

  private:
    struct Kept {
        Clock::time_point came;
        Frame frame;
    };
    struct Camera {
        std::shared_ptr<MessageSocket> socket;  // null: no process
        int asked = 0;                          // for frames that have not come
        int watches = 0;
        std::int64_t first = 0;  // number of the process' frame 0
        std::int64_t last = -1;  // number of the newest frame ever
        std::deque<Kept> kept;
    };

    void work(const std::stop_token& stop);
    void wait_for_frames();
    void hear(const std::string& name, const std::shared_ptr<MessageSocket>& socket);
    void keep(const std::string& name, LiveFrame frame);
    void ask_and_forget();
    void wake() const;

    mutable std::mutex mutex_;
    std::condition_variable came_;
    std::map<std::string, Camera> cameras_;
    std::mutex telling_;
    Listener listener_;
    int wake_file_;
    std::jthread thread_;
};

}  // namespace host
