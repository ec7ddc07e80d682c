// Frames of the simulator: built-in scenes and walks from trajectory files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/frames/frame_source.h"
#include "sim/simulator.h"

namespace host {

std::unique_ptr<FrameSource> open_scene(const SourceOptions& options);
std::unique_ptr<FrameSource> open_walks(const SourceOptions& options);

// A simulation that is not in the table of sources.
std::unique_ptr<FrameSource> open_simulator(sim::Simulator simulator, bool foot_point = true);

// An entry in the list of built-in scenes.
struct SceneEntry {
    std::string name;
    std::string description;  // one line
    double duration_s = 0.0;  // unless another length is asked for
    double frames_per_second = 0.0;
    std::size_t lines = 0;
    std::size_t regions = 0;
    bool crowded = false;  // too dense to be counted without errors
};

std::vector<SceneEntry> scene_list();

// Names of the depth sensors that can be simulated.
std::vector<std::string> simulated_sensors();

}  // namespace host
