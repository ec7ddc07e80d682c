// From what was read to the pictures of the analysis.
#include "host/frames/media_pictures.h"

#include "host/base/text.h"
#include "host/frames/depth_calibration.h"
#include "host/frames/grey_picture.h"
#include "host/media/recording_format.h"

namespace host {
namespace {

// Where neither container nor camera file says.
constexpr double kUsualRate = 15.0;

}  // namespace

std::string tag_of(const MediaInfo& info, const char* name) {
    const auto found = info.tags.find(name);
    return found == info.tags.end() ? "" : found->second;
}

RecordingCamera camera_of_media(const MediaInfo& info, const std::string& name,
                                const std::string& camera_file) {
    if (!camera_file.empty()) return read_recording_camera(camera_file);
    if (const auto file = info.attachments.find(kCameraAttachment); file != info.attachments.end())
        return parse_recording_camera(file->second, name + ": " + kCameraAttachment);
    const auto calibration = info.attachments.find(kCalibrationAttachment);
    if (calibration != info.attachments.end()) {
        RecordingCamera camera =
            read_depth_calibration(calibration->second, tag_of(info, kDepthModeTag),
                                   {info.width, info.height}, '"' + name + '"');
        camera.frames_per_second =
            info.frames_per_second > 0.0 ? info.frames_per_second : kUsualRate;
        return camera;
    }
    throw InputError("\"" + name + "\" does not say what camera it is from; give --camera FILE");
}

void check_media_size(const MediaInfo& info, const RecordingCamera& camera,
                      const std::string& name) {
    if (info.width == camera.width && info.height == camera.height) return;
    throw InputError("\"" + name + "\" has depth pictures of " + std::to_string(info.width) +
                     " x " + std::to_string(info.height) + " pixels, but its camera " +
                     std::to_string(camera.width) + " x " + std::to_string(camera.height));
}

std::optional<std::string> settle_colour(const MediaInfo& media, SourceInfo& info) {
    info.has_colour = media.colour_width == kColourWidth && media.colour_height == kColourHeight;
    if (media.colour_width == 0 || info.has_colour) return std::nullopt;
    return format_text(
        "the colour pictures of the recording have %d x %d pixels and are not used; "
        "960 x 544 are needed",
        media.colour_width, media.colour_height);
}

void MediaPictures::fill(MediaFrame& media, const SourceInfo& info, SourceFrame& frame) {
    FramePlanes& planes = frame.planes;
    planes.taken.width = media.width;
    planes.taken.height = media.height;
    planes.taken.depth_mm.swap(media.depth_mm);
    resample_depth(planes.taken.depth_mm.data(), media.width, media.height, planes.raw_mm);
    if (info.has_colour) {
        draw_depth(planes.raw_mm, info.black_mm, planes.depth_nv12);
        take_colour(media, planes.colour_nv12);
    } else {
        render_grey(planes.raw_mm, info.black_mm, planes.depth_nv12, planes.colour_nv12);
    }
    planes.blank = false;
    frame.people.clear();
    frame.crossings.clear();
}

// A frame whose colour was lost shows the last one.
void MediaPictures::take_colour(MediaFrame& media, std::vector<std::uint8_t>& nv12) {
    constexpr std::size_t kBytes = std::size_t{kColourWidth} * kColourHeight * 3 / 2;
    constexpr std::uint8_t kGrey = 128;
    if (media.has_colour && media.colour_nv12.size() == kBytes) {
        colour_nv12_.swap(media.colour_nv12);
    }
    if (colour_nv12_.empty()) colour_nv12_.assign(kBytes, kGrey);
    nv12 = colour_nv12_;
}

}  // namespace host
