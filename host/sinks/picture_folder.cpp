// One file for each frame.
#include "host/sinks/picture_folder.h"

#include <fstream>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "host/base/text.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Depth hardly gets smaller with more.
constexpr int kCompression = 1;

}  // namespace

PictureFolder::PictureFolder(const std::string& folder, const std::vector<Attachment>& files)
    : folder_(folder) {
    std::error_code error;
    fs::create_directories(folder_, error);
    if (error)
        throw std::runtime_error("cannot make the folder \"" + folder + "\": " + error.message());
    for (const auto& entry : fs::directory_iterator(folder_)) {
        if (entry.path().extension() != ".png") continue;
        throw std::runtime_error("there are pictures in \"" + folder +
                                 "\" already; name another folder with --output");
    }
    for (const Attachment& file : files) {
        const fs::path path = folder_ / file.name;
        std::ofstream out(path, std::ios::binary);
        out << file.text;
        out.close();
        if (!out) throw std::runtime_error("cannot write \"" + path.string() + "\"");
    }
}

void PictureFolder::on_frame(const FrameView& frame) {
    const FramePlanes& planes = frame.planes;
    if (planes.blank) return;
    const bool own = planes.taken.width == 0;
    const std::vector<std::uint16_t>& depth = own ? planes.raw_mm : planes.taken.depth_mm;
    // OpenCV takes no const memory, but only reads here.
    const cv::Mat picture(own ? kDepthHeight : planes.taken.height,
                          own ? kDepthWidth : planes.taken.width, CV_16UC1,
                          const_cast<std::uint16_t*>(depth.data()));
    const fs::path path =
        folder_ / format_text("image%06lld.png", static_cast<long long>(frame.number));
    if (!cv::imwrite(path.string(), picture, {cv::IMWRITE_PNG_COMPRESSION, kCompression}))
        throw std::runtime_error("cannot write \"" + path.string() + "\"");
    ++frames_;
}

}  // namespace host
