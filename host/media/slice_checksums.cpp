// Walking over slices from the last to the first.
#include "host/media/slice_checksums.h"

#include <functional>

extern "C" {
#include <libavutil/crc.h>
}

namespace host {
namespace {

constexpr std::size_t kPlainFooter = 3;
constexpr std::size_t kChecksumFooter = 8;

using Bytes = std::span<const std::uint8_t>;

// Whether slices of these footers fill the picture exactly, and each one is good.
bool walk(Bytes picture, std::size_t footer, const std::function<bool(Bytes)>& is_good) {
    while (!picture.empty()) {
        if (picture.size() < footer) return false;
        const std::uint8_t* const at = picture.data() + picture.size() - footer;
        const std::size_t length =
            (std::size_t{at[0]} << 16 | std::size_t{at[1]} << 8 | at[2]) + footer;
        if (length > picture.size()) return false;
        if (!is_good(picture.last(length))) return false;
        picture = picture.first(picture.size() - length);
    }
    return true;
}

// The remainder over a slice and its own CRC is 0.
bool has_right_sum(Bytes slice) {
    return av_crc(av_crc_get_table(AV_CRC_32_IEEE), 0, slice.data(), slice.size()) == 0;
}

}  // namespace

bool SliceChecksums::is_whole(Bytes picture) {
    if (footer_ == Footer::kPlain) return true;
    if (walk(picture, kChecksumFooter, has_right_sum)) {
        footer_ = Footer::kWithChecksum;
        return true;
    }
    if (footer_ == Footer::kWithChecksum) return false;
    if (!walk(picture, kPlainFooter, [](Bytes) { return true; })) return false;
    footer_ = Footer::kPlain;
    return true;
}

}  // namespace host
