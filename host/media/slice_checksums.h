// Checksums of FFV1 pictures.
#pragma once

#include <cstdint>
#include <span>

namespace host {

// Looks at the checksums of pictures one after the other, because a decoder fills damaged slices
// from the picture before and says nothing. A version 3 picture (RFC 9043) is a row of slices, each
// with a footer: its length in 3 bytes, and where there are checksums a status byte and a CRC of 4
// bytes over everything up to there.
class SliceChecksums {
  public:
    // False for a picture with a wrong checksum. Pictures without any are whole as far as is known.
    bool is_whole(std::span<const std::uint8_t> picture);

  private:
    enum class Footer { kUnknown, kWithChecksum, kPlain };
    Footer footer_ = Footer::kUnknown;  // the same for a whole track
};

}  // namespace host
