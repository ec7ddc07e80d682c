// One life of the library: from start-up with a configuration to shut-down.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "host/depth/sensor.h"
#include "host/engine/bus.h"
#include "host/engine/closed_lines.h"
#include "host/engine/late_counts.h"
#include "host/engine/pace.h"
#include "host/engine/sink.h"
#include "host/frames/frame_source.h"
#include "host/inference/attribute_model.h"
#include "host/platform/frame_pool.h"
#include "host/platform/pass_observer.h"
#include "vca/config.h"
#include "vca/heat_map.h"

namespace host {

// What the library's clock shows.
enum class ClockKind {
    kScene,  // scene time from 2026-01-01 00:00 UTC on, so that runs repeat exactly
    kWall,   // the system's clocks
};

// What happens to frames that come faster than the analysis takes them.
enum class FramePolicy {
    kEvery,   // they wait
    kNewest,  // the newest replaces the one that waits
};

struct SessionSetup {
    VCA_ALGO_CFG_S config{};
    CameraModel camera;                           // its height is that of config
    const AttributeModels* attributes = nullptr;  // must outlive the session; null: none
    ClockKind clock = ClockKind::kScene;
    FramePolicy frames = FramePolicy::kEvery;
    LateCounts late_counts = LateCounts::kDrop;
    Sensor sensor = Sensor::kExact;
};

// What a session leaves behind; all 0 after a clean one, except for left-out frames.
struct LeftOver {
    LoanCounts loans;
    int images = 0;
    int undelivered_messages = 0;
    int refused_messages = 0;          // to the library, of a wrong size
    std::int64_t left_out_frames = 0;  // in favour of newer ones
};

// Tells the answer to request_heat_map() from answers to other requests.
inline constexpr std::array<std::uint8_t, VCA_HEAT_REQUEST_BYTES> kHeatRequest{
    'v', 'c', 'a', ' ', 'r', 'u', 'n', ' ', 'h', 'e', 'a', 't', ' ', 'm', 'a', 'p'};

class Session : private BusClient, private PassObserver {
  public:
    // Starts the library and returns when it has applied the configuration. The sinks must outlive
    // the session.
    Session(const SessionSetup& setup, std::vector<Sink*> sinks);
    // Stops the library; sinks are not finished.
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Adds a listener from the next event on, until remove_sink() or the end of the session.
    void add_sink(Sink& sink);
    // From here on the sink receives nothing, not even finish().
    void remove_sink(Sink& sink);

    // Feeds frames until none is left or a sink fails, and waits for the analysis to finish them.
    // The calling thread makes frames ahead of the analysis, as far as the pool allows, and, if
    // there is a pace, hands each over when it is due. Returns the number of the last frame fed, -1
    // for none.
    std::int64_t feed(FrameFeed& frames, Pace* pace = nullptr);

    // For the thread that feeds, between two frames: waits until the analysis is through with all
    // frames so far and the sinks have been told everything about them. Until the next frame is fed
    // nothing happens, and sinks may be changed.
    void finish_frames();
    // After finish_frames(): the next frame is the first one with this configuration.
    void configure(const VCA_ALGO_CFG_S& config);

    // Asks for the distance to the floor; the answer comes with the next frame.
    void request_install_height();
    // The last answer in mm; 0 before the first.
    int install_height_mm() const { return install_height_mm_; }

    // Sinks receive what happened to a live input as an event, after those queued so far.
    void tell_input(const InputNotice& notice);

    // Turns on or off sending the trails of the detected boxes with every frame.
    void show_detected(bool on);
    // Asks for the heat map since the last request; sinks have received the answer on return.
    void request_heat_map();

    // The frame of the last pass, or of the one in progress; any thread.
    std::int64_t frame_in_work() const;
    Bus& bus() { return *bus_; }

    // Stops the library, finishes the sinks and returns what is left over; call it at most once.
    // Throws the first error that a sink threw.
    LeftOver close();

  private:
    // What is known of a frame before the analysis takes it up.
    struct Notes {
        double time_s = 0.0;
        std::int64_t utc_us = 0;
        bool blank = false;
        std::vector<TruePerson> people;
        std::vector<TrueCrossing> crossings;
        double source_ms = 0.0;
    };

    TQ_MUTEX_S* handler_mutex() override;
    FrameStamp stamp() override;
    void on_event(Event event) override;

    void begin_pass(std::int64_t frame_number) override;
    void detected(std::chrono::nanoseconds elapsed) override;
    void tracked(int instance, const std::vector<IOU_TRK_OBJ_S>& objects,
                 const IOU_TRK_RSLT_S& result, std::chrono::nanoseconds elapsed) override;
    void end_pass(std::int64_t frame_number) override;

    void start_library();
    void prepare_depth(FramePlanes& planes) const;
    void submit(int slot, std::int64_t number);
    Notes take_notes(std::int64_t number);
    void close_report();
    void tell_frame(std::int64_t number, const Notes& notes);
    void tell(const std::function<void(Sink&)>& call);
    void fail(const std::exception_ptr& error);
    void shut_down();
    void disconnect();

    const SessionSetup setup_;
    VCA_ALGO_CFG_S config_;  // in force; changed while nothing happens
    LateCountFilter late_counts_;
    ClosedLineFilter closed_lines_;
    FramePool pool_;
    int correction_mm_ = 0;  // of heights, which the library adds and an exact sensor does not need
    std::unique_ptr<Bus> bus_;
    std::vector<Sink*> sinks_;  // only touched by the bus thread, and by finish() after it
    std::vector<Sink*> failed_;
    std::atomic<bool> broken_{false};  // a sink threw
    std::exception_ptr error_;         // the bus thread's until the bus is idle

    mutable std::mutex mutex_;
    std::map<std::int64_t, Notes> waiting_;
    FrameStamp stamp_;
    std::int64_t left_out_frames_ = 0;

    // Only touched by the analysis while there is one.
    PassReport report_;
    bool report_open_ = false;
    std::chrono::steady_clock::time_point pass_start_;

    std::atomic<std::int64_t> clock_us_;
    std::atomic<int> install_height_mm_{0};
    bool running_ = false;
};

}  // namespace host
