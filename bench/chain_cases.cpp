// Scenes, walks and recordings by the number of people in them.
#include "bench/chain_cases.h"

#include <chrono>
#include <utility>

#include "bench/measure.h"
#include "host/media/recording_writer.h"

namespace bench {
namespace {

ChainCase scene(const std::string& what, const std::string& name) {
    ChainCase one{what, {}};
    one.options.source.scene = name;
    return one;
}

ChainCase walks(const std::string& what, const std::string& file, double height_m) {
    ChainCase one{what, {}};
    one.options.source.source = "walks";
    one.options.source.trajectories = file;
    one.options.source.height_mm = 1000.0 * height_m;
    return one;
}

}  // namespace

std::vector<ChainCase> chain_cases(const std::string& data) {
    const std::string folder = data + "/trajectories/";
    std::vector<ChainCase> cases;
    cases.push_back(scene("scene entrance", "entrance"));
    cases.push_back(scene("scene crowd", "crowd"));
    cases.push_back(walks("recorded walks, corridor, 6 m",
                          folder + "bidirectional_corridor_400_b_03.txt", 6.0));
    cases.push_back(
        walks("recorded walks, passage, 6 m", folder + "unidirectional_uo_180_180_070.txt", 6.0));
    // Seventy-five people in front of a door, all of whom are in view from here.
    cases.push_back(walks("recorded walks, jam, 8 m", folder + "bottleneck_030_c_56_h0.txt", 8.0));
    cases.back().options.source.camera_at = host::PicturePoint{0.0, 2.2};
    cases.push_back({"one person, real sensor", {}});
    cases.back().options.source.source = "depth-folder";
    cases.back().options.source.folder = data + "/depth_walk";
    cases.back().options.source.camera_file = VCA_PROJECT_DIR "/host/examples/tof_512x424.toml";
    cases.push_back(scene("scene crowd, camera crooked by 8.5 degrees", "crowd"));
    cases.back().options.source.camera_tilt = {6.0, 6.0};
    cases.push_back(scene("scene crowd, recorded", "crowd"));
    cases.back().recorded = true;
    return cases;
}

std::shared_ptr<const KeptFrames> keep_frames(const host::SourceOptions& options,
                                              std::size_t most) {
    const std::unique_ptr<host::FrameSource> from = host::open_source(options);
    from->begin();
    auto kept = std::make_shared<KeptFrames>();
    kept->info = from->info();
    kept->info.has_colour = false;
    host::SourceFrame frame;
    while (kept->frames.size() < most && from->next(frame)) {
        kept->frames.push_back({frame.number, frame.time_s, std::move(frame.planes.raw_mm)});
        frame.planes.raw_mm = {};
    }
    kept->blank = std::move(frame.planes);
    kept->blank.taken.width = 0;
    return kept;
}

KeptSource::KeptSource(std::shared_ptr<const KeptFrames> kept) : kept_(std::move(kept)) {
    info_ = kept_->info;
}

bool KeptSource::next(host::SourceFrame& frame) {
    if (next_ == kept_->frames.size()) return false;
    const Clock::time_point start = Clock::now();
    const KeptFrame& kept = kept_->frames[next_++];
    frame.number = kept.number;
    frame.time_s = kept.time_s;
    if (frame.planes.colour_nv12.empty()) frame.planes = kept_->blank;
    frame.planes.taken.width = 0;
    frame.planes.raw_mm.assign(kept.raw_mm.begin(), kept.raw_mm.end());
    times_ms_[kept.number] = us_between(start, Clock::now()) / 1e3;
    return true;
}

void record(const KeptFrames& kept, const std::filesystem::path& path, host::RunOptions& options) {
    host::RecordingWriter::Setup setup;
    setup.path = path.string();
    setup.width = host::kDepthWidth;
    setup.height = host::kDepthHeight;
    setup.frames_per_second = kept.info.frames_per_second;
    setup.attachments = {
        {host::kCameraAttachment, host::kTextType, host::recording_camera_text(kept.info.sensor)}};
    host::RecordingWriter writer(setup);
    for (const KeptFrame& frame : kept.frames) {
        writer.write(
            {frame.number, static_cast<std::int64_t>(frame.time_s * 1e6 + 0.5), frame.raw_mm, {}});
    }
    writer.finish(host::RecordingEnd::kSource);
    options.source = {};
    options.source.source = "recording";
    options.source.recordings = {path.string()};
    for (const host::CountingLine& line : kept.info.lines)
        options.lines.emplace_back(line);
}

}  // namespace bench
