// Drawing and rounds of the lines.
#include "host/base/progress_display.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "host/base/text.h"

namespace host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{10};
constexpr std::size_t kUsualColumns = 80;

}  // namespace

ProgressDisplay::ProgressDisplay(std::FILE* out, std::vector<std::string> names, bool quiet,
                                 std::optional<std::chrono::milliseconds> every)
    : out_(out),
      quiet_(quiet),
      terminal_(::isatty(::fileno(out)) == 1),
      every_(every),
      names_(std::move(names)),
      lines_(names_.size()),
      active_(names_.size()) {
    for (const std::string& name : names_)
        width_ = std::max(width_, name.size());
}

void ProgressDisplay::begin(std::size_t row) {
    const std::lock_guard lock(mutex_);
    active_[row] = true;
    patience_ = steady_clock::now() + kPatience;
}

void ProgressDisplay::update(std::size_t row, const std::string& line) {
    const std::lock_guard lock(mutex_);
    lines_[row] = line;
    if (quiet_) return;
    if (terminal_) {
        draw();
    } else if (every_) {
        print_round();
    }
}

void ProgressDisplay::say(std::size_t row, const std::string& sentence) {
    if (quiet_) return;
    const std::lock_guard lock(mutex_);
    erase();
    const std::string& name = names_[row];
    std::fprintf(out_, "%s%s\n", name.empty() ? "" : (name + ": ").c_str(),
                 visible(sentence).c_str());
    draw();
}

void ProgressDisplay::end(std::size_t row) {
    const std::lock_guard lock(mutex_);
    active_[row] = false;
    lines_[row].clear();
    draw();
}

void ProgressDisplay::finish() {
    const std::lock_guard lock(mutex_);
    erase();
    std::fflush(out_);
}

std::string ProgressDisplay::text(std::size_t row) const {
    if (width_ == 0) return lines_[row];
    return "  " + names_[row] + std::string(width_ - names_[row].size(), ' ') + lines_[row];
}

// The lines of one round come together, even the first ones, unless a row has none for long.
void ProgressDisplay::print_round() {
    const auto now = steady_clock::now();
    bool complete = true;
    for (std::size_t row = 0; row < lines_.size(); ++row)
        complete = complete && (!active_[row] || !lines_[row].empty());
    if (now < next_ || (!complete && now < patience_)) return;
    next_ = now + *every_;
    for (std::size_t row = 0; row < lines_.size(); ++row) {
        if (!lines_[row].empty()) std::fprintf(out_, "%s\n", text(row).c_str());
    }
    std::fflush(out_);
}

// The user may make the terminal narrower at any time.
std::size_t ProgressDisplay::columns() const {
    winsize size{};
    if (::ioctl(::fileno(out_), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualColumns;
    return size.ws_col;
}

void ProgressDisplay::erase() {
    if (drawn_ > 1) std::fprintf(out_, "\033[%dA", drawn_ - 1);
    if (drawn_ > 0) std::fprintf(out_, "\r\033[J");
    drawn_ = 0;
}

void ProgressDisplay::draw() {
    if (terminal_ && !quiet_) {
        erase();
        const std::size_t width = columns() - 1;  // a full line would move the cursor on
        for (std::size_t row = 0; row < lines_.size(); ++row) {
            if (lines_[row].empty()) continue;
            std::fprintf(out_, "%s%s", drawn_ > 0 ? "\n" : "", cut_to(text(row), width).c_str());
            ++drawn_;
        }
    }
    std::fflush(out_);
}

}  // namespace host
