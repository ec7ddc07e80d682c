// The camera file, and pictures of a sensor's own size resampled into the depth image.
#include "host/frames/depth_camera.h"

#include <algorithm>
#include <cmath>

#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/base/toml_reader.h"

namespace host {
namespace {

// A number of the camera file.
double camera_number(const TomlValue& value, const char* key, double low, double high,
                     const std::string& unit, bool whole = false) {
    const std::optional<double> number = value.as_number();
    const bool fits = number && *number >= low && *number <= high;
    if (fits && (!whole || *number == std::floor(*number))) return *number;
    throw InputError(value.place(key) + " must be a number from " + plain_number(low) + " to " +
                     plain_number(high) + unit);
}

int camera_pixels(const TomlValue& value, const char* key) {
    return static_cast<int>(
        camera_number(value, key, 16.0, kMostRecordingPixels, " whole pixels", true));
}

constexpr const char* kWidth = "width";
constexpr const char* kHeight = "height";
constexpr const char* kFx = "fx";
constexpr const char* kFy = "fy";
constexpr const char* kCx = "cx";
constexpr const char* kCy = "cy";
constexpr const char* kRate = "frames_per_second";
constexpr const char* kHeight_mm = "height_mm";
constexpr const char* kPointsIn = "points_in";

PictureSize picture_size(const TomlValue& value) {
    const auto [width, height] =
        value.pair("points_in is written as [width, height] of the picture in which points are");
    return {width.whole(16, kMostRecordingPixels), height.whole(16, kMostRecordingPixels)};
}

RecordingCamera read_camera(const TomlValue& file) {
    constexpr const char* kInside = " pixels, which is inside the picture";
    RecordingCamera camera;
    // From a view of 157 degrees across to one of 6.
    const auto focal = [&camera](const TomlValue& value, const char* key) {
        return camera_number(value, key, 0.1 * camera.width, 10.0 * camera.width, " pixels");
    };
    using Value = const TomlValue&;
    file.read_keys({
        {kWidth, [&](Value v) { camera.width = camera_pixels(v, kWidth); }, true},
        {kHeight, [&](Value v) { camera.height = camera_pixels(v, kHeight); }, true},
        {kFx, [&](Value v) { camera.fx = focal(v, kFx); }, true},
        {kFy, [&](Value v) { camera.fy = focal(v, kFy); }, true},
        {kCx, [&](Value v) { camera.cx = camera_number(v, kCx, 0.0, camera.width - 1, kInside); },
         true},
        {kCy, [&](Value v) { camera.cy = camera_number(v, kCy, 0.0, camera.height - 1, kInside); },
         true},
        {kRate,
         [&](Value v) { camera.frames_per_second = camera_number(v, kRate, 1.0, 240.0, ""); },
         true},
        {kHeight_mm,
         [&](Value v) {
             camera.height_mm = camera_number(v, kHeight_mm, 1500.0, 15000.0, " millimetres");
         }},
        {kPointsIn, [&](Value v) { camera.points_in = picture_size(v); }},
    });
    return camera;
}

}  // namespace

RecordingCamera read_recording_camera(const std::string& path) {
    return read_camera(read_toml_file(path, "camera file", "name one with --camera FILE"));
}

RecordingCamera parse_recording_camera(const std::string& text, const std::string& name) {
    return read_camera(parse_toml(text, name));
}

std::string recording_camera_text(const RecordingCamera& camera) {
    std::string text;
    const auto add = [&text](const char* key, const std::string& value) {
        text += std::string(key) + " = " + value + "\n";
    };
    add(kWidth, std::to_string(camera.width));
    add(kHeight, std::to_string(camera.height));
    add(kFx, exact_number(camera.fx));
    add(kFy, exact_number(camera.fy));
    add(kCx, exact_number(camera.cx));
    add(kCy, exact_number(camera.cy));
    add(kRate, exact_number(camera.frames_per_second));
    if (camera.height_mm) add(kHeight_mm, exact_number(*camera.height_mm));
    if (camera.points_in) {
        add(kPointsIn, "[" + std::to_string(camera.points_in->width) + ", " +
                           std::to_string(camera.points_in->height) + "]");
    }
    return text;
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
    int last = -1;    // inclusive; below first when there is none
    int nearest = 0;  // to the middle, the first of two that are equally near
    double middle = 0.0;

    bool is_empty() const { return last < first; }
};

std::vector<Footprint> footprints(int depth_size, int size, double scale, double offset) {
    std::vector<Footprint> list(static_cast<std::size_t>(depth_size));
    for (int i = 0; i < depth_size; ++i) {
        const double middle = (i + 0.5 - offset) / scale - 0.5;
        if (middle <= -0.5 || middle >= size - 0.5) continue;
        const double reach = std::max(0.5 / scale, 0.5);
        const int first = std::max(static_cast<int>(std::ceil(middle - reach)), 0);
        const int last = std::min(static_cast<int>(std::floor(middle + reach)), size - 1);
        const int nearest = std::clamp(static_cast<int>(std::ceil(middle - 0.5)), first, last);
        list[static_cast<std::size_t>(i)] = {first, last, nearest, middle};
    }
    return list;
}

std::uint16_t nearest_valid(const std::uint16_t* recording, int width, const Footprint& across,
                            const Footprint& down) {
    if (across.is_empty() || down.is_empty()) return 0;
    // Mostly the nearest of all was measured, and there is nothing to search.
    std::uint16_t best = recording[down.nearest * width + across.nearest];
    if (best != 0) return best;
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
    if (width == kDepthWidth && height == kDepthHeight) {
        depth.assign(recording, recording + std::ptrdiff_t{kDepthWidth} * kDepthHeight);
        return;
    }
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

RecordingView::RecordingView(const RecordingCamera& camera)
    : camera_(camera),
      fit_(fit_recording(camera.width, camera.height)),
      user_(camera.points_in.value_or(PictureSize{camera.width, camera.height})) {}

CameraModel RecordingView::depth_camera() const {
    return {camera_.fx * fit_.scale, camera_.fy * fit_.scale, to_depth_x(camera_.cx),
            to_depth_y(camera_.cy), camera_.height_mm};
}

PicturePoint RecordingView::to_picture(const PicturePoint& user_point) const {
    constexpr PictureSize kPicture{kColourWidth, kColourHeight};
    constexpr PictureSize kDepth{kDepthWidth, kDepthHeight};
    const PictureSize own{camera_.width, camera_.height};
    if (user_ == kPicture && own == kDepth) return user_point;
    PicturePoint p = user_point;
    if (user_ != own) p = {p.x * own.width / user_.width, p.y * own.height / user_.height};
    return {to_depth_x(p.x) * kColourWidth / kDepthWidth,
            to_depth_y(p.y) * kColourHeight / kDepthHeight};
}

}  // namespace host
