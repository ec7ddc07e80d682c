// Capabilities of this build.
#include "host/settings/version_text.h"

#include <opencv2/core/version.hpp>

#include "host/base/version.h"
#include "host/frames/frame_source.h"

namespace host {

std::string version_text() {
    std::string sources;
    for (const std::string& name : source_names())
        sources += " " + name;
    return "vca " + version_number() + " (commit " + version_commit() + ", " +
           version_build_type() +
           " build)\n"
           "sources:   " +
           sources +
           "\n"
           "detection:  depth colour both\n"
           "counting:   lines, groups, U-turn filter, regions, heat maps, exclusion areas\n"
           "attributes: gender (network), staff (vest, network)\n"
           "output:     events.jsonl summary.json regions.csv stays.csv heat_dwell.png\n"
           "            heat_motion.png live.mp4 library.log picture.png\n"
           "OpenCV " CV_VERSION "\n";
}

}  // namespace host
