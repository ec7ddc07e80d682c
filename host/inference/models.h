// The host's models behind the inference functions of the library: a detector on the colour image,
// one on the depth image, and the models of a person's attributes.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/base/camera.h"
#include "host/base/head_place.h"
#include "host/inference/attribute_model.h"
#include "host/inference/detector.h"
#include "host/platform/frame_pool.h"

namespace host {

// Model numbers in the control block.
inline constexpr int kColourModel = 1;
inline constexpr int kDepthModel = 2;
inline constexpr int kAttributeModel = 3;
inline constexpr int kStaffModel = 4;

// Scores for tracking: boxes below the first are useless, boxes from the second up start tracks.
inline constexpr float kScoreUsable = 0.3f;
inline constexpr float kScoreSure = 0.5f;

struct ModelSettings {
    CameraModel camera;               // with its height
    const FramePool* pool = nullptr;  // finds the millimetres that belong to a depth image
    const AttributeModels* attributes = nullptr;  // null: none; used on the analysis thread
};

// Sets what the models work with; they are built when the library loads them. Call it while the
// base stage is down.
void set_model_settings(const ModelSettings& settings);

// Where heads are expected in the next depth image; on the thread of the analysis, as are the rest.
void expect_heads(std::vector<ExpectedHead> heads);

// A head that the detector on the depth image found last.
struct FoundHead {
    int x = 0;  // middle of its box, pixels
    int y = 0;
    HeadPlace at;
    bool seen = true;  // false: hidden, and taken to be where it was expected
};

// The head whose box has its middle at this pixel; null when the box is not one of depth.
const FoundHead* head_in_box(int middle_x, int middle_y);

}  // namespace host
