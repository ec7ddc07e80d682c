// Frames of a camera that may hang crooked, turned to those of a camera that looks straight down.
#pragma once

#include <memory>

#include "host/base/camera.h"
#include "host/frames/frame_source.h"

namespace host {

// Beyond this angle from the plumb line counts are not warranted.
inline constexpr double kMostWarranted_deg = 15.0;
// Each of roll and pitch.
inline constexpr double kMostTilt_deg = 20.0;

// What is to be believed of how a camera hangs.
struct TiltSetting {
    enum class Kind {
        kAuto,   // what the floor shows in the first frames
        kNone,   // it looks straight down
        kGiven,  // as set
    };
    Kind kind = Kind::kAuto;
    Tilt given;
};

// Wraps a source. The floor is looked for in the first frame, and when it is not sure there, in
// those of the first second; none of them is lost. A camera found to hang crooked by less than half
// a degree keeps its frames as they are, as does one without a floor; the latter is a warning.
std::unique_ptr<FrameSource> level_source(std::unique_ptr<FrameSource> source,
                                          const TiltSetting& setting);

}  // namespace host
