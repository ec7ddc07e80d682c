// Counts, scores and timings from what was recorded.
#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "host/report/run_result.h"

namespace host {
namespace {

Identities score_frames(RunResult& result) {
    DetectionMeter detection;
    TrackingMeter tracking;
    Identities identities;
    std::set<int> tracks;
    for (const FrameRecord& frame : result.frames) {
        for (const TrackedBox& track : frame.tracks)
            tracks.insert(track.id);
        if (!result.source.has_truth || frame.blank) continue;
        detection.add_frame(frame.people, frame.detections);
        identities.add_frame(frame.number, tracking.add_frame(frame.people, frame.tracks),
                             frame.people);
    }
    result.detection = detection.score();
    result.tracking = tracking.score();
    result.tracks = static_cast<int>(tracks.size());
    return identities;
}

void list_crossings(RunResult& result, const Identities& identities) {
    result.crossings.clear();
    result.height_errors_mm.clear();
    result.height_error_sizes_mm.clear();
    for (const Event& event : result.events) {
        const auto* counted = std::get_if<PersonCounted>(&event.payload);
        if (counted == nullptr) continue;
        Crossing crossing;
        crossing.frame = event.frame_number;
        crossing.time_s = event.time_s;
        crossing.track = counted->track_id;
        crossing.line = counted->line;
        crossing.direction = counted->direction;
        crossing.height_mm = counted->box.height;
        crossing.staff = counted->box.staff == 1;
        crossing.person = identities.person_of(counted->track_id, event.frame_number);
        if (crossing.person) {
            crossing.true_height_mm = identities.height_mm(*crossing.person);
            result.height_errors_mm.push_back(crossing.height_mm - *crossing.true_height_mm);
            result.height_error_sizes_mm.push_back(std::abs(result.height_errors_mm.back()));
        }
        result.crossings.push_back(crossing);
    }
}

void count_directions(RunResult& result) {
    result.counts.assign(result.lines.size(), {});
    const auto cell = [&result](int line, int direction) -> DirectionCount* {
        if (line < 0 || static_cast<std::size_t>(line) >= result.counts.size()) return nullptr;
        if (direction != 1 && direction != 2) return nullptr;
        return &result.counts[static_cast<std::size_t>(line)]
                             [static_cast<std::size_t>(direction - 1)];
    };
    for (const Crossing& c : result.crossings) {
        if (DirectionCount* count = cell(c.line, c.direction)) ++count->counted;
    }
    for (const TrueCrossing& c : result.true_crossings) {
        if (DirectionCount* count = cell(c.line, c.direction)) ++count->truth;
    }
    result.totals = {};
    for (const auto& line : result.counts) {
        for (std::size_t d = 0; d < 2; ++d) {
            result.totals[d].counted += line[d].counted;
            result.totals[d].truth += line[d].truth;
        }
    }
}

Timing timing_of(const std::vector<FrameRecord>& frames, double (*value)(const FrameRecord&)) {
    std::vector<double> values;
    double sum = 0.0;
    for (const FrameRecord& frame : frames) {
        if (frame.blank) continue;
        values.push_back(value(frame));
        sum += values.back();
    }
    if (values.empty()) return {};
    return {sum / static_cast<double>(values.size()), quantile(values, 0.5),
            quantile(values, 0.95)};
}

void measure_times(RunResult& result) {
    const std::vector<FrameRecord>& frames = result.frames;
    result.simulation = timing_of(frames, [](const FrameRecord& f) { return f.simulation_ms; });
    result.detecting = timing_of(frames, [](const FrameRecord& f) { return f.detection_ms; });
    result.tracker = timing_of(frames, [](const FrameRecord& f) { return f.tracker_ms; });
    result.pass = timing_of(frames, [](const FrameRecord& f) { return f.pass_ms; });
    result.library = timing_of(
        frames, [](const FrameRecord& f) { return f.pass_ms - f.detection_ms - f.tracker_ms; });
    result.scene_s = static_cast<double>(result.source_frames()) / result.source.frames_per_second;
}

}  // namespace

std::int64_t RunResult::source_frames() const {
    return std::count_if(frames.begin(), frames.end(),
                         [](const FrameRecord& frame) { return !frame.blank; });
}

void evaluate(RunResult& result) {
    const Identities identities = score_frames(result);
    list_crossings(result, identities);
    result.staff_counted =
        static_cast<int>(std::count_if(result.crossings.begin(), result.crossings.end(),
                                       [](const Crossing& c) { return c.staff; }));
    count_directions(result);
    result.region_stats = measure_regions(result, identities);
    measure_times(result);
}

}  // namespace host
