// What a level camera sees, in the axes of a crooked one at the same place.
#pragma once

#include <array>
#include <cmath>
#include <optional>

#include "host/base/camera.h"
#include "host/base/picture.h"

namespace host {

class Turn {
  public:
    // Roll turns the camera about y, pitch about the x axis that it has then; what it sees turns
    // the other way round, in the opposite order.
    explicit Turn(const Tilt& tilt) {
        constexpr double kDegree = 3.14159265358979323846 / 180.0;
        const double sr = std::sin(tilt.roll_deg * kDegree), cr = std::cos(tilt.roll_deg * kDegree);
        const double sp = std::sin(tilt.pitch_deg * kDegree);
        const double cp = std::cos(tilt.pitch_deg * kDegree);
        rows_ = {{{cr, 0.0, -sr}, {sp * sr, cp, sp * cr}, {cp * sr, -sp, cp * cr}}};
    }

    std::array<double, 3> operator()(double x, double y, double z) const {
        const auto along = [=](const std::array<double, 3>& row) {
            return row[0] * x + row[1] * y + row[2] * z;
        };
        return {along(rows_[0]), along(rows_[1]), along(rows_[2])};
    }

  private:
    std::array<std::array<double, 3>, 3> rows_;
};

// The picture of a crooked camera beside that of a level one. Pixel (u, v) of the 960 x 544 picture
// shows what pixel (u * 480 / 960, v * 256 / 544) of the depth image measures.
class TakenPicture {
  public:
    TakenPicture(const CameraModel& camera, const Tilt& tilt) : camera_(camera), turn_(tilt) {}

    // The ray of a level picture's pixel in the crooked camera's axes; 1 long along the level one's
    // optical axis.
    std::array<double, 3> ray(const PicturePoint& level) const {
        return turn_((level.x * kAcross - camera_.cx) / camera_.fx,
                     (level.y * kDown - camera_.cy) / camera_.fy, 1.0);
    }

    // Where it has what the level one has at a pixel; empty behind its back.
    std::optional<PicturePoint> at(const PicturePoint& level) const {
        const auto [x, y, z] = ray(level);
        if (!(z > 0.0)) return std::nullopt;
        return PicturePoint{(camera_.cx + camera_.fx * x / z) / kAcross,
                            (camera_.cy + camera_.fy * y / z) / kDown};
    }

    // What the level one has straight below it.
    PicturePoint below() const { return {camera_.cx / kAcross, camera_.cy / kDown}; }

    // Whether that is at least so many pixels from its edges.
    bool shows(const PicturePoint& level, double border_px) const {
        const std::optional<PicturePoint> p = at(level);
        return p && p->x >= border_px && p->y >= border_px && p->x <= kColourWidth - border_px &&
               p->y <= kColourHeight - border_px;
    }

  private:
    static constexpr double kAcross = static_cast<double>(kDepthWidth) / kColourWidth;
    static constexpr double kDown = static_cast<double>(kDepthHeight) / kColourHeight;

    CameraModel camera_;
    Turn turn_;
};

}  // namespace host
