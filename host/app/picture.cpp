// Drawing of the picture.
#include "host/app/picture.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "host/inference/detector.h"

namespace host {

void write_picture(const RunResult& result, const std::string& path) {
    cv::Mat picture(kColourHeight, kColourWidth, CV_8UC3, cv::Scalar::all(90));
    if (!result.snapshot.colour_nv12.empty()) {
        const cv::Mat nv12(kColourHeight * 3 / 2, kColourWidth, CV_8UC1,
                           const_cast<std::uint8_t*>(result.snapshot.colour_nv12.data()));
        cv::cvtColor(nv12, picture, cv::COLOR_YUV2BGR_NV12);
    }
    std::vector<unsigned char> bytes;
    cv::imencode(".png", picture, bytes);
    if (path.empty()) throw std::runtime_error("");
}

}  // namespace host
