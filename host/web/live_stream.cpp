// A list and a slot.
#include "host/web/live_stream.h"

#include <utility>

namespace host {

void LiveStream::tell(const Text& text) {
    const std::lock_guard lock(mutex_);
    if (ended_) return;
    waiting_.push_back(text);
    waiting_bytes_ += text->size();
    ended_ = waiting_bytes_ > kMostWaiting_bytes;
    wake();
}

void LiveStream::show(const Text& frame) {
    const std::lock_guard lock(mutex_);
    if (ended_) return;
    frame_ = frame;
    wake();
}

void LiveStream::end(const Text& text) {
    const std::lock_guard lock(mutex_);
    if (std::exchange(ended_, true)) return;
    waiting_.push_back(text);
    frame_.reset();
    wake();
}

void LiveStream::on_more(std::function<void()> more) {
    const std::lock_guard lock(mutex_);
    more_ = std::move(more);
}

void LiveStream::wake() const {
    if (more_) more_();
}

// What happened comes before the frame that shows it.
std::optional<std::string> LiveStream::take() {
    const std::lock_guard lock(mutex_);
    std::string all;
    for (const Text& text : std::exchange(waiting_, {}))
        all += *text;
    waiting_bytes_ = 0;
    if (const Text frame = std::exchange(frame_, nullptr)) all += *frame;
    if (all.empty() && ended_) return std::nullopt;
    return all;
}

}  // namespace host
