// Recordings: a sound one with changes, or the input's own bytes, through the reader and through
// the source with its camera, calibration and settings. Whatever is wrong with them must be said in
// an InputError, and every frame that comes out must be what it says it is.
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "host/frames/depth_calibration.h"
#include "host/frames/recording.h"
#include "host/media/recording_reader.h"
#include "host/media/recording_writer.h"
#include "host/settings/run_options.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/memory_file.h"
#include "tests/host/ebml.h"
#include "tests/host/recorded_frames.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kMostFrames = 200;

fuzz::MemoryFile& file() {
    static fuzz::MemoryFile the_file;
    return the_file;
}

// Three frames with a line each, with colour or without.
std::string make_sound(host::RecordedColour colour) {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("fuzz-recording-" + std::to_string(getpid()));
    host::RecordingWriter::Setup setup = test::sensor_setup(path);
    setup.colour = colour;
    setup.attachments = {{"camera.toml", "text/plain",
                          "width = 64\nheight = 48\nfx = 50\nfy = 50\ncx = 31.5\ncy = 23.5\n"
                          "frames_per_second = 15\nheight_mm = 2600\n"},
                         {"settings.toml", "text/plain", "[[line]]\npoints = [[1, 2], [30, 4]]\n"}};
    {
        host::RecordingWriter writer(setup);
        for (int i = 0; i < 3; ++i) {
            test::write_frame(writer, i, colour != host::RecordedColour::kNone);
            writer.write_line(test::sensor_time_us(i), "{\"message\":\"person_counted\"}");
        }
        writer.finish(host::RecordingEnd::kSource);
    }
    std::string bytes = test::read_all(path);
    std::filesystem::remove(path);
    return bytes;
}

// Uncompressed depth of 320 x 288 pixels; the input says what the calibration and the mode are.
std::string make_raw(fuzz::ByteReader& in) {
    std::string calibration;
    std::string mode = in.flag() ? "NFOV_2X2BINNED" : "";
    for (int left = in.below(64); left > 0; --left)
        mode += static_cast<char>(in.u8());
    for (int left = in.below(256); left > 0; --left)
        calibration += static_cast<char>(in.u8());
    return test::matroska(test::raw_depth_track(320, 288) +
                          test::attachment("calibration.json", calibration) +
                          test::tag(host::kDepthModeTag, mode) +
                          test::cluster(in.u16(), std::string(std::size_t{2} * 320 * 288, '\1')));
}

const std::string& sound(bool colour) {
    static const std::array<std::string, 2> both{make_sound(host::RecordedColour::kNone),
                                                 make_sound(host::RecordedColour::kSmall)};
    return both[colour ? 1 : 0];
}

// Single bytes changed, pieces cut out or doubled, the end cut off.
std::string change(std::string bytes, fuzz::ByteReader& in) {
    for (int changes = in.below(12); changes > 0 && bytes.size() > 64; --changes) {
        const std::size_t at = in.u16() % bytes.size();
        const std::size_t length = 1 + in.u8() % 32u;
        switch (in.u8() % 5) {
            case 0:
                bytes.erase(at, length);
                break;
            case 1:
                bytes.insert(at, bytes.substr(at, length));
                break;
            case 2:
                bytes.resize(at);
                break;
            case 3:
                bytes[at] = static_cast<char>(bytes[at] ^ (1 << in.u8() % 8));
                break;
            default:
                bytes[at] = static_cast<char>(in.u8());
                break;
        }
    }
    return bytes;
}

void expect(bool holds) {
    if (!holds) std::abort();
}

void read_media(const host::RecordingReader::Setup& setup) {
    host::RecordingReader reader(setup);
    host::MediaFrame frame;
    std::int64_t number = -1;
    std::int64_t time_us = INT64_MIN;
    for (int frames = 0; frames < kMostFrames && reader.next(frame); ++frames) {
        expect(frame.number > number && frame.time_us > time_us);
        number = frame.number;
        time_us = frame.time_us;
        expect(frame.width == reader.info().width && frame.height == reader.info().height);
        expect(frame.depth_mm.size() ==
               static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height));
        if (!frame.has_colour) continue;
        expect(frame.colour_nv12.size() == static_cast<std::size_t>(frame.colour_width) *
                                               static_cast<std::size_t>(frame.colour_height) * 3 /
                                               2);
    }
    for (const std::string& sentence : reader.damage())
        expect(!sentence.empty() && sentence.size() < 1000);
}

void read_source(const std::string& path) {
    host::SourceOptions options;
    options.recordings = {path};
    const auto source = host::open_recording(options);
    host::SourceFrame frame;
    for (int frames = 0; frames < kMostFrames && source->next(frame); ++frames)
        expect(frame.planes.raw_mm.size() == std::size_t{480} * 256);
    source->warnings();
    source->losses();
}

void read_settings(const std::string& path) {
    const auto text = host::recorded_settings(path);
    if (!text) return;
    host::RunOptions options;
    host::parse_config(*text, path, options);
    // What was read can be written, and reads back as the same.
    const std::string again = host::config_text(options);
    host::RunOptions back;
    host::parse_config(again, path, back);
    expect(host::config_text(back) == again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteReader in(data, size);
    const uint8_t choice = in.u8();
    std::string bytes;
    if (choice % 4 == 0) {
        bytes.assign(reinterpret_cast<const char*>(in.rest()), in.left());
    } else if (choice % 4 == 1) {
        bytes = change(make_raw(in), in);
    } else {
        bytes = change(sound(choice % 4 == 3), in);
    }
    file().write({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    const auto attempt = [](auto&& read) {
        try {
            read();
        } catch (const host::InputError& error) {
            expect(!std::string(error.what()).empty());
        }
    };
    const std::string path = file().path();
    attempt([&] { read_media(host::RecordingReader::file(path)); });
    attempt([&] { read_source(path); });
    attempt([&] { read_settings(path); });
    return 0;
}
