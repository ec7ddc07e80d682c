// Progress bar and progress lines.
#include "host/report/progress.h"

#include <unistd.h>

#include <algorithm>
#include <string>

namespace host {
namespace {

using std::chrono::milliseconds;

constexpr int kBarWidth = 30;
constexpr milliseconds kBarEvery{100};
constexpr milliseconds kLineEvery{5000};

}  // namespace

ProgressLine::ProgressLine(std::FILE* out, double total_frames, double frames_per_second)
    : out_(out),
      terminal_(::isatty(::fileno(out)) == 1),
      total_frames_(total_frames),
      frames_per_second_(frames_per_second) {}

void ProgressLine::show(const Progress& progress) {
    const auto now = std::chrono::steady_clock::now();
    if (!started_) {
        // Preparations, such as measuring the height, are no part of the speed.
        started_ = true;
        start_ = last_ = now;
    }
    if (now - last_ < (terminal_ ? kBarEvery : kLineEvery)) return;
    last_ = now;
    const double elapsed_s = std::chrono::duration<double>(now - start_).count();
    const double rate = static_cast<double>(progress.frames) / elapsed_s;
    if (terminal_) {
        draw_bar(progress, rate);
    } else {
        print_line(progress, rate);
    }
    std::fflush(out_);
}

void ProgressLine::draw_bar(const Progress& progress, double rate) {
    const double done = total_frames_ > 0.0
                            ? std::min(static_cast<double>(progress.frames) / total_frames_, 1.0)
                            : 0.0;
    const auto filled = static_cast<std::size_t>(done * kBarWidth);
    std::fprintf(out_, "\r[%s%s] %3.0f %%  %6.1f s  %5.0f frames/s (%.1fx)  counted %d | %d\033[K",
                 std::string(filled, '#').c_str(), std::string(kBarWidth - filled, '.').c_str(),
                 done * 100.0, progress.time_s, rate, rate / frames_per_second_,
                 progress.counted[0], progress.counted[1]);
}

void ProgressLine::print_line(const Progress& progress, double rate) {
    std::fprintf(out_, "%7.1f s  frame %lld  %.0f frames/s (%.1fx)  counted %d | %d\n",
                 progress.time_s, static_cast<long long>(progress.frames), rate,
                 rate / frames_per_second_, progress.counted[0], progress.counted[1]);
}

void ProgressLine::finish() {
    if (terminal_) std::fputs("\r\033[K", out_);
    std::fflush(out_);
}

}  // namespace host
