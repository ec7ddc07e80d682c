// The live picture of every frame as a video file.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/draw/live_view.h"
#include "host/platform/frame_pool.h"

namespace host {

// Draws and encodes on a thread of its own. Every frame is drawn with all of its own messages and
// none of a later frame, however the threads run: it waits until end_frame() says that they have
// come.
class LiveVideo {
  public:
    struct Setup {
        std::string path;  // any name; the file is an MP4
        double frames_per_second = 15.0;
        LiveScene scene;
    };

    // Throws std::runtime_error when the file or the thread cannot be made.
    explicit LiveVideo(Setup setup);
    // Without close() what was not drawn yet is left out.
    ~LiveVideo();
    LiveVideo(const LiveVideo&) = delete;
    LiveVideo& operator=(const LiveVideo&) = delete;

    // Thread of the analysis, at the end of each pass, with rising numbers; copies the colour
    // picture and never waits. Frames fed after the end of the source are left out.
    void add_picture(std::int64_t frame_number, const FramePlanes& planes);

    // Bus thread; never waits for drawing.
    void add_event(const Event& event);

    // Bus thread, when everything that was sent up to the end of this frame's pass was given to
    // add_event().
    void end_frame(std::int64_t frame_number);

    // Thread that makes the frames, before each one: waits while many pictures are still to be
    // drawn. The analysis must not wait for that itself, because it holds the lock that the
    // delivery of messages may need.
    void wait_for_room();

    // After the last message: draws what is left and ends the file. Throws std::runtime_error when
    // anything went wrong since the beginning. At most once.
    void close();

    // Pictures written; after close().
    std::int64_t frames() const { return written_; }

  private:
    struct Picture {
        std::int64_t frame_number = 0;
        std::vector<std::uint8_t> colour_nv12;
    };
    class Encoder;

    void work();
    bool take_picture(Picture& picture);
    void draw(const Picture& picture);
    void stop();
    void check_file() const;

    Setup setup_;
    // Only touched by the video's thread.
    LiveView view_;
    cv::Mat drawn_;
    std::unique_ptr<Encoder> encoder_;
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
