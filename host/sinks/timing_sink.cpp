// Collection of the times.
#include "host/sinks/timing_sink.h"

namespace host {

void TimingSink::end_frame(const PassReport& report) {
    if (report.blank) return;
    ++timings_.frames;
    timings_.source_ms.add(report.source_ms);
    timings_.detection_ms.add(report.detection_ms);
    timings_.tracker_ms.add(report.tracker_ms);
    timings_.library_ms.add(report.pass_ms - report.detection_ms - report.tracker_ms);
    timings_.pass_ms.add(report.pass_ms);
}

}  // namespace host
