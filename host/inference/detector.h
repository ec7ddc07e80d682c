// What every detector of the host produces: scored boxes of people in colour image pixels.
#pragma once

#include <cstddef>
#include <vector>

#include "host/base/picture.h"

namespace host {

inline constexpr std::size_t kMaxDetections = 128;
inline constexpr int kClassPerson = 1;

// One person: the box holds head and shoulders, from the top of the head to about 0.45 m below it,
// as the camera sees them.
struct Detection {
    int class_id = kClassPerson;
    float score = 0.0f;  // 0 to 1; 0.8 and more for a clear person
    int x = 0;           // left edge, pixels of the 960 x 544 colour image
    int y = 0;           // top edge
    int w = 0;
    int h = 0;
};

// Area of the intersection over the area of the union; 0 when either box is empty.
float box_iou(const Detection& a, const Detection& b);

// Sorts by falling score (ties by position) and drops every box that overlaps a better one by more
// than `max_iou`, and what exceeds kMaxDetections.
void suppress_overlaps(std::vector<Detection>& detections, float max_iou);

}  // namespace host
