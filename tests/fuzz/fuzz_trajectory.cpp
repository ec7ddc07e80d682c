// What a run takes its frames and its networks from: files of walks, camera files, depth pictures,
// folders of them, ONNX files. Whatever is wrong with them must be said in the readers' own errors.
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/frames/depth_camera.h"
#include "host/frames/depth_folder.h"
#include "host/frames/frame_source.h"
#include "host/frames/sim_source.h"
#include "host/inference/onnx_file.h"
#include "host/media/png_file.h"
#include "sim/trajectory.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/memory_file.h"

namespace {

using Bytes = std::vector<uint8_t>;

fuzz::MemoryFile& file() {
    static fuzz::MemoryFile the_file;
    return the_file;
}

void read_text(const std::string& text) {
    std::istringstream in(text);
    try {
        sim::read_trajectory(in, "walks", 0.0);
    } catch (const std::runtime_error& error) {
        if (std::string(error.what()).rfind("walks", 0) != 0) std::abort();
    }
}

// The whole way from the file to people on the floor; nothing is drawn.
void open_walks(fuzz::ByteReader& in) {
    host::SourceOptions options;
    options.source = "walks";
    const uint8_t given = in.u8();
    if ((given & 1) != 0) options.height_mm = in.u16();
    if ((given & 2) != 0) options.camera_at = {{static_cast<double>(in.number()), in.real()}};
    if ((given & 4) != 0) options.frames_per_second = 1.0 + in.u8() % 240;
    options.foot_point = (given & 8) != 0;
    file().write({in.rest(), in.left()});
    options.trajectories = file().path();
    const auto source = host::open_walks(options);
    source->count_truth(source->info().lines);
    source->skip(20);
    source->settle_truth();
}

void append_number(Bytes& bytes, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<uint8_t>(value >> shift));
}

void append_chunk(Bytes& bytes, const char* letters, const Bytes& data, bool broken) {
    append_number(bytes, static_cast<uint32_t>(data.size()));
    const size_t from = bytes.size();
    bytes.insert(bytes.end(), letters, letters + 4);
    bytes.insert(bytes.end(), data.begin(), data.end());
    const auto sum = crc32(0, bytes.data() + from, static_cast<uInt>(bytes.size() - from));
    append_number(bytes, static_cast<uint32_t>(sum) ^ (broken ? 1u : 0u));
}

// A picture whose checksums are right, so that what they cover gets read.
Bytes make_png(fuzz::ByteReader& in, int32_t width, int32_t height) {
    Bytes png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    const uint8_t how = in.u8();
    Bytes header;
    append_number(header, static_cast<uint32_t>((how & 1) != 0 ? in.number() : width));
    append_number(header, static_cast<uint32_t>((how & 2) != 0 ? in.number() : height));
    const bool odd = (how & 4) != 0;
    for (const uint8_t usual : {uint8_t{16}, uint8_t{0}, uint8_t{0}, uint8_t{0}, uint8_t{0}})
        header.push_back(odd ? in.u8() : usual);
    append_chunk(png, "IHDR", header, false);
    const size_t row = 2 * static_cast<size_t>(width) + 1;
    Bytes pixels(row * static_cast<size_t>(height) + in.u8() % 3u, 0);
    for (uint8_t& byte : pixels)
        byte = in.empty() ? uint8_t{0} : in.u8() % 8;
    Bytes packed(compressBound(pixels.size()));
    uLongf length = packed.size();
    if (compress(packed.data(), &length, pixels.data(), pixels.size()) != Z_OK) std::abort();
    packed.resize(length - ((how & 8) != 0 ? length / 2 : 0));
    if ((how & 16) != 0) append_chunk(png, "tEXt", {'a', 0, 'b'}, false);
    append_chunk(png, "IDAT", packed, (how & 32) != 0);
    if ((how & 64) == 0) append_chunk(png, "IEND", {}, false);
    return png;
}

void read_picture(fuzz::ByteReader& in) {
    const int32_t width = 1 + in.below(24);
    const int32_t height = 1 + in.below(24);
    const Bytes png =
        in.flag() ? make_png(in, width, height) : Bytes(in.rest(), in.rest() + in.left());
    file().write(png);
    const auto header = host::read_png_header(file().path());
    std::vector<uint16_t> pixels;
    const bool good = host::decode_grey16(host::read_bytes(file().path()), width, height, pixels);
    if (good && pixels.size() != static_cast<size_t>(width * height)) std::abort();
    if (!good || !header) return;
    std::vector<uint16_t> depth;
    host::resample_depth(pixels.data(), width, height, depth);
}

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "fuzz-").string();
        name.append(6, 'X');  // mkdtemp replaces them
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path_ = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// A few files under names of the input's own, beside a sound camera file.
void read_folder(fuzz::ByteReader& in) {
    const TemporaryFolder folder;
    std::ofstream(folder.path() / "camera.toml")
        << "width = 16\nheight = 16\nfx = 9\nfy = 9\ncx = 8\ncy = 8\nframes_per_second = 15\n";
    for (int files = 1 + in.below(4); files > 0; --files) {
        std::string name;
        for (int letters = 1 + in.below(12); letters > 0; --letters) {
            const auto c = static_cast<char>(in.u8());
            name += c == '/' || c == '\0' ? '0' : c;
        }
        name += ".png";
        const Bytes png = make_png(in, 16, 16);
        std::ofstream(folder.path() / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(png.data()), std::ssize(png));
    }
    host::SourceOptions options;
    options.folder = folder.path().string();
    const auto source = host::open_depth_folder(options);
    host::SourceFrame frame;
    while (source->next(frame)) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteReader in(data, size);
    const uint8_t choice = in.u8();
    try {
        switch (choice % 6) {
            case 0:
                read_text({reinterpret_cast<const char*>(in.rest()), in.left()});
                break;
            case 1:
                open_walks(in);
                break;
            case 2:
                file().write({in.rest(), in.left()});
                host::read_recording_camera(file().path());
                break;
            case 3:
                read_picture(in);
                break;
            case 4:
                read_folder(in);
                break;
            default:
                host::read_onnx_outline({in.rest(), in.left()});
                break;
        }
    } catch (const host::InputError& error) {
        if (std::string(error.what()).empty()) std::abort();
    }
    return 0;
}
