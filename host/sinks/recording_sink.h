// Records pictures as they were taken and everything the library sends.
#pragma once

#include "host/engine/sink.h"
#include "host/sinks/recording_files.h"

namespace host {

// What of a frame is recorded: the pictures as the sensor took them.
RecordedPictures recorded_pictures(const FrameView& frame, RecordedColour colour);
TakenSize taken_size(const FramePlanes& planes);

// An event as a line of a recording, with its scene time; empty for what is not written down.
struct RecordedLine {
    std::int64_t time_us = 0;
    std::string text;
};
std::optional<RecordedLine> recorded_line(const Event& event);

class RecordingSink final : public Sink {
  public:
    // Throws std::runtime_error, as its calls do.
    explicit RecordingSink(RecordingSetup setup) : files_(std::move(setup)) {}

    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void finish() override;

    const RecordingFigures& figures() const { return files_.figures(); }

  private:
    RecordingFiles files_;
    bool scene_ended_ = false;
};

}  // namespace host
