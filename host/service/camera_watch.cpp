// Times of lives, of signs of life and of pauses.
#include "host/service/camera_watch.h"

#include <algorithm>

namespace host {
namespace {

// A frame is known to be finished when the next one begins, so one may always be open.
constexpr std::int64_t kOpenFrames = 1;

}  // namespace

void CameraWatch::begin(Time now) {
    begun_ = heard_ = now;
    last_ = {};
    taken_at_finish_ = 0;
    unfinished_since_.reset();
}

void CameraWatch::hear(const CameraBeat& beat, Time now) {
    heard_ = now;
    if (beat.finished != last_.finished) {
        taken_at_finish_ = beat.taken;
        unfinished_since_.reset();
    }
    if (!unfinished_since_ && beat.taken > taken_at_finish_ + kOpenFrames) unfinished_since_ = now;
    last_ = beat;
}

std::optional<std::string> CameraWatch::hangs(Time now) const {
    const std::string patience = std::to_string(kPatience.count()) + " s";
    if (now - heard_ > kPatience) return "gave no sign of life for " + patience;
    if (unfinished_since_ && now - *unfinished_since_ > kPatience)
        return "finished no frame for " + patience + " while frames came";
    return std::nullopt;
}

CameraWatch::Time CameraWatch::end(Time now) {
    if (now - begun_ >= kGoodLife) pause_ = kFirstPause;
    const Time next = now + pause_;
    pause_ = std::min(2 * pause_, kLongestPause);
    return next;
}

}  // namespace host
