// Records only what led to a count, or to somebody near a line not being counted. Whether somebody
// is counted is known when their track ends, so everything is recorded in short files at first,
// from which clips are made; the rest is deleted.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "host/engine/sink.h"
#include "host/score/story.h"
#include "host/sinks/recording_files.h"

namespace host {

// Stretches of scene time that are worth keeping, in order and apart from each other.
class ClipTimes {
  public:
    struct Span {
        std::int64_t from_us = 0;
        std::int64_t to_us = 0;
    };
    // Joins what touches.
    void add(const Span& span);
    // Takes out the first one that ends before this time, if there is one.
    std::optional<Span> take_before(std::int64_t time_us);
    bool empty() const { return spans_.empty(); }
    std::int64_t first_us() const { return spans_.front().from_us; }

  private:
    std::vector<Span> spans_;
};

// When somebody was near a line on which they were not counted; several lines give several spans.
std::vector<ClipTimes::Span> uncounted_spans(const Story& story);

struct ClipFigures {
    std::int64_t clips = 0;
    std::int64_t bytes = 0;
    std::int64_t frames = 0;
    std::int64_t too_late = 0;  // known only when the pictures were gone
    std::int64_t removed = 0;   // files that were too old
};

class ClipSink final : public Sink {
  public:
    // `around_s` before and after. The longest file of `setup` does not matter.
    ClipSink(const RecordingSetup& setup, double around_s);
    // Deletes what is left of the short files.
    ~ClipSink() override;
    ClipSink(const ClipSink&) = delete;
    ClipSink& operator=(const ClipSink&) = delete;

    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    void finish() override;

    const ClipFigures& figures() const { return figures_; }

  private:
    void want(const ClipTimes::Span& span);
    void take(const std::optional<RecordedFile>& file);
    void settle(std::int64_t settled_us);
    void write(const ClipTimes::Span& span);
    void forget_before(std::int64_t time_us);

    RecordingSetup setup_;
    std::int64_t around_us_;
    RecordingFiles ring_;
    std::deque<RecordedFile> kept_;  // the ring's whole files
    std::int64_t now_us_ = 0;
    std::int64_t settled_us_ = 0;   // nothing before this can become part of a clip any more
    std::int64_t written_us_ = -1;  // last scene time of the last clip
    StoryBook book_;
    ClipTimes times_;
    ClipFigures figures_;
};

}  // namespace host
