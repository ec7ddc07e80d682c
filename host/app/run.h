// A whole run: prepared and checked first, then fed through the library.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/inference/attribute_model.h"
#include "host/link/device_link.h"
#include "host/report/run_facts.h"
#include "host/score/story.h"
#include "host/sinks/score_sink.h"
#include "host/sinks/snapshot_sink.h"
#include "vca/config.h"

namespace host {

// A checked run whose source is open; nothing has been written yet.
struct RunPlan {
    RunOptions options;
    std::unique_ptr<FrameSource> source;
    std::vector<CountingLine> lines;      // in picture coordinates
    std::vector<CountingRegion> regions;  // likewise
    std::vector<std::vector<PicturePoint>> exclusions;
    std::string output;  // folder of the results
    AttributeModels attributes{};
    std::optional<VCA_ALGO_CFG_S> config{};  // for a device of a site; empty: made from the options
    std::optional<LinkSetup> link{};
    bool heat_by_hour = false;          // sinks get the heat map at the end of each hour
    Pace* pace = nullptr;               // null: frames go as fast as the analysis takes them
    std::optional<double> height_mm{};  // of the camera; empty: to be measured
    std::function<void()> taken{};      // called for each frame that the source gives
};

// Opens the source and settles lines, regions and height. Throws InputError.
RunPlan prepare_run(const RunOptions& options);

// The same for a source that is open already.
RunPlan prepare_run(const RunOptions& options, std::unique_ptr<FrameSource> source);

// Measures the camera's height when that was asked for. Throws InputError.
void settle_height(RunPlan& plan, const std::atomic<bool>& stop);

// How many frames the run will have; 0 when that is not known.
double expected_frames(const RunPlan& plan);

// What must be known about the lines and regions before anybody relies on their counts; one
// sentence each.
std::vector<std::string> run_warnings(const RunPlan& plan);

// What the library adds to everybody's height where its camera hangs so high.
int height_correction_mm(const RunPlan& plan, double height_mm);

// What a run is scored on.
ScoreSetup score_setup(const RunPlan& plan);
// The names of the lines and regions in stories.
StoryNames story_names(const RunPlan& plan);

// Runs the library over the source for these sinks, to the end or until `stop` turns true. The
// library prints to standard output meanwhile. Throws InputError when the rest of a recording
// cannot be read, and rethrows what a sink threw.
RunFacts run(RunPlan& plan, const std::vector<Sink*>& sinks, const std::atomic<bool>& stop);

// A run without files, for its scores and for more sinks.
struct RunOutcome {
    RunFacts facts;
    Evidence evidence;
    Scores scores;
};
RunOutcome run_for_scores(RunPlan& plan, const std::vector<Sink*>& more = {});

}  // namespace host
