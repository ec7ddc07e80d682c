// What is wrong with a camera, as far as its frames and events show it: each fault is told when it
// begins and when it ends, with a sentence. It never ends a run.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/base/camera.h"
#include "host/depth/floor_plane.h"
#include "host/engine/sink.h"
#include "host/score/identities.h"
#include "host/score/stay_meter.h"
#include "host/sinks/camera_figures.h"
#include "host/store/fault_book.h"

namespace host {

// Words for the faults of a camera, which stay the same.
namespace camera_fault {
inline constexpr const char* kSilent = "input_silent";
inline constexpr const char* kCovered = "lens_covered";
inline constexpr const char* kMoved = "camera_moved";
inline constexpr const char* kClockStep = "clock_step";
inline constexpr const char* kClockUnsure = "clock_not_synchronised";
inline constexpr const char* kLate = "frames_late";
}  // namespace camera_fault

struct CameraHealthSetup {
    double frames_per_second = 15.0;
    CameraModel camera;                   // of the depth in the frames
    std::vector<CountingLine> lines;      // in the order of their numbers
    std::vector<CountingRegion> regions;  // likewise
    bool counts_merged = false;           // people are counted in the view of a whole site
    // Asked each second: frames of a live camera that came late; null where none can.
    std::function<std::int64_t()> late_frames;
    // Asked once a minute; null where times are not those of a clock on the wall.
    std::function<bool()> clock_synchronised;
    // Microseconds since 1970 of a scene time.
    std::function<std::int64_t(double time_s)> time_us;
    std::function<void(const HealthNote&)> tell;  // on the thread of the events
    // Faults of an earlier run that nobody has ended; they end with the first frame, since nobody
    // knows of them any more.
    std::vector<HealthNote> left_open;
};

class CameraHealth final : public Sink {
  public:
    explicit CameraHealth(CameraHealthSetup setup);

    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;

    // While nothing happens: other lines and regions, by number; those without points count
    // nobody. What goes on under its name keeps its figures.
    void change(const std::vector<CountingLine>& lines, const std::vector<CountingRegion>& regions);

    // Any thread.
    CameraFigures figures() const;

  private:
    // Frames of the last minute.
    struct Window {
        double begun_s = 0.0;
        std::int64_t first = -1;  // number
        std::int64_t seen = 0;
        double pass_s = 0.0;  // sum
    };

    void look_each_second(const FrameView& frame);
    void look_at_lens(double valid);
    void look_at_floor(const std::vector<std::uint16_t>& depth_mm);
    void look_at_clock();
    void look_at_window(std::int64_t number);
    bool has_moved(const FloorPlane& floor) const;
    std::string moved_text(const FloorPlane& floor) const;
    void take(const InputFault& fault);
    void take(const RegionsReported& regions);
    void take(const Decision& decision);
    void suppress(int line, Suppression why);
    void end_stays();
    void begin(const char* fault, HealthLevel level, const std::string& text);
    void end(const char* fault, const std::string& text);

    const CameraHealthSetup setup_;
    FaultBook faults_;
    double now_s_ = 0.0;  // scene time
    bool began_ = false;
    double next_second_s_ = 0.0;
    double next_floor_s_ = 0.0;
    double next_clock_s_ = 0.0;
    double stepped_s_ = 0.0;  // the last step of the clock

    std::optional<double> usual_;  // share of valid pixels
    int learnt_ = 0;               // seconds
    int covered_s_ = 0;            // so many seconds in a row
    int clear_s_ = 0;

    std::optional<FloorPlane> floor_;  // as it was in the beginning
    int moved_looks_ = 0;              // in a row
    int still_looks_ = 0;

    Window window_;
    std::int64_t last_number_ = -1;

    StayMeter stays_;
    const Identities nobody_{1};  // the truth is not known

    mutable std::mutex mutex_;
    CameraFigures figures_;  // lines and regions by number; without a name: not there
};

}  // namespace host
