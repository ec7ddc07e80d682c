// What one camera sees of a simulated site.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/base/placed.h"
#include "host/frames/frame_source.h"
#include "sim/simulator.h"

namespace host {

// A camera over a site of the simulator.
struct SiteViewSetup {
    std::string name;           // of the camera
    std::string place;          // where the camera was set, for messages
    Placed<std::string> scene;  // one of sim::site_names()
    std::uint64_t seed = 1;
    sim::CameraPlace camera;
    double focal_px = 0.0;             // colour pixels
    Placed<double> frames_per_second;  // must be the scene's
    std::optional<double> seconds;     // length of a run; the scene lasts that long if it is longer
};

// The simulator's own camera. Throws InputError for a scene that does not exist, a frame rate that
// is not the scene's, or a camera that the simulator cannot have.
sim::Simulator open_simulated_view(const SiteViewSetup& setup);

// The frames of one camera without people and crossings: the truth is that of the site. Frames with
// the same number show the same moment on all cameras. Throws InputError like
// open_simulated_view().
std::unique_ptr<FrameSource> open_site_view(const SiteViewSetup& setup);

}  // namespace host
