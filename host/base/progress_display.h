// Lines that show progress.
#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace host {

// One line for each row. On a terminal the lines stay at the bottom, are redrawn in place and never
// exceed its width. Elsewhere they are repeated every so often, or not printed at all. All
// functions may be called from any thread.
class ProgressDisplay {
  public:
    // Rows are shown after their names; a row without a name has no prefix. `every` is the time
    // between two rounds of lines where `out` is not a terminal; if empty, there are no lines, only
    // sentences.
    ProgressDisplay(std::FILE* out, std::vector<std::string> names, bool quiet,
                    std::optional<std::chrono::milliseconds> every = std::nullopt);
    ~ProgressDisplay() { finish(); }
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

    bool terminal() const { return terminal_; }
    // The row is about to have lines: rounds wait for the first one, though not for long.
    void begin(std::size_t row);
    void update(std::size_t row, const std::string& line);
    // A sentence that stays on the screen, under the row's name.
    void say(std::size_t row, const std::string& sentence);
    // The row has nothing more to show.
    void end(std::size_t row);
    // Removes the lines from a terminal.
    void finish();

  private:
    std::string text(std::size_t row) const;
    std::size_t columns() const;
    void print_round();
    void erase();
    void draw();

    std::FILE* out_;
    const bool quiet_;
    const bool terminal_;
    const std::optional<std::chrono::milliseconds> every_;
    std::size_t width_ = 0;  // of the longest name
    std::vector<std::string> names_;

    std::mutex mutex_;
    std::vector<std::string> lines_;
    std::vector<bool> active_;
    int drawn_ = 0;  // lines on the terminal; the cursor is in the last one
    std::chrono::steady_clock::time_point next_{};
    std::chrono::steady_clock::time_point patience_{};
};

}  // namespace host
