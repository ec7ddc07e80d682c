// NV12 pictures painted in red, green and blue for the tests of the attribute models.
#pragma once

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "host/inference/attribute_model.h"
#include "vca/platform.h"

namespace test {

// An image of the host's own, destroyed with it.
class Nv12Image {
  public:
    Nv12Image(int width, int height) {
        EXPECT_EQ(vca_create_image(&image_, VCA_IMAGE_NV12, width, height), 0);
    }
    ~Nv12Image() { vca_destroy_image(&image_); }
    Nv12Image(const Nv12Image&) = delete;
    Nv12Image& operator=(const Nv12Image&) = delete;

    VCA_IMAGE_S* record() { return &image_; }

    host::CropView crop() const {
        const auto* luma = reinterpret_cast<const std::uint8_t*>(image_.plane_addr);
        return {luma, luma + image_.stride * image_.height, image_.stride};
    }

    // Takes a picture of the same size, 8-bit blue, green, red. BT.601 limited range: luma
    // 16 + 0.257 R + 0.504 G + 0.098 B, chroma from the mean of two by two pixels.
    void paint(const cv::Mat& bgr) {
        cv::Mat half;
        cv::resize(bgr, half, {bgr.cols / 2, bgr.rows / 2}, 0, 0, cv::INTER_AREA);
        auto* luma = reinterpret_cast<std::uint8_t*>(image_.plane_addr);
        for (int y = 0; y < bgr.rows; ++y) {
            for (int x = 0; x < bgr.cols; ++x) {
                const auto& p = bgr.at<cv::Vec3b>(y, x);
                luma[y * bgr.cols + x] = cv::saturate_cast<std::uint8_t>(
                    16 + 0.257 * p[2] + 0.504 * p[1] + 0.098 * p[0]);
            }
        }
        std::uint8_t* chroma = luma + bgr.cols * bgr.rows;
        for (int y = 0; y < half.rows; ++y) {
            for (int x = 0; x < half.cols; ++x) {
                const auto& p = half.at<cv::Vec3b>(y, x);
                std::uint8_t* uv = chroma + y * bgr.cols + 2 * x;
                uv[0] = cv::saturate_cast<std::uint8_t>(128 - 0.148 * p[2] - 0.291 * p[1] +
                                                        0.439 * p[0]);
                uv[1] = cv::saturate_cast<std::uint8_t>(128 + 0.439 * p[2] - 0.368 * p[1] -
                                                        0.071 * p[0]);
            }
        }
    }

  private:
    VCA_IMAGE_S image_{};
};

inline cv::Scalar rgb(int r, int g, int b) {
    return cv::Scalar(b, g, r);
}

}  // namespace test
