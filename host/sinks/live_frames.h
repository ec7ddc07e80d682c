// The newest frame for whoever watches. Nothing is copied or drawn while nobody has asked, and one
// that nobody took is replaced by a newer one: it never waits, and never holds the frames up.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/engine/sink.h"
#include "host/sinks/live_frame.h"

namespace host {

struct LiveFramesSetup {
    double floor_mm = 3000.0;  // below the camera, for the colours
    bool colour = false;       // the colour picture in place of coloured depth
    std::vector<CountingRegion> regions;
    // Microseconds since 1970 of a scene time.
    std::function<std::int64_t(double time_s)> time_us;
};

class LiveFrames final : public Sink {
  public:
    explicit LiveFrames(LiveFramesSetup setup);

    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    // While nothing happens: other regions, by number.
    void change(const std::vector<CountingRegion>& regions) { setup_.regions = regions; }

    // One more of the frames that begin from now on is kept; any thread.
    void want() { ++wanted_; }
    // The newest frame that was kept, drawn on the calling thread; nothing when none came in time.
    std::optional<LiveFrame> take(std::chrono::milliseconds wait);

  private:
    struct Kept {
        LiveFrame frame;
        std::vector<std::uint16_t> depth_mm;
        std::vector<std::uint8_t> colour_nv12;
    };

    void add_people(const TracksShown& tracks);
    std::vector<std::uint8_t> draw(const Kept& kept) const;

    LiveFramesSetup setup_;  // its regions only touched by the thread of the events
    std::atomic<int> wanted_{0};

    // The frame in progress; only touched by the thread of the events.
    Kept now_;
    bool keeps_ = false;
    std::optional<RegionsReported> report_;

    std::mutex mutex_;
    std::condition_variable came_;
    std::optional<Kept> newest_;
};

}  // namespace host
