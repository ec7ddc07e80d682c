// How many frames a run had and how long their steps took.
#pragma once

#include <cstdint>

#include "host/engine/sink.h"
#include "host/score/samples.h"

namespace host {

// Milliseconds per frame of the source.
struct Timings {
    std::int64_t frames = 0;  // without those fed after the end of the source
    Samples source_ms;        // making or reading the frame
    Samples detection_ms;
    Samples tracker_ms;
    Samples library_ms;  // pass without detection and tracker
    Samples pass_ms;
};

class TimingSink final : public Sink {
  public:
    void end_frame(const PassReport& report) override;
    const Timings& timings() const { return timings_; }

  private:
    Timings timings_;
};

}  // namespace host
