// What was wrong with a recording: each kind with its first place and how often.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

enum class MediaFault {
    kContainer,  // bytes between the packets
    kDepth,      // a depth picture that does not decode, or fails its checksum
    kSize,       // a depth picture of another size than the first
    kPixels,     // a depth picture of other pixels than 16-bit grey
    kOrder,      // a frame that is not later than the one before
    kTime,       // a frame whose line and timestamp differ
    kText,       // a line that is too long or not what it should be
    kColour,     // a colour picture that does not decode or has pixels of another kind
    kNumber,     // how many there are
};

class MediaDamage {
  public:
    void note(MediaFault fault, std::int64_t time_us);
    std::int64_t count(MediaFault fault) const;
    // One sentence for each kind there was, about the recording of this name.
    std::vector<std::string> sentences(const std::string& name) const;

  private:
    struct Entry {
        std::int64_t count = 0;
        std::int64_t first_us = 0;
    };
    std::array<Entry, static_cast<std::size_t>(MediaFault::kNumber)> entries_{};
};

}  // namespace host
