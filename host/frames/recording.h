// Recordings in Matroska: our own, and public ones of depth cameras.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/frames/frame_source.h"

namespace host {

// Several files in a row are one recording; where something is missing between them, time goes on.
std::unique_ptr<FrameSource> open_recording(const SourceOptions& options);

// The text of the settings that a recording was made with, if it carries them.
std::optional<std::string> recorded_settings(const std::string& path);

}  // namespace host
