// Finds where a frame begins among raw pictures that were joined in the middle: they have no marks,
// but they come at the pace of a camera, one picture and then nothing for a while.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

class FrameBursts {
  public:
    // A pause of so long parts two pictures.
    FrameBursts(std::size_t frame_bytes, std::int64_t pause_us);
    // What comes from now on may begin amid a frame.
    void lose();
    // Takes note of bytes that came now; whether a frame begins with the first of them, or began
    // with earlier ones. Until then they are of no use.
    bool take(std::size_t bytes, std::int64_t now_us);

  private:
    const std::size_t frame_bytes_;
    const std::int64_t pause_us_;
    bool found_ = true;
    bool any_ = false;       // bytes since the place was lost
    int pauses_ = 0;         // in a row, with whole frames between them
    std::size_t burst_ = 0;  // bytes
    std::int64_t last_us_ = 0;
};

}  // namespace host
