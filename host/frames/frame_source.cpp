// The table of sources, and the source that has no frames.
#include "host/frames/frame_source.h"

#include <array>
#include <cmath>

#include "host/frames/depth_folder.h"
#include "host/frames/live_input.h"
#include "host/frames/recording.h"
#include "host/frames/sim_source.h"

namespace host {
namespace {

class NullSource final : public FrameSource {
  public:
    NullSource() {
        info_.kind = info_.name = "null";
        info_.description = "no frames at all";
        info_.camera = {240.0, 240.0, 239.5, 127.5, 3000.0};
    }
    bool next(SourceFrame&) override { return false; }
};

std::unique_ptr<FrameSource> open_null(const SourceOptions&) {
    return std::make_unique<NullSource>();
}

struct SourceEntry {
    const char* name;
    std::unique_ptr<FrameSource> (*open)(const SourceOptions&);
};

constexpr std::array<SourceEntry, 6> kSources{{
    {"scene", open_scene},
    {"walks", open_walks},
    {"depth-folder", open_depth_folder},
    {"recording", open_recording},
    {"live", open_live},
    {"null", open_null},
}};

}  // namespace

void describe_camera(const RecordingCamera& camera, const RecordingView& view, SourceInfo& info) {
    info.camera = view.depth_camera();
    info.sensor = camera;
    info.sensor.frames_per_second = info.frames_per_second;
    const auto [width, height] = view.user_size();
    info.user_width = width;
    info.user_height = height;
    info.lines.push_back(
        {"middle", {{0.0, height / 2.0}, {width - 1.0, height / 2.0}}, false, {}, false});
}

double whole_microseconds(double time_s) {
    return std::round(time_s * 1e6) / 1e6;
}

void make_blank(SourceFrame& frame) {
    constexpr std::uint8_t kGrey = 128;
    frame.planes.colour_nv12.assign(kColourWidth * kColourHeight * 3 / 2, kGrey);
    frame.planes.depth_nv12.assign(kDepthWidth * kDepthHeight * 3 / 2, kGrey);
    frame.planes.raw_mm.assign(kDepthWidth * kDepthHeight, 0);
    frame.planes.taken.width = 0;
    frame.planes.blank = true;
    frame.people.clear();
    frame.crossings.clear();
}

std::vector<std::string> source_names() {
    std::vector<std::string> names;
    for (const SourceEntry& entry : kSources)
        names.emplace_back(entry.name);
    return names;
}

std::unique_ptr<FrameSource> open_source(const SourceOptions& options) {
    std::string known;
    for (const SourceEntry& entry : kSources) {
        if (options.source == entry.name) return entry.open(options);
        known += (known.empty() ? "" : ", ") + std::string(entry.name);
    }
    throw InputError("unknown source \"" + options.source + "\"; known are " + known);
}

}  // namespace host
