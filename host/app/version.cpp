// The text of vca --version.
#include "host/app/version.h"

#include <opencv2/core/version.hpp>

#include "host/frames/frame_source.h"
#include "host_version.h"

namespace host {

std::string version_commit() {
    return VCA_HOST_COMMIT;
}

std::string version_text() {
    std::string sources;
    for (const std::string& name : source_names())
        sources += " " + name;
    return "vca " VCA_HOST_VERSION " (commit " VCA_HOST_COMMIT ", " VCA_HOST_BUILD_TYPE
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
