// Lines that show how far something has come.
#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

namespace host {

// One line for each row: on a terminal they stay at the bottom and are written anew, elsewhere they
// come again every few seconds. All functions may be called by any thread.
class ProgressDisplay {
  public:
    // Rows are shown behind their names; a row without a name stands alone. `every` parts two
    // rounds of lines where `out` is no terminal.
    ProgressDisplay(std::FILE* out, std::vector<std::string> names, bool quiet,
                    std::chrono::milliseconds every = std::chrono::seconds(5));

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
    void print_round();
    void erase();
    void draw();

    std::FILE* out_;
    const bool quiet_;
    const bool terminal_;
    const std::chrono::milliseconds every_;
    std::size_t width_ = 0;
    std::vector<std::string> names_;

    std::mutex mutex_;
    std::vector<std::string> lines_;
    std::vector<bool> active_;
    int drawn_ = 0;
    std::chrono::steady_clock::time_point next_{};
    std::chrono::steady_clock::time_point patience_{};
};

}  // namespace host
