// Choice of the snapshot.
#include "host/sinks/snapshot_sink.h"

#include <algorithm>
#include <utility>

#include "host/engine/session.h"

namespace host {
namespace {

// Heights of tracks that left long ago are dropped when there are more.
constexpr std::size_t kMostHeights = 256;

void add_cells(std::vector<std::int32_t>& sum, const std::vector<std::int32_t>& more) {
    for (std::size_t i = 0; i < std::min(sum.size(), more.size()); ++i) {
        sum[i] = static_cast<std::int32_t>(
            std::clamp<std::int64_t>(std::int64_t{sum[i]} + more[i], INT32_MIN, INT32_MAX));
    }
}

bool has_track(const TrailFrame& frame, int track) {
    return std::any_of(frame.tracks.begin(), frame.tracks.end(),
                       [track](const TrackedBox& box) { return box.id == track; });
}

}  // namespace

void SnapshotSink::on_frame(const FrameView& frame) {
    if (!frame.planes.blank) colour_nv12_ = frame.planes.colour_nv12;
}

void SnapshotSink::on_event(const Event& event) {
    if (const auto* counted = std::get_if<PersonCounted>(&event.payload)) {
        heights_mm_[counted->track] = counted->box.height_mm;
    }
    const auto* heat = std::get_if<HeatMapReported>(&event.payload);
    if (heat != nullptr && heat->request == kHeatRequest) add_heat(*heat);
}

// Each report is what has come since the one before.
void SnapshotSink::add_heat(const HeatMapReported& heat) {
    if (!evidence_.heat) {
        evidence_.heat = heat;
        return;
    }
    add_cells(evidence_.heat->motion, heat.motion);
    add_cells(evidence_.heat->dwell_ms, heat.dwell_ms);
}

bool SnapshotSink::in_trails(int track) const {
    const auto shows = [track](const TrailFrame& frame) { return has_track(frame, track); };
    return std::any_of(recent_.begin(), recent_.end(), shows) ||
           std::any_of(evidence_.trail.begin(), evidence_.trail.end(), shows);
}

void SnapshotSink::end_frame(const PassReport& report) {
    if (report.blank) return;
    recent_.push_back({report.time_s, report.tracks});
    while (report.time_s - recent_.front().time_s > kTrail_s)
        recent_.pop_front();
    if (heights_mm_.size() > kMostHeights) {
        std::erase_if(heights_mm_, [this](const auto& entry) { return !in_trails(entry.first); });
    }
    if (report.tracks.size() < evidence_.tracks.size()) return;
    evidence_.frame = report.number;
    evidence_.time_s = report.time_s;
    evidence_.tracks = report.tracks;
    evidence_.trail.assign(recent_.begin(), recent_.end());
    std::swap(evidence_.colour_nv12, colour_nv12_);
}

void SnapshotSink::finish() {
    std::erase_if(heights_mm_, [this](const auto& entry) { return !in_trails(entry.first); });
    evidence_.heights_mm = std::move(heights_mm_);
}

}  // namespace host
