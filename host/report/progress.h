// The line that shows how far a run has come.
#pragma once

#include <chrono>
#include <cstdio>

#include "host/sinks/recorder.h"

namespace host {

class ProgressLine {
  public:
    // Draws a bar when `out` is a terminal, plain lines every few seconds otherwise. total_frames 0
    // means unknown.
    ProgressLine(std::FILE* out, double total_frames, double frames_per_second);

    void show(const Progress& progress);
    // Removes the bar.
    void finish();

  private:
    void draw_bar(const Progress& progress, double rate);
    void print_line(const Progress& progress, double rate);

    std::FILE* out_;
    bool terminal_;
    double total_frames_;
    double frames_per_second_;
    bool started_ = false;
    std::chrono::steady_clock::time_point start_;  // of the first frame
    std::chrono::steady_clock::time_point last_;
};

}  // namespace host
