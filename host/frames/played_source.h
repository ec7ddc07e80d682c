// A recording or a scene that takes place now, as if a camera saw it: once, or again and again.
#pragma once

#include <memory>

#include "host/frames/frame_source.h"

namespace host {

// Its scene time 0 is the present. Each time that it begins again, numbers and scene times go on;
// the frames between show nothing, so that nobody of the time before is taken for somebody of the
// next. A scene has other people in it each time. Throws InputError.
std::unique_ptr<FrameSource> open_played(const SourceOptions& options, bool again);

}  // namespace host
