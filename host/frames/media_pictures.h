// What recordings and live streams share: whose pictures they are, and how they become a frame.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/frames/frame_source.h"
#include "host/media/recording_reader.h"

namespace host {

// The value of a tag, or nothing.
std::string tag_of(const MediaInfo& info, const char* name);

// The camera file if there is one, else what the stream carries. Throws InputError when neither
// is there.
RecordingCamera camera_of_media(const MediaInfo& info, const std::string& name,
                                const std::string& camera_file);

// Throws InputError when the pictures are not the camera's.
void check_media_size(const MediaInfo& info, const RecordingCamera& camera,
                      const std::string& name);

// Notes in `info` whether the colour pictures can be used; a sentence when they are there and
// cannot be.
std::optional<std::string> settle_colour(const MediaInfo& media, SourceInfo& info);

class MediaPictures {
  public:
    // Makes the planes of a frame, and takes the depth out of `media`.
    void fill(MediaFrame& media, const SourceInfo& info, SourceFrame& frame);
    // The last colour picture shows nothing of now any more.
    void forget_colour() { colour_nv12_.clear(); }

  private:
    void take_colour(MediaFrame& media, std::vector<std::uint8_t>& nv12);

    std::vector<std::uint8_t> colour_nv12_;  // the last
};

}  // namespace host
