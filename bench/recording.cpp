// What recording costs: encoding, decoding and bytes of a frame, and processor time of an hour of a
// camera, and what other options of the coding would cost; prints rows for results.md.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/recording_codings.h"
#include "host/frames/frame_source.h"
#include "host/frames/sim_source.h"
#include "host/media/recording_reader.h"
#include "host/media/recording_writer.h"
#include "host/sinks/recording_sink.h"

namespace {

constexpr double kSceneStart_s = 10.0;
constexpr int kFrames = 150;
constexpr double kFramesPerSecond = 15.0;

using bench::median;
using bench::processor_ms;

struct Case {
    const char* name;
    const char* noise;  // empty: pictures of the folder
    host::RecordedColour colour;
};

std::vector<host::SourceFrame> pictures_of(const Case& each, const char* folder) {
    host::SourceOptions options;
    if (each.noise[0] == '\0') {
        options.source = "depth-folder";
        options.folder = folder;
        options.camera_file = VCA_PROJECT_DIR "/host/examples/tof_512x424.toml";
    } else {
        options.scene = "entrance";
        options.noise = each.noise;
    }
    const auto source = host::open_source(options);
    source->skip(static_cast<std::int64_t>(kSceneStart_s * kFramesPerSecond));
    std::vector<host::SourceFrame> frames;
    for (host::SourceFrame frame; std::ssize(frames) < kFrames && source->next(frame); frame = {})
        frames.push_back(std::move(frame));
    return frames;
}

host::FrameView view_of(const host::SourceFrame& frame) {
    return {frame.number, frame.time_s, frame.planes, frame.people, frame.crossings, 0.0};
}

void measure(const Case& each, const char* folder) {
    const std::vector<host::SourceFrame> frames = pictures_of(each, folder);
    const host::TakenSize size = host::taken_size(frames.front().planes);
    host::RecordingWriter::Setup setup;
    setup.path = (std::filesystem::temp_directory_path() / "bench_recording.mkv").string();
    setup.width = size.width;
    setup.height = size.height;
    setup.colour = each.colour;
    setup.colour_width = host::kColourWidth;
    setup.colour_height = host::kColourHeight;
    std::vector<double> encode_ms;
    {
        host::RecordingWriter writer(setup);
        for (const host::SourceFrame& frame : frames) {
            const double start = processor_ms();
            writer.write(host::recorded_pictures(view_of(frame), each.colour));
            encode_ms.push_back(processor_ms() - start);
        }
        writer.finish(host::RecordingEnd::kStopped);
    }
    const double bytes = static_cast<double>(std::filesystem::file_size(setup.path));
    std::vector<double> decode_ms;
    host::RecordingReader reader(host::RecordingReader::file(setup.path));
    host::MediaFrame frame;
    for (double start = processor_ms(); reader.next(frame); start = processor_ms())
        decode_ms.push_back(processor_ms() - start);
    std::filesystem::remove(setup.path);
    const double hour_frames = 3600.0 * kFramesPerSecond;
    const double a_frame = bytes / static_cast<double>(frames.size());
    std::printf("| %s, %d x %d | %.1f ms | %.1f ms | %.0f kB | %.1f GB | %.0f s |\n", each.name,
                size.width, size.height, median(encode_ms), median(decode_ms), a_frame / 1e3,
                a_frame * hour_frames / 1e9, median(encode_ms) * hour_frames / 1e3);
}

void measure_codings(const std::vector<Case>& cases, const char* folder) {
    std::vector<std::vector<host::SourceFrame>> frames;  // whose pictures are borrowed
    std::vector<bench::DepthPictures> all;
    for (const Case& each : cases) {
        frames.push_back(pictures_of(each, folder));
        const host::TakenSize size = host::taken_size(frames.back().front().planes);
        all.push_back({each.name, size.width, size.height, {}});
        for (const host::SourceFrame& frame : frames.back())
            all.back().pictures.push_back(
                host::recorded_pictures(view_of(frame), host::RecordedColour::kNone).depth);
    }
    bench::print_codings(all);
}

}  // namespace

int main(int argc, char** argv) {
    const char* const folder = argc > 1 ? argv[1] : VCA_PROJECT_DIR "/../shared/data/depth_walk";
    std::printf(
        "Processor time on one core, medians of %d frames; an hour is one at 15 frames/s. Not "
        "measured "
        "on aarch64.\n\n"
        "| pictures | encode | decode | a frame | an hour | processor time of recording an hour |\n"
        "|---|---|---|---|---|---|\n",
        kFrames);
    const Case scene{"depth of a scene", "plain", host::RecordedColour::kNone};
    const Case sensor{"depth of a real sensor", "", host::RecordedColour::kNone};
    const bool has_sensor = std::filesystem::exists(folder);
    measure(scene, folder);
    measure(
        {"depth of a scene, time-of-flight noise", "time-of-flight", host::RecordedColour::kNone},
        folder);
    measure({"the same with small colour of 960 x 544", "plain", host::RecordedColour::kSmall},
            folder);
    measure({"the same with lossless colour", "plain", host::RecordedColour::kLossless}, folder);
    if (has_sensor) measure(sensor, folder);
    measure_codings(has_sensor ? std::vector{scene, sensor} : std::vector{scene}, folder);
    return 0;
}
