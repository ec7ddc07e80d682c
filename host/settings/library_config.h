// What the library is told: its configuration message, made from plain settings.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "host/base/counting_places.h"
#include "host/base/picture.h"
#include "host/settings/run_options.h"
#include "vca/config.h"

namespace host {

// No coordinate in a configuration is beyond +-15359: that is the lowest value allowed, and small
// enough for the library's products of differences to fit in 32 bits.
inline constexpr int kFarthestPixel = -VCA_COORD_MIN;

// The nearest whole number, halves away from 0, not beyond kFarthestPixel; 0 for nan.
int whole_coordinate(double value);

// Places are pixels of the 960 x 544 picture; those of a cascade may lie outside it.
struct LibrarySettings {
    VCA_WORK_MODE_E mode = VCA_WORK_ALONE;
    double height_mm = 0.0;   // lens above the floor
    int target_min_mm = 800;  // people outside this range of heights are not counted
    int target_max_mm = 2200;
    bool foot_point = true;  // a device by itself counts by the foot, else by the box
    DetectMode detect = DetectMode::kDepth;

    std::array<std::int32_t, 4> area{0, 0, kColourWidth, kColourHeight};  // x, y, width, height

    // A slave only follows people and is told none of the settings below.
    bool group_counting = false;
    int group_min = 2;
    int group_max = 6;
    bool gender = false;  // ask the host's models
    bool staff = false;
    // At most 4 each; a line or region without points keeps its number and counts nobody.
    bool park_unused_lines = false;  // so that lines can be put there while people are in view
    std::vector<CountingLine> lines;
    std::vector<CountingRegion> regions;
    std::vector<std::vector<PicturePoint>> exclusions;  // people found there are not followed
};

VCA_ALGO_CFG_S library_config(const LibrarySettings& settings);

}  // namespace host
