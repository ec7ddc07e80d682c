// Everything that a run measured; the summary, the picture and benchmarks are made from it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/engine/events.h"
#include "host/link/link_figures.h"
#include "host/score/metrics.h"
#include "host/score/region_stats.h"
#include "host/settings/run_options.h"

namespace host {

// What happened on one frame.
struct FrameRecord {
    std::int64_t number = 0;
    double time_s = 0.0;
    bool blank = false;  // fed after the end of the source
    std::vector<TruePerson> people;
    std::vector<PixelBox> detections;  // sure detections that reached the tracker
    std::vector<TrackedBox> tracks;    // reported by the tracker, boxes as detected
    double simulation_ms = 0.0;        // making or reading the frame
    double detection_ms = 0.0;
    double tracker_ms = 0.0;
    double pass_ms = 0.0;  // from hand-out to give-back
};

// One person counted by the library.
struct Crossing {
    std::int64_t frame = 0;
    double time_s = 0.0;
    int track = 0;
    int line = 0;
    int direction = 0;
    double height_mm = 0.0;
    bool staff = false;         // as the analysis had decided by then
    std::optional<int> person;  // who it truly was, when the track lay on somebody
    std::optional<double> true_height_mm;
};

struct DirectionCount {
    int counted = 0;
    int truth = 0;
};

// A frame worth showing.
struct Snapshot {
    std::int64_t frame = -1;
    double time_s = 0.0;
    std::vector<std::uint8_t> colour_nv12;
};

// Milliseconds per frame.
struct Timing {
    double mean = 0.0;
    double median = 0.0;
    double p95 = 0.0;
};

struct RunResult {
    SourceInfo source;
    RunOptions options;
    std::vector<CountingLine> lines;      // in picture coordinates
    std::vector<CountingRegion> regions;  // likewise
    double install_height_mm = 0.0;
    bool height_measured = false;
    std::vector<std::string> warnings;  // of the source, one sentence each
    bool interrupted = false;

    std::vector<FrameRecord> frames;
    std::vector<Event> events;  // people and groups counted
    RegionLog region_log;
    ShownTracks shown_tracks;
    std::optional<HeatMapReported> heat;  // of the whole run; none when there was no answer
    std::vector<Crossing> crossings;
    std::vector<TrueCrossing> true_crossings;
    Snapshot snapshot;

    std::vector<std::array<DirectionCount, 2>> counts;  // per line, directions 1 and 2
    std::array<DirectionCount, 2> totals{};             // all lines
    DetectionScore detection;
    TrackingScore tracking;
    int staff_counted = 0;  // of the crossings
    RegionStats region_stats;
    int tracks = 0;                             // different ids reported
    std::vector<double> height_errors_mm;       // measured minus true, of counted persons
    std::vector<double> height_error_sizes_mm;  // the same without sign

    Timing simulation;
    Timing detecting;
    Timing tracker;
    Timing library;  // pass without detection and tracker
    Timing pass;
    double wall_s = 0.0;
    double scene_s = 0.0;

    std::optional<LinkFigures> link;  // of a device of a site
    std::optional<PaceFigures> pace;  // of a run by the wall clock

    LoanCounts loans;
    int images_left = 0;
    int undelivered_messages = 0;
    int refused_messages = 0;  // to the library, of a wrong size

    // Frames that the source gave, without those fed after its end.
    std::int64_t source_frames() const;
};

// Fills everything that follows from the frames, events and true crossings.
void evaluate(RunResult& result);

}  // namespace host
