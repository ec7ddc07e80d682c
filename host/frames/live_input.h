// Depth cameras as they run: a pipe, a TCP connection or standard input that carries Matroska, NUT
// or raw pictures.
#pragma once

#include <memory>
#include <string>

#include "host/frames/frame_source.h"

namespace host {

// What a person knows the camera by, which is a name of a folder too: what the stream calls it,
// else the end of its address.
std::string live_name(const std::string& address, const std::string& camera);

// Waits until the first frame is there.
std::unique_ptr<FrameSource> open_live(const SourceOptions& options);

}  // namespace host
