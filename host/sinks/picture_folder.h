// Depth pictures as a folder of numbered PNG files with the camera's and the settings' file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/engine/sink.h"
#include "host/media/matroska_file.h"

namespace host {

class PictureFolder final : public Sink {
  public:
    // Makes the folder, which must not hold pictures yet, and writes the files. Throws
    // std::runtime_error, as on_frame() does.
    PictureFolder(const std::string& folder, const std::vector<Attachment>& files);

    void on_frame(const FrameView& frame) override;

    std::int64_t frames() const { return frames_; }

  private:
    std::filesystem::path folder_;
    std::int64_t frames_ = 0;
};

}  // namespace host
