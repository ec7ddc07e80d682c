// From frames and events to files.
#include "host/sinks/recording_sink.h"

#include <cmath>

namespace host {

RecordedPictures recorded_pictures(const FrameView& frame, RecordedColour colour) {
    const FramePlanes& planes = frame.planes;
    const TakenPictures& taken = planes.taken;
    RecordedPictures pictures;
    pictures.number = frame.number;
    pictures.time_us = std::llround(frame.time_s * 1e6);
    pictures.depth = taken.width == 0 ? planes.raw_mm : taken.depth_mm;
    if (colour != RecordedColour::kNone) {
        pictures.colour = taken.colour_nv12.empty() ? planes.colour_nv12 : taken.colour_nv12;
    }
    return pictures;
}

TakenSize taken_size(const FramePlanes& planes) {
    if (planes.taken.width == 0) return {kDepthWidth, kDepthHeight};
    return {planes.taken.width, planes.taken.height};
}

std::optional<RecordedLine> recorded_line(const Event& event) {
    if (std::holds_alternative<Decision>(event.payload)) return std::nullopt;
    return RecordedLine{std::llround(event.time_s * 1e6), to_json_line(event)};
}

void RecordingSink::on_frame(const FrameView& frame) {
    // Frames without anything follow the end of the scene.
    scene_ended_ = frame.planes.blank;
    if (scene_ended_) return;
    files_.write(recorded_pictures(frame, files_.setup().colour), taken_size(frame.planes));
}

void RecordingSink::on_event(const Event& event) {
    if (const auto line = recorded_line(event)) files_.write_line(line->time_us, line->text);
}

void RecordingSink::finish() {
    files_.finish(scene_ended_ ? RecordingEnd::kSource : RecordingEnd::kStopped);
}

}  // namespace host
