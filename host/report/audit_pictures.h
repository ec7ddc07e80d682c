// The pictures beside each mismatch of an audit.
#pragma once

#include <map>
#include <vector>

#include "host/frames/frame_source.h"
#include "host/report/audit_facts.h"
#include "host/sinks/audit_sink.h"

namespace host {

struct AuditScene {
    std::vector<CountingLine> lines;  // in picture coordinates
    double floor_mm = 0.0;            // below the camera
    const std::vector<SeenFrame>* frames = nullptr;
};

// A page with more of them would be too large to be opened or sent.
inline constexpr std::size_t kMostStrips = 60;

// Reads the source from its beginning and draws the coloured depth around the first kMostStrips
// mismatches, with the lines, everybody who is followed, and the path of the one in question.
std::map<std::size_t, Strip> draw_strips(FrameSource& source, const AuditScene& scene,
                                         const AuditInput& input, const Audit& audit);

}  // namespace host
