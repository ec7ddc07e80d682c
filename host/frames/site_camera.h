// A real camera of a site, live or recorded, whose pictures are made those of the camera that the
// site's plan has there.
#pragma once

#include <memory>
#include <string>

#include "host/frames/frame_source.h"

namespace host {

struct SiteCameraSetup {
    std::string name;
    SourceOptions source;   // live or recording
    double focal_px = 0.0;  // of the site's camera, colour pixels; its axis is in the middle
    double height_mm = 0.0;
};

// Depth alone, for a site's cameras count on depth. Throws InputError.
std::unique_ptr<FrameSource> open_site_camera(const SiteCameraSetup& setup);

}  // namespace host
