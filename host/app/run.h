// A whole run: prepared and checked first, then fed through the library.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/inference/attribute_model.h"
#include "host/link/device_link.h"
#include "host/report/run_result.h"
#include "host/sinks/recorder.h"
#include "vca/config.h"

namespace host {

// A checked run whose source is open; nothing was written yet.
struct RunPlan {
    RunOptions options;
    std::unique_ptr<FrameSource> source;
    std::vector<CountingLine> lines;      // in picture coordinates
    std::vector<CountingRegion> regions;  // likewise
    std::vector<std::vector<PicturePoint>> exclusions;
    std::string output;  // folder of the results
    AttributeModels attributes{};
    std::optional<VCA_ALGO_CFG_S> config{};  // of a device of a site; none: made from the options
    std::optional<LinkSetup> link{};
};

// Opens the source and settles lines, regions and height. Throws InputError.
RunPlan prepare_run(const RunOptions& options);

struct RunHooks {
    std::function<bool()> stop;                        // asked before every frame
    std::function<void(const Progress&)> on_progress;  // after every frame made
    std::function<void(const Event&)> on_event;        // on the bus thread
    // Returns at the moment of a frame; null: frames go as fast as the analysis takes them.
    std::function<void(double time_s)> wait_for;
    std::function<void()> before_leaving;  // after the last frame, before the library is stopped
    std::string live_path;                 // where the live video goes; empty: none
};

// Runs the library over the source. It prints to standard output meanwhile. Throws InputError when
// a recording cannot be read on.
RunResult run(RunPlan& plan, const RunHooks& hooks);

}  // namespace host
