// Finds the depth camera in the calibration and maps it to the pictures of a mode.
#include "host/frames/depth_calibration.h"

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/base/input_error.h"

namespace host {
namespace {

using Json = nlohmann::json;

// The sensor has 1024 x 1024 pixels. A mode shows the part from (x, y) on; binned, 2 x 2 pixels are
// one.
struct DepthMode {
    const char* name;
    int x;
    int y;
    int binning;
    PictureSize picture;
};
constexpr double kSensorPixels = 1024.0;
constexpr std::array<DepthMode, 4> kModes{{
    {"NFOV_2X2BINNED", 192, 180, 2, {320, 288}},
    {"NFOV_UNBINNED", 192, 180, 1, {640, 576}},
    {"WFOV_2X2BINNED", 0, 0, 2, {512, 512}},
    {"WFOV_UNBINNED", 0, 0, 1, {1024, 1024}},
}};

const DepthMode& mode_of(const std::string& name, const PictureSize& picture,
                         const std::string& place) {
    for (const DepthMode& mode : kModes) {
        if (name.empty() ? picture == mode.picture : name == mode.name) {
            if (picture == mode.picture) return mode;
        }
    }
    throw InputError(place + " has depth pictures of " + std::to_string(picture.width) + " x " +
                     std::to_string(picture.height) + " pixels in the depth mode \"" + name +
                     "\", for which its calibration does not serve; give --camera FILE");
}

const Json& depth_camera_of(const Json& calibration) {
    for (const Json& camera : calibration.at("CalibrationInformation").at("Cameras"))
        if (camera.at("Location") == "CALIBRATION_CameraLocationD0") return camera;
    throw Json::other_error::create(501, "no depth camera", nullptr);
}

}  // namespace

RecordingCamera read_depth_calibration(const std::string& json, const std::string& depth_mode,
                                       const PictureSize& picture, const std::string& name) {
    const DepthMode& mode = mode_of(depth_mode, picture, name);
    try {
        const Json calibration = Json::parse(json);
        const Json& values = depth_camera_of(calibration).at("Intrinsics").at("ModelParameters");
        const auto value = [&values](std::size_t at) { return values.at(at).get<double>(); };
        // Pixel = (share of the sensor * 1024 - first pixel) / binning, counted from the edge of
        // the first pixel; camera files count from its middle.
        const auto place = [&](double share, int first) {
            return (share * kSensorPixels - first) / mode.binning - 0.5;
        };
        RecordingCamera camera;
        camera.width = picture.width;
        camera.height = picture.height;
        camera.cx = place(value(0), mode.x);
        camera.cy = place(value(1), mode.y);
        camera.fx = value(2) * kSensorPixels / mode.binning;
        camera.fy = value(3) * kSensorPixels / mode.binning;
        const auto within = [](double v, double low, double high) { return v >= low && v <= high; };
        if (within(camera.cx, 0.0, picture.width - 1) &&
            within(camera.cy, 0.0, picture.height - 1) &&
            within(camera.fx, 0.1 * picture.width, 10.0 * picture.width) &&
            within(camera.fy, 0.1 * picture.width, 10.0 * picture.width)) {
            return camera;
        }
    } catch (const Json::exception&) {
    }
    throw InputError(name +
                     " carries a calibration without usable intrinsics of its depth camera; "
                     "give --camera FILE");
}

}  // namespace host
