// Writes a recording: depth, colour if asked for, and lines of text, in one Matroska file.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/media/matroska_file.h"
#include "host/media/recording_format.h"

namespace host {

enum class RecordedColour {
    kNone,
    kLossless,  // reads back pixel for pixel
    kSmall,     // looks the same
};

// Pictures as the sensor gave them.
struct RecordedPictures {
    std::int64_t number = 0;
    std::int64_t time_us = 0;              // scene time
    std::span<const std::uint16_t> depth;  // millimetres, row by row; 0 where nothing was measured
    std::span<const std::uint8_t> colour;  // NV12; may be empty
};

class RecordingWriter {
  public:
    struct Setup {
        std::string path;  // of the finished file; until then ".part" follows
        int width = 0;     // of the depth pictures
        int height = 0;
        RecordedColour colour = RecordedColour::kNone;
        int colour_width = 0;  // even numbers
        int colour_height = 0;
        double frames_per_second = 15.0;
        std::int64_t first_time_us = 0;  // scene time of timestamp 0
        Tags tags;
        std::vector<Attachment> attachments;
    };

    // Throws std::runtime_error with one sentence when the file or an encoder cannot be opened, as
    // all others do when something cannot be written.
    explicit RecordingWriter(const Setup& setup);
    // A file that was not finished keeps its ".part" and whatever was whole.
    ~RecordingWriter();
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;

    void write(const RecordedPictures& pictures);
    // A line about the last frame, or about what came before the first.
    void write_line(std::int64_t time_us, const std::string& line);
    void finish(RecordingEnd end);

    std::int64_t size() const;

  private:
    struct Encoders;
    std::unique_ptr<Encoders> encoders_;
};

}  // namespace host
