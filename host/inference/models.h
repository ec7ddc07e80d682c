// The host's models behind the inference functions of the library: a detector on the colour image,
// one on the depth image, and the models of a person's attributes.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/base/camera.h"
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

}  // namespace host
