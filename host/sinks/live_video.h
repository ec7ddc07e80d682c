// The live picture of every frame as a video file.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/draw/live_view.h"
#include "host/engine/sink.h"
#include "host/media/video_file.h"

namespace host {

// Draws and encodes on a thread of its own. Every frame is drawn with all of its own messages and
// none of a later frame, regardless of thread timing: it waits until end_frame() says that they
// have come. on_frame() waits while many pictures are still to be drawn.
class LiveVideo final : public Sink {
  public:
    struct Setup {
        std::string path;  // any name; the file is an MP4
        double frames_per_second = 15.0;
        LiveScene scene;
    };

    // Throws std::runtime_error when the file or the thread cannot be made, or the disk is nearly
    // full.
    explicit LiveVideo(Setup setup);
    // Without finish(), anything not drawn yet is left out.
    ~LiveVideo() override;
    LiveVideo(const LiveVideo&) = delete;
    LiveVideo& operator=(const LiveVideo&) = delete;

    // Copies the colour picture; frames fed after the end of the source are left out. Throws any
    // error in drawing or writing since the last call.
    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    // Draws what is left and ends the file. Throws std::runtime_error when anything went wrong.
    void finish() override;

    // Pictures written; after finish().
    std::int64_t frames() const { return written_; }

  private:
    struct Picture {
        std::int64_t frame_number = 0;
        double time_s = 0.0;
        std::vector<std::uint8_t> colour_nv12;
    };

    void work();
    bool take_picture(Picture& picture);
    void draw(const Picture& picture);
    void stop();
    void check_room() const;
    std::vector<std::uint8_t> take_spare();

    Setup setup_;
    // Only touched by the video's thread.
    LiveView view_;
    cv::Mat drawn_;
    VideoFile file_;
    std::int64_t written_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Picture> pictures_;
    std::deque<Event> events_;
    std::vector<std::vector<std::uint8_t>> spare_;  // memory of pictures that were drawn
    std::int64_t ended_ = -1;                       // the last frame whose messages are all there
    bool closing_ = false;
    std::exception_ptr error_;
    std::thread thread_;
};

}  // namespace host
