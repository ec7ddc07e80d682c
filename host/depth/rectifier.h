// The pictures of a crooked camera turned to those of a level one at the same place.
//
// Level pixel p' has the ray r' = K^-1 p' = (x, y, 1), which the crooked camera has as r = R r', so
// what is seen there lies at its pixel K r / r_z. Turning about the optical centre needs no depth.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "host/base/camera.h"
#include "host/base/turn.h"

namespace host {

class Rectifier {
  public:
    Rectifier(const CameraModel& camera, const Tilt& tilt);

    // Distances along the level camera's axis, from the nearest pixel: between two surfaces there
    // is nothing to be measured. 0 where the crooked camera did not look.
    void depth(const std::vector<std::uint16_t>& taken_mm,
               std::vector<std::uint16_t>& level_mm) const;

    // Black where the crooked camera did not look.
    void colour(const std::vector<std::uint8_t>& taken_nv12,
                std::vector<std::uint8_t>& level_nv12) const;

  private:
    struct DepthPixel {
        std::int32_t from = -1;  // pixel of the crooked camera; -1: none
        float shorter = 0.0f;    // level depth over taken depth
    };

    void make_depth_table();
    void make_colour_tables();

    TakenPicture taken_;
    std::vector<DepthPixel> depth_;
    cv::Mat luma_at_, luma_between_;  // fixed-point maps of cv::remap
    cv::Mat chroma_at_, chroma_between_;
};

}  // namespace host
