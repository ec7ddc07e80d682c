// Where heads are, as detector and tracker tell each other.
#pragma once

namespace host {

// The top of a head, seen from straight above.
struct HeadPlace {
    float x_mm = 0.0f;    // right of the lens axis
    float y_mm = 0.0f;    // towards the lower edge of the picture
    float top_mm = 0.0f;  // above the floor

    bool operator==(const HeadPlace&) const = default;
};

// Where the head of somebody who is being followed should be in the next frame.
struct ExpectedHead {
    HeadPlace at;
    float unseen_s = 0.0f;   // for this long the head itself has not been seen
    float unfound_s = 0.0f;  // for this long it has not stood out by itself
};

}  // namespace host
