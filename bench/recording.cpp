// What recording costs: encoding, decoding and bytes of a frame, and processor time of an hour of a
// camera; prints rows for results.md.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "host/frames/frame_source.h"
#include "host/frames/sim_source.h"
#include "host/media/recording_reader.h"
#include "host/media/recording_writer.h"
#include "host/sinks/recording_sink.h"

namespace {

constexpr double kSceneStart_s = 10.0;
constexpr int kFrames = 150;
constexpr double kFramesPerSecond = 15.0;

double processor_ms() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

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

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
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
            const host::FrameView view{frame.number, frame.time_s,    frame.planes,
                                       frame.people, frame.crossings, 0.0};
            const double start = processor_ms();
            writer.write(host::recorded_pictures(view, each.colour));
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
    measure({"depth of a scene", "plain", host::RecordedColour::kNone}, folder);
    measure(
        {"depth of a scene, time-of-flight noise", "time-of-flight", host::RecordedColour::kNone},
        folder);
    measure({"the same with small colour of 960 x 544", "plain", host::RecordedColour::kSmall},
            folder);
    measure({"the same with lossless colour", "plain", host::RecordedColour::kLossless}, folder);
    if (std::filesystem::exists(folder))
        measure({"depth of a real sensor", "", host::RecordedColour::kNone}, folder);
    return 0;
}
