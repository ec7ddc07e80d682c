// State of the track update that is not part of the tracks themselves.
#pragma once

#include <cstdint>
#include <vector>

namespace vca {

struct ObjectState {
    // Number of height samples a track keeps: set from the number of people in every frame; before
    // the first frame, the value for an empty scene.
    int32_t height_history = 12;
    std::vector<float> trimmed;    // for the height being computed; keeps its storage
    uint32_t attr_test_calls = 0;  // since the library was loaded
    bool frame_saved = false;      // since its switch was turned on
};

ObjectState& object_state();

}  // namespace vca
