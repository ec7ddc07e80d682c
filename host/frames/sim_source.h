// Frames of the simulator: built-in scenes and walks from trajectory files.
#pragma once

#include "host/frames/frame_source.h"

namespace host {

std::unique_ptr<FrameSource> open_scene(const SourceOptions& options);
std::unique_ptr<FrameSource> open_walks(const SourceOptions& options);

}  // namespace host
