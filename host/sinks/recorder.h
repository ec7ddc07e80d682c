// Collects what happens during a run from the threads on which it happens.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "host/engine/bus.h"
#include "host/platform/frame_pool.h"
#include "host/report/run_result.h"
#include "vca/platform.h"

namespace host {

// Running totals for the progress display.
struct Progress {
    std::int64_t frames = 0;
    double time_s = 0.0;
    std::array<int, 2> counted{};  // all lines, directions 1 and 2
};

// What else hears of a run while it goes on.
struct Listeners {
    std::function<void(const Event&)> on_event;  // bus thread
    // Thread of the analysis, after the pass; the planes are valid during the call.
    std::function<void(std::int64_t number, const FramePlanes& planes)> on_frame;
    // Bus thread, after all events of this frame.
    std::function<void(std::int64_t number)> on_messages_end;
};

class Recorder {
  public:
    explicit Recorder(Listeners listeners = {}) : listeners_(std::move(listeners)) {}

    // Producing thread, before the frame is queued.
    void add_frame(FrameRecord frame, std::vector<TrueCrossing> crossings);

    // Thread of the analysis.
    void begin_pass(std::int64_t number);
    void add_detection(std::int64_t elapsed_ns);
    // A master tracks twice with every frame: instance 0 follows what its own camera sees, instance
    // 1 the merged people of all devices. Detections and tracks are those of the own camera on
    // every device; the time is that of both.
    void add_tracking(int inst, const std::vector<IOU_TRK_OBJ_S>& objects,
                      const IOU_TRK_RSLT_S& result, double enlarged,
                      std::chrono::nanoseconds elapsed);
    void end_pass(std::int64_t number, const FramePlanes& planes);

    // Bus thread.
    void add_event(const Event& event);
    void end_messages(std::int64_t number);

    // Any thread.
    Progress progress() const;
    FrameStamp current_frame() const;
    // Moves everything recorded into the result.
    void move_into(RunResult& result);

    // No snapshot before this scene time, so that trails have formed.
    void set_snapshot_from(double time_s) { snapshot_from_s_ = time_s; }

  private:
    void consider_snapshot(const FramePlanes& planes);
    void keep(const Event& event);

    const Listeners listeners_;
    mutable std::mutex mutex_;
    std::map<std::int64_t, FrameRecord> waiting_;
    std::vector<FrameRecord> done_;
    std::vector<TrueCrossing> true_crossings_;
    std::vector<Event> events_;
    RegionLog region_log_;
    ShownTracks shown_tracks_;
    Progress progress_;
    FrameStamp stamp_;

    // Only touched by the thread of the analysis.
    FrameRecord current_;
    std::chrono::steady_clock::time_point pass_start_;
    Snapshot snapshot_;
    std::size_t snapshot_people_ = 0;
    double snapshot_from_s_ = 0.0;
};

}  // namespace host
