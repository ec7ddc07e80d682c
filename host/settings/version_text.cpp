// Capabilities of this build.
#include "host/settings/version_text.h"

#include <opencv2/core/version.hpp>

#include "host/base/result_files.h"
#include "host/base/version.h"
#include "host/frames/frame_source.h"

namespace host {

namespace {

// Five to a line, with further lines aligned below the first.
std::string output_files() {
    std::string files;
    int count = 0;
    for (const char* const file : kRunFiles) {
        if (count > 0 && count % 5 == 0) files += "\n           ";
        files += std::string(" ") + file;
        ++count;
    }
    return files;
}

}  // namespace

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
           "output:    " +
           output_files() +
           "\n"
           "OpenCV " CV_VERSION "\n";
}

}  // namespace host
