// Finds and checks the files of a recording, and resamples them into the depth image.
#include "host/frames/depth_folder.h"

#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>

#include "host/frames/grey_picture.h"
#include "host/frames/png_file.h"
#include "host/inference/detector.h"

namespace host {
namespace {

namespace fs = std::filesystem;

struct NumberedFile {
    std::int64_t number = 0;
    fs::path path;
};

// The last run of digits in a file's stem.
std::optional<std::int64_t> number_in(const std::string& stem) {
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    const auto last = std::find_if(stem.rbegin(), stem.rend(), is_digit);
    if (last == stem.rend()) return std::nullopt;
    const auto first = std::find_if_not(last, stem.rend(), is_digit);
    const std::string digits(first.base(), last.base());
    if (digits.size() > 9) return std::nullopt;
    return std::stoll(digits);
}

std::vector<NumberedFile> list_files(const fs::path& folder) {
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    if (error) {
        throw InputError("cannot read the folder \"" + folder.string() +
                         "\"; --folder needs a folder of numbered 16-bit PNG files");
    }
    std::vector<NumberedFile> files;
    for (const fs::directory_entry& entry : entries) {
        std::string extension = entry.path().extension().string();
        std::transform(extension.begin(), extension.end(), extension.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const auto number = number_in(entry.path().stem().string());
        if (extension == ".png" && number) files.push_back({*number, entry.path()});
    }
    std::sort(files.begin(), files.end(), [](const NumberedFile& a, const NumberedFile& b) {
        return std::pair(a.number, a.path) < std::pair(b.number, b.path);
    });
    if (files.empty()) {
        throw InputError("the folder \"" + folder.string() +
                         "\" holds no numbered PNG file such as image0001.png");
    }
    const auto twice = std::adjacent_find(
        files.begin(), files.end(),
        [](const NumberedFile& a, const NumberedFile& b) { return a.number == b.number; });
    if (twice != files.end()) {
        throw InputError("\"" + twice->path.string() + "\" and \"" + (twice + 1)->path.string() +
                         "\" have the same number; each frame needs one of its own");
    }
    return files;
}

void check_png(const fs::path& path, const RecordingCamera& camera) {
    const std::string place = "\"" + path.string() + "\"";
    const std::optional<PngHeader> png = read_png_header(path.string());
    if (!png) throw InputError(place + " is not a whole PNG file; record it again or remove it");
    if (png->bits != 16 || !png->grey) {
        throw InputError(place + " has " + std::to_string(png->bits) + "-bit " +
                         (png->grey ? "grey" : "colour") +
                         " pixels; depth needs 16-bit grey in millimetres");
    }
    if (png->width != camera.width || png->height != camera.height) {
        throw InputError(place + " is " + std::to_string(png->width) + " x " +
                         std::to_string(png->height) + " pixels, but the camera file says " +
                         std::to_string(camera.width) + " x " + std::to_string(camera.height));
    }
}

class DepthFolder final : public FrameSource {
  public:
    DepthFolder(const fs::path& folder, const RecordingCamera& camera, const SourceOptions& options)
        : camera_(camera), files_(list_files(folder)) {
        for (const NumberedFile& file : files_)
            check_png(file.path, camera_);
        info_.kind = "depth-folder";
        info_.name = fs::absolute(folder).lexically_normal().filename().string();
        if (info_.name.empty()) info_.name = "recording";
        info_.description = "recording of a depth camera";
        info_.frames_per_second = options.frames_per_second.value_or(camera.frames_per_second);
        info_.duration_s = static_cast<double>(files_.size()) / info_.frames_per_second;
        fit_ = fit_recording(camera.width, camera.height);
        info_.camera = {camera.fx * fit_.scale, camera.fy * fit_.scale, to_depth_x(camera.cx),
                        to_depth_y(camera.cy), camera.height_mm};
        info_.user_width = camera.width;
        info_.user_height = camera.height;
        info_.lines.push_back({"middle",
                               {to_picture({0.0, camera.height / 2.0}),
                                to_picture({camera.width - 1.0, camera.height / 2.0})},
                               false,
                               {},
                               false});
        far_mm_ = options.height_mm.value_or(camera.height_mm.value_or(4000.0)) * 1.1;
    }

    bool next(SourceFrame& frame) override {
        if (position_ == files_.size()) return false;
        const NumberedFile& file = files_[position_];
        const std::vector<std::uint8_t> bytes = read_bytes(file.path.string());
        cv::Mat image;
        if (png_is_intact(bytes)) image = cv::imdecode(bytes, cv::IMREAD_UNCHANGED);
        if (image.type() != CV_16UC1 || image.cols != camera_.width ||
            image.rows != camera_.height || !image.isContinuous()) {
            throw InputError("\"" + file.path.string() + "\" is a damaged PNG file");
        }
        resample_depth(image.ptr<std::uint16_t>(), image.cols, image.rows, frame.planes.raw_mm);
        render_grey(frame.planes.raw_mm, far_mm_, frame.planes.depth_nv12,
                    frame.planes.colour_nv12);
        frame.planes.blank = false;
        frame.number = file.number;
        frame.time_s = static_cast<double>(position_) / info_.frames_per_second;
        frame.people.clear();
        frame.crossings.clear();
        ++position_;
        return true;
    }

    PicturePoint to_picture(const PicturePoint& p) const override {
        return {to_depth_x(p.x) * kColourWidth / kDepthWidth,
                to_depth_y(p.y) * kColourHeight / kDepthHeight};
    }

  private:
    double to_depth_x(double u) const { return (u + 0.5) * fit_.scale + fit_.offset_x - 0.5; }
    double to_depth_y(double v) const { return (v + 0.5) * fit_.scale + fit_.offset_y - 0.5; }

    RecordingCamera camera_;
    std::vector<NumberedFile> files_;
    RecordingFit fit_;
    double far_mm_ = 0.0;  // distance that is drawn black
    std::size_t position_ = 0;
};

double positive_number(const toml::table& table, const std::string& key, const std::string& path) {
    const toml::node* node = table.get(key);
    if (node == nullptr) throw InputError("the camera file \"" + path + "\" lacks " + key);
    const std::optional<double> value = node->value<double>();
    if (!node->is_number() || !value || !(*value > 0.0) || !std::isfinite(*value)) {
        throw InputError("\"" + path + "\" line " + std::to_string(node->source().begin.line) +
                         ": " + key + " must be a number above 0");
    }
    return *value;
}

}  // namespace

RecordingCamera read_recording_camera(const std::string& path) {
    constexpr std::array<const char*, 8> kKeys{
        "width", "height", "fx", "fy", "cx", "cy", "frames_per_second", "height_mm"};
    toml::table table;
    try {
        if (!fs::is_regular_file(path)) {
            throw InputError("there is no camera file \"" + path +
                             "\"; name one with --camera FILE");
        }
        table = toml::parse_file(path);
    } catch (const toml::parse_error& e) {
        throw InputError("\"" + path + "\" line " + std::to_string(e.source().begin.line) + ": " +
                         std::string(e.description()));
    }
    for (const auto& [key, node] : table) {
        if (std::find(kKeys.begin(), kKeys.end(), key.str()) == kKeys.end()) {
            throw InputError("\"" + path + "\" line " + std::to_string(node.source().begin.line) +
                             ": unknown key \"" + std::string(key.str()) +
                             "\"; known are width, height, fx, fy, cx, cy, frames_per_second and "
                             "height_mm");
        }
    }
    RecordingCamera camera;
    const auto pixels = [&](const char* key) {
        const double value = positive_number(table, key, path);
        if (value < 16.0 || value > 8192.0 || value != std::floor(value)) {
            throw InputError("\"" + path + "\": " + key + " must be a whole number of 16 to 8192");
        }
        return static_cast<int>(value);
    };
    camera.width = pixels("width");
    camera.height = pixels("height");
    camera.fx = positive_number(table, "fx", path);
    camera.fy = positive_number(table, "fy", path);
    camera.cx = positive_number(table, "cx", path);
    camera.cy = positive_number(table, "cy", path);
    camera.frames_per_second = positive_number(table, "frames_per_second", path);
    if (table.contains("height_mm")) camera.height_mm = positive_number(table, "height_mm", path);
    return camera;
}

RecordingFit fit_recording(int width, int height) {
    RecordingFit fit;
    fit.scale = std::min(static_cast<double>(kDepthWidth) / width,
                         static_cast<double>(kDepthHeight) / height);
    fit.offset_x = (kDepthWidth - width * fit.scale) / 2.0;
    fit.offset_y = (kDepthHeight - height * fit.scale) / 2.0;
    return fit;
}

namespace {

// The recording pixels under one depth pixel along one axis.
struct Footprint {
    int first = 0;
    int last = -1;  // inclusive; below first when there is none
    double middle = 0.0;
};

std::vector<Footprint> footprints(int depth_size, int size, double scale, double offset) {
    std::vector<Footprint> list(static_cast<std::size_t>(depth_size));
    for (int i = 0; i < depth_size; ++i) {
        const double middle = (i + 0.5 - offset) / scale - 0.5;
        if (middle <= -0.5 || middle >= size - 0.5) continue;
        const double reach = std::max(0.5 / scale, 0.5);
        list[static_cast<std::size_t>(i)] = {
            std::max(static_cast<int>(std::ceil(middle - reach)), 0),
            std::min(static_cast<int>(std::floor(middle + reach)), size - 1), middle};
    }
    return list;
}

std::uint16_t nearest_valid(const std::uint16_t* recording, int width, const Footprint& across,
                            const Footprint& down) {
    std::uint16_t best = 0;
    double best_distance = 1e9;
    for (int v = down.first; v <= down.last; ++v) {
        for (int u = across.first; u <= across.last; ++u) {
            const std::uint16_t value = recording[v * width + u];
            const double du = u - across.middle;
            const double dv = v - down.middle;
            const double distance = du * du + dv * dv;
            if (value != 0 && distance < best_distance) {
                best = value;
                best_distance = distance;
            }
        }
    }
    return best;
}

}  // namespace

void resample_depth(const std::uint16_t* recording, int width, int height,
                    std::vector<std::uint16_t>& depth) {
    const RecordingFit fit = fit_recording(width, height);
    const std::vector<Footprint> across = footprints(kDepthWidth, width, fit.scale, fit.offset_x);
    const std::vector<Footprint> down = footprints(kDepthHeight, height, fit.scale, fit.offset_y);
    depth.resize(static_cast<std::size_t>(kDepthWidth) * kDepthHeight);
    auto out = depth.begin();
    for (const Footprint& row : down) {
        for (const Footprint& column : across) {
            *out++ = nearest_valid(recording, width, column, row);
        }
    }
}

std::unique_ptr<FrameSource> open_depth_folder(const SourceOptions& options) {
    if (options.folder.empty()) throw InputError("the source depth-folder needs --folder DIR");
    const fs::path folder(options.folder);
    if (!fs::is_directory(folder)) {
        throw InputError("there is no folder \"" + options.folder +
                         "\"; --folder needs a folder of numbered 16-bit PNG files");
    }
    const std::string camera_file =
        options.camera_file.empty() ? (folder / "camera.toml").string() : options.camera_file;
    return std::make_unique<DepthFolder>(folder, read_recording_camera(camera_file), options);
}

}  // namespace host
