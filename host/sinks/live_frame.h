// One frame as it is shown to whoever watches: a picture and the people in it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/base/picture.h"

namespace host {

// Places are in the 960 x 544 picture.
struct LivePerson {
    int track = 0;
    PixelBox box;
    std::optional<int> height_mm;  // nothing before it was measured
    bool staff = false;
    PicturePoint foot;
    std::vector<PicturePoint> trail;    // the oldest place first, the foot last
    std::optional<std::string> region;  // the first one that the person is in
    int stay_ms = 0;                    // in that region
};

struct LiveFrame {
    std::int64_t number = 0;
    std::int64_t time_us = 0;  // since 1970
    std::vector<LivePerson> people;
    std::vector<std::uint8_t> jpeg;
};

// Everything but the picture, as pages get it.
std::string to_json(const LiveFrame& frame, const std::string& camera);
// Reads it back, without a picture. Throws InputError for anything else.
LiveFrame parse_live_frame(const std::string& json);

}  // namespace host
