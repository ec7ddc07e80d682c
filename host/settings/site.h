// A site: several cameras over one floor that count as one.
//
// Places are metres on the floor, x to the right and y down on a plan drawn as seen from above. The
// origin is the user's choice.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/base/placed.h"
#include "host/settings/broker_options.h"
#include "host/settings/run_options.h"

namespace host {

struct SitePoint {
    double x_m = 0.0;
    double y_m = 0.0;
};

// 480 / tan(43 deg): 86 degrees across the 960 pixels of the picture.
inline constexpr double kDefaultFocal_px = 514.737;

inline constexpr int kMostSlaves = 15;
inline constexpr double kHead_m = 1.7;  // height at which a person has to be in view to be found

// Where the pictures of a real camera come from.
struct SiteCameraFiles {
    std::string recording;
    std::string depth;         // address of a live camera
    std::string depth_format;  // of it
    std::string camera;        // camera file; empty: that of the recording or stream
};

struct SiteDevice {
    std::string name;
    bool master = false;
    int index = -1;  // of a slave, 0 to 14
    SitePoint at;    // on the floor below the camera
    double rotation_deg =
        0.0;                 // of the picture's x axis, from the site's x axis towards its y axis
    double height_mm = 0.0;  // lens above the floor
    double focal_px = kDefaultFocal_px;
    SiteCameraFiles files;  // none: the simulator's camera
    std::string place;      // where it was given, for messages

    bool is_simulated() const { return files.recording.empty() && files.depth.empty(); }
};

struct SiteLine {
    std::string name;
    std::vector<SitePoint> points;
    bool uturn_filter = false;
    std::vector<SitePoint> uturn_area;  // empty: the whole site
    bool flip = false;
    std::string place;
};

struct SiteRegion {
    std::string name;
    std::vector<SitePoint> points;
    std::string place;
};

struct Site {
    std::string name;
    BrokerOptions broker;
    double stale_s = 3.0;     // a device not heard from for this long is missing
    int max_age_frames = 15;  // older messages of a slave are dropped
    Placed<double> frames_per_second = 15.0;
    Placed<std::string> scene{"hall"};  // simulated sites only
    std::uint64_t seed = 1;
    std::optional<double> seconds;  // of the scene; none: all of it
    DetectMode detect = DetectMode::kDepth;
    int target_min_mm = 800;  // people outside this range of heights are not counted
    int target_max_mm = 2200;
    bool group_counting = false;
    int group_min = 2;
    int group_max = 6;
    std::vector<SiteDevice> devices;  // in the order of the file
    std::vector<SiteLine> lines;
    std::vector<SiteRegion> regions;
};

// The one device that counts for all. The site must have been checked.
const SiteDevice& master_of(const Site& site);

// Whether nothing in it is real, so that the truth is known.
bool is_simulated(const Site& site);

// Null when no slave has this index, or no device this name.
const SiteDevice* find_slave(const Site& site, int index);
const SiteDevice* find_device(const Site& site, const std::string& name);

// Whether a file describes a site and not an installation: it has a key that only sites have.
// Throws InputError when it cannot be read.
bool is_site_file(const std::string& path);

// Reads and checks a site file. Throws InputError that names file and line.
Site read_site_file(const std::string& path);

}  // namespace host
