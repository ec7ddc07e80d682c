// What happens in a pass of the analysis, reported by the platform functions that the pass calls.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "vca/platform.h"

namespace host {

// All calls come on the thread of the analysis.
class PassObserver {
  public:
    virtual ~PassObserver() = default;
    // A frame set was handed out.
    virtual void begin_pass(std::int64_t frame_number) = 0;
    // A detector has run.
    virtual void detected(std::chrono::nanoseconds elapsed) = 0;
    // An instance of the tracker was updated: the detections of the frame and the targets reported.
    virtual void tracked(int instance, const std::vector<IOU_TRK_OBJ_S>& objects,
                         const IOU_TRK_RSLT_S& result, std::chrono::nanoseconds elapsed) = 0;
    // The whole frame set was given back; its pixels are still there.
    virtual void end_pass(std::int64_t frame_number) = 0;
};

// Null for none. Change it only while the analysis is down.
void set_pass_observer(PassObserver* observer);
PassObserver* pass_observer();

}  // namespace host
