// Reads depth, colour and lines of text from a recording or from a stream like one, frame by frame.
// Nothing in it is trusted: whatever is damaged is left out and told, and all sizes have bounds.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host {

inline constexpr int kLeastDepthPixels = 16;  // width and height
inline constexpr int kMostDepthPixels = 8192;
inline constexpr std::size_t kMostTextBytes = 1u << 20;  // of a line or an attachment

// One picture of depth and what came with it.
struct MediaFrame {
    std::int64_t number = 0;
    std::int64_t time_us = 0;  // scene time of a recording; otherwise the container's
    int width = 0;
    int height = 0;
    std::vector<std::uint16_t> depth_mm;  // row by row; 0 where nothing was measured
    bool has_colour = false;
    int colour_width = 0;
    int colour_height = 0;
    std::vector<std::uint8_t> colour_nv12;
    // What was told since the frame before, except for the frame's own line.
    std::vector<std::string> lines;
};

// What stands at the beginning.
struct MediaInfo {
    int width = 0;  // of the depth pictures; 0 when only they can tell
    int height = 0;
    int colour_width = 0;  // 0 without colour
    int colour_height = 0;
    double frames_per_second = 0.0;  // 0 when not said
    double duration_s = 0.0;         // 0 when not known, as in a file that was cut
    bool has_text = false;           // frames have numbers and times of their own
    std::map<std::string, std::string> tags;
    std::map<std::string, std::string> attachments;  // by file name
    std::vector<std::string> left_out;               // attachments that are too large
};

class RecordingReader {
  public:
    struct Setup {
        std::string url;   // as libavformat takes it, such as file:NAME or tcp://HOST:PORT?listen
        std::string name;  // what messages call it
        std::string format{};                          // empty: found out
        std::map<std::string, std::string> options{};  // of the format and the protocol
        std::function<bool()> stop{};                  // true ends a read that waits
        bool want_colour = true;
        // Colour pictures are all that is wanted; their size is that of the frames.
        bool colour_only = false;
        // In place of opening `url`: waits for bytes and takes at most so many; 0 at the end, also
        // when `stop` turned true.
        std::function<int(std::uint8_t* to, int most)> read{};
        // The sender may begin again at any time: frames need not rise, nor keep their size.
        bool live = false;
    };

    // A file by its path.
    static Setup file(const std::string& path);

    // Throws InputError when this cannot be read at all, or has no depth, or not the colour that is
    // all that is wanted.
    explicit RecordingReader(const Setup& setup);
    ~RecordingReader();
    RecordingReader(const RecordingReader&) = delete;
    RecordingReader& operator=(const RecordingReader&) = delete;

    const MediaInfo& info() const;

    // The next whole frame, with rising times and numbers; false at the end, also when `stop` turns
    // true. Reuses the memory of `frame`.
    bool next(MediaFrame& frame);
    // Leaves out what is earlier than this, without decoding it where that is possible.
    void skip_to(std::int64_t time_us);

    // After the last frame: what was told after it, and why the recording ends there; empty when it
    // does not say, because it was cut or is not one of ours.
    const std::vector<std::string>& last_lines() const;
    const std::string& end() const;

    // What was damaged so far, one sentence for each kind.
    std::vector<std::string> damage() const;
    // Depth pictures that were there and were left out.
    std::int64_t lost_frames() const;

  private:
    struct Input;
    std::unique_ptr<Input> input_;
};

}  // namespace host
