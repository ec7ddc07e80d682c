// Finds where another Matroska stream begins in bytes that go on: a sender that was started again
// writes behind what the one before it left, as when its pipe was kept open.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace host {

class StreamStarts {
  public:
    // Takes bytes as they came. Those of the running stream are appended to `out`; from the
    // beginning of another on they are kept.
    void take(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& out);
    // Another stream has begun; take() must not be called until begin_next().
    bool found() const { return found_; }
    // What was kept is the beginning of the running stream; it is appended to `out`.
    void begin_next(std::vector<std::uint8_t>& out);

  private:
    std::size_t given_ = 0;  // bytes of the running stream
    bool found_ = false;
    std::vector<std::uint8_t> kept_;  // may begin a stream
    std::size_t repeated_ = 0;        // of them were given out before the mark was whole
    std::vector<std::uint8_t> tail_;  // last bytes given out, as many as may begin a mark
};

}  // namespace host
