// What every detector of the host produces: scored boxes of people in colour image pixels.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "host/base/head_place.h"
#include "host/base/picture.h"

namespace host {

inline constexpr std::size_t kMaxDetections = 128;
inline constexpr int kClassPerson = 1;

// One person: a box as large as head and shoulders whose middle is the top of the head. It may
// reach beyond the picture.
struct Detection {
    int class_id = kClassPerson;
    float score = 0.0f;  // 0 to 1; 0.8 and more for a clear person
    int x = 0;           // left edge, pixels of the 960 x 544 colour image
    int y = 0;           // top edge
    int w = 0;           // even, as is h, so that the box has a pixel in the middle
    int h = 0;
    std::optional<HeadPlace> head{};  // from depth
    bool head_seen = true;            // false: hidden, and taken to be where it was expected

    // The box around the middle of these edges, in pixels.
    void set_box(float left, float right, float upper, float lower);
};

// Where boxes may lie in a picture; all in pixels.
struct BoxLimits {
    int width = 0;  // of the picture
    int height = 0;
    int border = 0;      // kept off its edges
    int least_side = 0;  // of a box
    int farther = 0;     // a middle this much too near to an edge is moved away from it
};

// Shrinks a box about its middle until it keeps off the edges. False, and unchanged, when a side
// would become too short.
bool shrink_inside(Detection& detection, const BoxLimits& limits);

// Area of the intersection over the area of the union; 0 when either box is empty.
float box_iou(const Detection& a, const Detection& b);

// Sorts by falling score (ties by position) and drops every box that overlaps a better one by more
// than `max_iou`, and what exceeds kMaxDetections.
void suppress_overlaps(std::vector<Detection>& detections, float max_iou);

}  // namespace host
