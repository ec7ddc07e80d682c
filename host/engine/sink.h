// Listeners of a run.
#pragma once

#include <cstdint>
#include <vector>

#include "host/engine/events.h"
#include "host/frames/frame_source.h"

namespace host {

// A box with the identity that the tracker gave it.
struct TrackedBox {
    int id = 0;
    PixelBox box;
};

// A frame set as the analysis takes it up; valid during the call.
struct FrameView {
    std::int64_t number = 0;
    double time_s = 0.0;  // scene time
    const FramePlanes& planes;
    const std::vector<TruePerson>& people;
    const std::vector<TrueCrossing>& crossings;
    double source_ms = 0.0;  // making or reading the frame
};

// What the pass over it did.
struct PassReport {
    std::int64_t number = 0;
    double time_s = 0.0;               // scene time
    bool blank = false;                // fed after the end of the source
    std::vector<PixelBox> detections;  // sure detections that reached the tracker
    std::vector<TrackedBox> tracks;    // reported by the tracker, boxes as detected
    double source_ms = 0.0;            // making or reading the frame
    double detection_ms = 0.0;
    double tracker_ms = 0.0;
    double pass_ms = 0.0;  // from hand-out to give-back
};

// All calls but finish() come on one thread, the bus thread, in the order in which things happened:
// on_frame() when a pass begins, on_event() for everything that the library sends during it,
// end_frame() when nothing more of this pass can come, which is known once the next pass begins or
// the session ends. Events before the first frame belong to no frame. A sink that waits holds the
// frames up, so it misses none. One that throws is left out from then on and ends the run; the
// session throws the same error when it is closed.
class Sink {
  public:
    virtual ~Sink() = default;
    virtual void on_frame(const FrameView& /*frame*/) {}
    virtual void on_event(const Event& /*event*/) {}
    virtual void end_frame(const PassReport& /*report*/) {}
    // After the library has stopped, on the thread that closes the session; at most once.
    virtual void finish() {}
};

}  // namespace host
