// Names of the files in a folder of results.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace host {

inline constexpr const char* kEventsFile = "events.jsonl";
inline constexpr const char* kPeopleFile = "people.jsonl";
inline constexpr const char* kCrossingsFile = "crossings.csv";
inline constexpr const char* kTrueCrossingsFile = "true_crossings.csv";
inline constexpr const char* kRegionsFile = "regions.csv";
inline constexpr const char* kStaysFile = "stays.csv";
inline constexpr const char* kSummaryFile = "summary.json";
inline constexpr const char* kLogFile = "library.log";
inline constexpr const char* kLiveFile = "live.mp4";
inline constexpr const char* kPictureFile = "picture.png";
inline constexpr const char* kHeatDwellFile = "heat_dwell.png";
inline constexpr const char* kHeatMotionFile = "heat_motion.png";
inline constexpr const char* kCameraFile = "camera.png";
inline constexpr const char* kSitePictureFile = "site_picture.png";
inline constexpr const char* kSitePlanFile = "site_plan.png";

inline constexpr const char* kAuditFile = "audit.json";
inline constexpr const char* kAuditPage = "audit.html";

// What a run of one camera may leave; the live video only on request.
inline constexpr const char* kRunFiles[] = {
    kSummaryFile, kEventsFile,  kPeopleFile, kCrossingsFile, kTrueCrossingsFile, kRegionsFile,
    kStaysFile,   kPictureFile, kLiveFile,   kHeatDwellFile, kHeatMotionFile,    kLogFile};

// Whether a file can be followed while the run goes on; the others appear when it has ended.
inline bool grows(std::string_view name) {
    constexpr std::string_view kGrowing[] = {
        kEventsFile,  kPeopleFile, kCrossingsFile, kTrueCrossingsFile,
        kRegionsFile, kStaysFile,  kLogFile};
    return std::find(std::begin(kGrowing), std::end(kGrowing), name) != std::end(kGrowing);
}

}  // namespace host
