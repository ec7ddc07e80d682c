// What is asked of a camera that runs: its frames and pictures, what it is, and that it measures
// again how it hangs.
#pragma once

#include "host/service/live_place.h"
#include "host/web/live_feed.h"
#include "host/web/router.h"

namespace host {

inline constexpr const char* kLivePath = "/api/v1/live";
inline constexpr const char* kPicturePath = "/api/v1/cameras/{camera}/picture";
inline constexpr const char* kStatusPath = "/api/v1/cameras/{camera}/status";
inline constexpr const char* kMeasurePath = "/api/v1/cameras/{camera}/measure";

// All of them must outlive the router.
struct LiveRoutes {
    LivePlace& place;
    LivePictures& pictures;
    LiveFeed& feed;
};

void add_live_routes(Router& router, const LiveRoutes& parts);

}  // namespace host
