// What a run was, apart from what it counted.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/engine/pace.h"
#include "host/engine/session.h"
#include "host/frames/frame_source.h"
#include "host/link/link_figures.h"
#include "host/settings/run_options.h"
#include "host/sinks/timing_sink.h"

namespace host {

struct RunFacts {
    SourceInfo source;
    RunOptions options;
    std::vector<CountingLine> lines;                    // in picture coordinates
    std::vector<CountingRegion> regions;                // likewise
    std::vector<std::vector<PicturePoint>> exclusions;  // likewise
    double install_height_mm = 0.0;
    bool height_measured = false;
    std::vector<std::string> warnings;  // of the source, one sentence each
    std::vector<std::string> missing;   // results that could not be written, and why
    bool interrupted = false;
    double wall_s = 0.0;
    double scene_s = 0.0;
    Timings timings;
    LeftOver left;
    std::optional<LinkFigures> link;   // of a device of a site
    std::optional<LiveFigures> input;  // of a live source
    std::optional<PaceFigures> pace;   // of a run by the wall clock
};

}  // namespace host
