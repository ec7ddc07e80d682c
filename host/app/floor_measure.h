// Measures how a camera hangs while it counts: its frames are looked at on a thread of its own,
// which leaves out those that come too fast for it.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "host/engine/sink.h"
#include "host/frames/frame_source.h"
#include "host/service/camera_message.h"

namespace host {

class FloorMeasure final : public Sink {
  public:
    // Measures once in the beginning. The source must outlive it; `tell` is told how far it is, and
    // the result, on the thread of its own.
    FloorMeasure(const FrameSource& source, std::function<void(const CameraMeasured&)> tell);

    // Measures again, from the next frame on; any thread.
    void begin();

    void on_frame(const FrameView& frame) override;

  private:
    void work(const std::stop_token& stop);
    void measure(const std::stop_token& stop);
    // Nothing when it is to end or to begin again.
    std::optional<SourceFrame> next_frame(const std::stop_token& stop);

    const FrameSource& source_;
    const std::function<void(const CameraMeasured&)> tell_;

    std::mutex mutex_;
    std::condition_variable_any changed_;
    bool asked_ = true;
    bool wants_ = false;  // a frame
    std::optional<SourceFrame> frame_;
    std::jthread thread_;
};

}  // namespace host
