// Text of the progress line.
#include "host/sinks/progress_sink.h"

#include <algorithm>
#include <string>

#include "host/base/text.h"

namespace host {
namespace {

constexpr int kBarWidth = 16;
constexpr std::chrono::milliseconds kEvery{100};
constexpr std::chrono::seconds kFirst{1};  // before it there is no rate to speak of

std::string bar(double share) {
    const auto filled = static_cast<std::size_t>(share * kBarWidth);
    return " [" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "]" +
           format_text(" %3.0f %%", share * 100.0);
}

}  // namespace

void ProgressSink::on_event(const Event& event) {
    const auto* counted = std::get_if<PersonCounted>(&event.payload);
    if (counted == nullptr || counted->direction < 1 || counted->direction > 2) return;
    ++counted_[static_cast<std::size_t>(counted->direction - 1)];
}

void ProgressSink::end_frame(const PassReport& report) {
    if (report.blank) return;
    const auto now = setup_.now();
    if (frames_++ == 0) {
        start_ = now;
        next_ = now + kFirst;
    }
    if (now < next_) return;
    next_ = now + kEvery;
    const double elapsed_s = std::chrono::duration<double>(now - start_).count();
    display_.update(0, line(report.time_s, static_cast<double>(frames_) / elapsed_s));
}

std::string ProgressSink::line(double time_s, double frames_per_second) const {
    std::string text;
    if (display_.terminal() && setup_.total_frames > 0.0) {
        text = bar(std::min(static_cast<double>(frames_) / setup_.total_frames, 1.0));
    }
    text += format_text(" %7.1f s", time_s);
    if (setup_.counts) {
        text += "  counted " + std::to_string(counted_[0]) + " | " + std::to_string(counted_[1]);
    }
    // Last, because a narrow terminal cuts it.
    text += format_text("  %.0f frames/s (%.1fx)", frames_per_second,
                        frames_per_second / setup_.frames_per_second);
    if (setup_.pace != nullptr) {
        text += "  late " + std::to_string(setup_.pace->figures().late);
    }
    return text;
}

}  // namespace host
