// One life of the library: from start-up with a configuration to shut-down.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "host/engine/bus.h"
#include "host/frames/frame_source.h"
#include "host/inference/attribute_model.h"
#include "host/link/device_link.h"
#include "host/platform/frame_pool.h"
#include "host/sinks/recorder.h"
#include "vca/config.h"

namespace host {

struct SessionSetup {
    VCA_ALGO_CFG_S config{};
    CameraModel camera;                           // its height is that of config
    const AttributeModels* attributes = nullptr;  // must outlive the session; null: none
    std::optional<LinkSetup> link;                // of a device of a site
};

class Session {
  public:
    // Starts the library and returns when it has applied the configuration.
    Session(const SessionSetup& setup, Recorder& recorder);
    // Stops the library.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Feeds frames until `next` has none left or `stop` turns true, and waits for the analysis to
    // finish them. The calling thread makes frames ahead of the analysis, as far as the pool
    // reaches, and hands each over when `wait_for` its scene time returns; none is dropped. Returns
    // the number of the last frame fed, -1 without any.
    std::int64_t feed(const std::function<bool(SourceFrame&)>& next,
                      const std::function<bool()>& stop,
                      const std::function<void(double time_s)>& wait_for = {});

    // Asks for the distance to the floor; the answer comes with the next frame.
    void request_install_height();
    // The last answer in mm; 0 before the first.
    int install_height_mm() const { return install_height_mm_; }

    // Has the trails of the detected boxes sent with every frame, or no longer.
    void show_detected(bool on);
    // The heat map since the last request; nothing when the library does not answer.
    std::optional<HeatMapReported> request_heat_map();

    // Stops the library and gives what is left over; at most once.
    void close(RunResult& result);

  private:
    void begin_pass(std::int64_t number);
    void start_link();
    FrameStamp stamp() const;
    void shut_down();
    void disconnect();

    SessionSetup setup_;
    Recorder& recorder_;
    FramePool pool_;
    // What the bus still holds for the link is dealt with before the link goes.
    std::unique_ptr<DeviceLink> link_;
    std::atomic<DeviceLink*> listener_{nullptr};  // the link as the bus thread knows it
    std::unique_ptr<Bus> bus_;
    std::int64_t pass_ = -1;  // frame of the last pass; only touched by the analysis
    std::atomic<std::int64_t> clock_us_{0};
    std::atomic<int> install_height_mm_{0};
    std::optional<HeatMapReported> heat_map_;  // the bus thread's until the bus is idle
    bool running_ = false;
};

}  // namespace host
