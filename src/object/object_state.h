// What the update of tracks keeps beside the tracks.
#pragma once

#include <cstdint>
#include <vector>

namespace vca {

struct ObjectState {
    // Height samples that a track keeps: set with every frame's number of people, and that of an
    // empty scene before the first.
    int32_t height_history = 12;
    std::vector<float> trimmed;    // of the height in work; keeps its storage
    uint32_t attr_test_calls = 0;  // since the library was loaded
    bool frame_saved = false;      // since the switch for it went on
};

ObjectState& object_state();

}  // namespace vca
