// Recordings of a depth camera: a folder of numbered 16-bit grey PNG files in millimetres.
#pragma once

#include <string>

#include "host/frames/frame_source.h"

namespace host {

std::unique_ptr<FrameSource> open_depth_folder(const SourceOptions& options);

}  // namespace host
