// Lines that show how far something has come.
#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace host {

// One line for each row: on a terminal they stay at the bottom, are written anew and never wider
// than it is. Elsewhere they come again every so often, or not at all. All functions may be called
// by any thread.
class ProgressDisplay {
  public:
    // Rows are shown behind their names; a row without a name stands alone. `every` parts two
    // rounds of lines where `out` is no terminal; none: there are no lines, only sentences.
    ProgressDisplay(std::FILE* out, std::vector<std::string> names, bool quiet,
                    std::optional<std::chrono::milliseconds> every = std::nullopt);
    ~ProgressDisplay() { finish(); }
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

    bool terminal() const { return terminal_; }
    // The row has something to come: rounds wait for its first line, though not for long.
    void begin(std::size_t row);
    void update(std::size_t row, const std::string& line);
    // A sentence that stays, under the name of the row.
    void say(std::size_t row, const std::string& sentence);
    // Nothing more comes of the row.
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
    int drawn_ = 0;  // lines on the terminal; the cursor stands in the last one
    std::chrono::steady_clock::time_point next_{};
    std::chrono::steady_clock::time_point patience_{};
};

}  // namespace host
