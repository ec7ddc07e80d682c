// A Matroska file that grows packet by packet and can be read up to its last whole packet whenever
// its writer is stopped.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/media/libav.h"

namespace host {

// A small file inside a recording.
struct Attachment {
    std::string name;
    std::string mime_type;
    std::string text;
};

using Tags = std::vector<std::pair<std::string, std::string>>;

// Times of a recording are told in microseconds and kept in the container in milliseconds.
inline constexpr AVRational kMicroseconds{1, 1000000};
inline constexpr AVRational kMilliseconds{1, 1000};

class MatroskaFile {
  public:
    // The same packets give the same bytes.
    explicit MatroskaFile(std::string path);

    // Before open(). They return the number of the track; the parameters are copied.
    int add_track(const AVCodecParameters& codec, const std::string& title,
                  AVRational frames_per_second);
    int add_text_track(const std::string& title);
    void attach(const Attachment& attachment);
    void open(const Tags& tags);

    // Takes over a packet whose times are in milliseconds, and leaves it blank.
    void write(int track, AVPacket& packet);
    void write_text(int track, std::int64_t time_ms, std::int64_t duration_ms,
                    const std::string& text);
    // Hands everything written so far to the system.
    void flush();
    // Ends the file with its index, and gives it another name.
    void finish_as(const std::string& path);

    // Bytes handed to the system so far.
    std::int64_t size() const;
    const std::string& path() const { return path_; }

    // Throw std::runtime_error with one sentence about this file.
    void check(int result) const;
    [[noreturn]] void fail(const std::string& why) const;

  private:
    std::string path_;
    libav::Output format_;
    libav::Packet text_;
};

}  // namespace host
