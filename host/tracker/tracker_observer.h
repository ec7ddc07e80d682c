// Lets the host program watch what the tracker is given and what it answers.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include "vca/platform.h"

namespace host {

// Called after every update of an instance, on the thread of the analysis: the detections of the
// frame, the targets reported, and the time the update took.
using TrackerObserver =
    std::function<void(int inst, const std::vector<IOU_TRK_OBJ_S>& objects,
                       const IOU_TRK_RSLT_S& result, std::chrono::nanoseconds elapsed)>;

// An empty observer switches the watching off. Change it only while the analysis is down.
void set_tracker_observer(TrackerObserver observer);

}  // namespace host
