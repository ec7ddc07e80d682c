// The cheapest host the library can run on: it delivers a crowd, drops messages and knows its
// people by their place, so that next to nothing but the library's own work is left in a pass.
#pragma once

#include "bench/crowd.h"

namespace bench {

// Told where a frame pass begins and ends, in the thread of the pass.
class PassObserver {
  public:
    virtual ~PassObserver() = default;
    virtual void begin() = 0;   // the host hands the frame set over
    virtual void end() = 0;     // the last frame of it was given back
    virtual void pause() = 0;   // the host's inference begins
    virtual void resume() = 0;  // and ends
};

// Starts the library, configures it, runs its analysis task in this thread for `frames` frame sets
// without pauses between them, and shuts it down. On a master two slaves report on every frame.
void run_library(const Crowd& crowd, const VCA_ALGO_CFG_S& cfg, int frames, PassObserver& observer);

// Messages of that number sent in the last run.
int messages_sent(int id);

// The host's part alone, for calling single stages of the library: the frame whose people the
// tracker knows and whose depth image the control block has.
void show_frame(const Crowd& crowd, int frame);

// The detections of the crowd that the device sees on the frame; `shift_px` moves them, for a
// second detector that sees nearly the same.
void detect_crowd(const Crowd& crowd, int frame, int shift_px, DET_OBJECTS_S& found);

// Sends the library's prints to /dev/null for its lifetime.
class Muted {
  public:
    Muted();
    ~Muted();
    Muted(const Muted&) = delete;
    Muted& operator=(const Muted&) = delete;

  private:
    int saved_;
};

}  // namespace bench
