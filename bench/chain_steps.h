// What each frame of a run took, step by step, and the floors of these steps.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "bench/chain_cases.h"
#include "bench/depth_file.h"
#include "host/engine/sink.h"

namespace bench {

enum Step { kDecoding, kHandOver, kLending, kLevelling, kDetection, kTracker, kLibrary, kSteps };
inline constexpr std::array<const char*, kSteps> kStepNames{
    "decoding", "hand-over", "lending", "levelling", "detection", "tracker", "library"};

inline constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

struct FrameTimes {
    std::int64_t number = 0;
    std::size_t people = 0;  // who are followed
    std::size_t found = 0;
    std::vector<host::PixelBox> boxes;
    std::array<double, kSteps> step_ms{};   // kNone where there is no such step
    std::array<double, kSteps> floor_ms{};  // kNone where it was not measured with this frame
    double all_ms = 0.0;
    double processor_ms = 0.0;  // of all threads since the frame before
};

// Notes the steps of each pass.
class StepSink final : public host::Sink {
  public:
    StepSink();
    void end_frame(const host::PassReport& report) override;

    // In the order of the frames.
    std::vector<FrameTimes>& frames() { return frames_; }
    // The processor time at the end of each of them.
    const std::vector<double>& processor_at_ms() const { return processor_at_ms_; }

  private:
    std::vector<FrameTimes> frames_;
    std::vector<double> processor_at_ms_;
};

// Hands everything on and notes how long that takes.
class TimedSink final : public host::Sink {
  public:
    explicit TimedSink(std::vector<host::Sink*> sinks) : sinks_(std::move(sinks)) {}
    void on_frame(const host::FrameView& frame) override;
    void on_event(const host::Event& event) override;
    void end_frame(const host::PassReport& report) override;
    void finish() override;

    const std::vector<double>& frames_ms() const { return frames_ms_; }
    std::int64_t events() const { return events_; }

  private:
    void time(const std::function<void(host::Sink&)>& call);

    std::vector<host::Sink*> sinks_;
    std::vector<double> frames_ms_;
    double now_ms_ = 0.0;
    std::int64_t events_ = 0;
};

// Writes the depth that the detector reads to a file.
class DepthFileSink final : public host::Sink {
  public:
    // Throws std::runtime_error.
    DepthFileSink(const std::string& path, const DepthFileHeader& header);
    void on_frame(const host::FrameView& frame) override;
    void end_frame(const host::PassReport& report) override;
    // Throws std::runtime_error.
    void finish() override;

  private:
    std::string path_;
    std::ofstream out_;
    std::vector<std::uint16_t> depth_mm_;
};

// What the floors need to know of a run.
struct FloorSetup {
    const KeptFrames& kept;
    int floor_mm = 0;  // the camera's distance to it
    int correction_mm = 0;
    bool levelled = false;
    double recorded_bytes = 0.0;  // of a frame; 0: nothing was decoded
};

// Adds to each frame the floors of its steps, and lending, which is measured here: step and floor
// in turn.
void measure_floors(const FloorSetup& setup, std::vector<FrameTimes>& frames);

// Looking for the floor in a frame, which is done once when a camera starts: medians of the first
// frames.
struct StepAndFloor {
    double step_ms = 0.0;
    double floor_ms = 0.0;
};
StepAndFloor measure_floor_search(const KeptFrames& kept);

// Milliseconds that copying so many bytes takes, the median of many times.
double copy_ms(double bytes);

}  // namespace bench
