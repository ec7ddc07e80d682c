// Counts and figures in the text format that Prometheus reads, version 0.0.4.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/sinks/camera_figures.h"
#include "host/store/visitors.h"

namespace host {

inline constexpr const char* kMetricsType = "text/plain; version=0.0.4; charset=utf-8";

// Names of metrics; units are base units, and what only grows ends in _total.
namespace metric {
inline constexpr const char* kCrossings = "vca_crossings_total";
inline constexpr const char* kSuppressed = "vca_suppressed_crossings_total";
inline constexpr const char* kRegionPeople = "vca_region_people";
inline constexpr const char* kRegionStay = "vca_region_stay_seconds";
inline constexpr const char* kOccupancy = "vca_occupancy_people";
inline constexpr const char* kFrames = "vca_frames_total";
inline constexpr const char* kMissing = "vca_frames_missing_total";
inline constexpr const char* kLate = "vca_frames_late_total";
inline constexpr const char* kGaps = "vca_frame_gaps_total";
inline constexpr const char* kProcessing = "vca_frame_processing_seconds";
inline constexpr const char* kDepthValid = "vca_depth_valid_ratio";
inline constexpr const char* kWaiting = "vca_subscriber_waiting_events";
inline constexpr const char* kOldest = "vca_subscriber_oldest_age_seconds";
inline constexpr const char* kLastEvent = "vca_last_event_timestamp_seconds";
inline constexpr const char* kLastWatched = "vca_last_watched_timestamp_seconds";
inline constexpr const char* kFaults = "vca_faults";
inline constexpr const char* kDatabase = "vca_database_bytes";
inline constexpr const char* kDiskFree = "vca_disk_free_bytes";
inline constexpr const char* kUnreadable = "vca_database_unreadable";
inline constexpr const char* kBuild = "vca_build_info";
}  // namespace metric

struct MetricsCamera {
    std::string database;
    std::optional<CameraFigures> figures;  // of the process that runs; nothing when there is none
};

struct MetricsInput {
    std::string place;
    std::vector<MetricsCamera> cameras;
    std::vector<Area> areas;
    std::string place_database;      // which need not exist
    std::vector<HealthNote> faults;  // of the place and no camera
    std::string time_zone;           // of the areas' resets; empty: the machine's
    std::int64_t now_us = 0;
};

// Counts are the committed ones. A database that cannot be read is a metric of its own, and what
// is known of the others is told all the same.
std::string metrics_text(const MetricsInput& input);

// Collects samples so that those of a metric stand together under its head.
class MetricsWriter {
  public:
    using Labels = std::vector<std::pair<std::string_view, std::string>>;

    void add(const char* metric, const Labels& labels, double value);
    void add(const char* metric, const Labels& labels, const Histogram& histogram);
    // Metrics without a sample have no head either.
    std::string text() const;

  private:
    struct Family {
        std::string name;
        std::string samples;
    };
    std::string& samples_of(const char* metric);

    std::vector<Family> families_;
};

}  // namespace host
