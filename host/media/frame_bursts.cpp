// Three pauses with exactly whole frames between them: a sender that is held up by other programs
// pauses amid a frame too, but hardly twice at the same place.
#include "host/media/frame_bursts.h"

namespace host {
namespace {

constexpr int kPauses = 3;

}  // namespace

FrameBursts::FrameBursts(std::size_t frame_bytes, std::int64_t pause_us)
    : frame_bytes_(frame_bytes), pause_us_(pause_us) {}

void FrameBursts::lose() {
    found_ = any_ = false;
    pauses_ = 0;
    burst_ = 0;
}

bool FrameBursts::take(std::size_t bytes, std::int64_t now_us) {
    if (found_) return true;
    if (any_ && now_us - last_us_ >= pause_us_) {
        pauses_ = pauses_ > 0 && burst_ % frame_bytes_ == 0 ? pauses_ + 1 : 1;
        found_ = pauses_ == kPauses;
        burst_ = 0;
    }
    any_ = true;
    burst_ += bytes;
    last_us_ = now_us;
    return found_;
}

}  // namespace host
