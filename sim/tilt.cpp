// Turning rays and surfaces.
#include "sim/tilt.h"

#include <algorithm>
#include <cmath>

#include "sim/maths.h"

namespace sim {
namespace {

constexpr double kNearest_m = 0.05;  // nothing is nearer to a camera

float f(double value) {
    return static_cast<float>(value);
}

// Farthest point of a surface from its centre. With eigenvalues m of M the radii are m^-1/2; the
// root of the sum of their squares is no less than the longest. The axis of a surface that is cut
// is one of the eigenvectors, and along it the surface reaches as far as the cut.
double reach(const Quadric& q) {
    const double xx = q.xx, xy = q.xy, xz = q.xz, yy = q.yy, yz = q.yz, zz = q.zz;
    const double minors = xx * yy - xy * xy + xx * zz - xz * xz + yy * zz - yz * yz;
    const double det =
        xx * (yy * zz - yz * yz) - xy * (xy * zz - yz * xz) + xz * (xy * yz - yy * xz);
    const double ax = q.axis[0], ay = q.axis[1], az = q.axis[2];
    const double along = ax * (xx * ax + xy * ay + xz * az) + ay * (xy * ax + yy * ay + yz * az) +
                         az * (xz * ax + yz * ay + zz * az);
    if (along == 0.0) return std::sqrt(minors / det);
    const double across = (xx + yy + zz - along) * along / det;
    const double half = q.half_length;
    return std::sqrt(across + half * half);
}

bool in_front(const Vec3& centre, double reach_m) {
    return centre[2] - reach_m > kNearest_m;
}

double longest(const Vec3& half) {
    return std::sqrt(static_cast<double>(half[0]) * half[0] +
                     static_cast<double>(half[1]) * half[1] +
                     static_cast<double>(half[2]) * half[2]);
}

}  // namespace

// Roll turns the camera about y, pitch about the x axis that it has then. Its own axes see the
// world turned the other way round, in the opposite order.
Turn::Turn(const Tilt& tilt) : is_level_(tilt.roll_deg == 0.0 && tilt.pitch_deg == 0.0) {
    const double roll = tilt.roll_deg * kPi / 180.0;
    const double pitch = tilt.pitch_deg * kPi / 180.0;
    const double sr = sine(roll), cr = cosine(roll);
    const double sp = sine(pitch), cp = cosine(pitch);
    m_ = {{{cr, 0.0, -sr}, {sp * sr, cp, sp * cr}, {cp * sr, -sp, cp * cr}}};
}

Vec3 Turn::operator()(const Vec3& v) const {
    Vec3 out;
    for (std::size_t i = 0; i < 3; ++i)
        out[i] = f(m_[i][0] * v[0] + m_[i][1] * v[1] + m_[i][2] * v[2]);
    return out;
}

Vec3 Turn::back(const Vec3& v) const {
    Vec3 out;
    for (std::size_t i = 0; i < 3; ++i)
        out[i] = f(m_[0][i] * v[0] + m_[1][i] * v[1] + m_[2][i] * v[2]);
    return out;
}

std::optional<Pixel> Turn::pixel(const Camera& camera, const Pixel& level) const {
    if (is_level_) return level;
    const Vec3 ray = (*this)({f((level.u - kCentreU) / camera.focal_px),
                              f((level.v - kCentreV) / camera.focal_px), 1.0f});
    if (!(ray[2] > 0.0f)) return std::nullopt;
    return Pixel{kCentreU + camera.focal_px * ray[0] / ray[2],
                 kCentreV + camera.focal_px * ray[1] / ray[2]};
}

// M becomes R M R'.
void Turn::turn(const Camera& camera, Quadric& q) const {
    const double m[3][3] = {{q.xx, q.xy, q.xz}, {q.xy, q.yy, q.yz}, {q.xz, q.yz, q.zz}};
    double half[3][3] = {};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t k = 0; k < 3; ++k)
            for (std::size_t j = 0; j < 3; ++j)
                half[i][k] += m_[i][j] * m[j][k];
    const auto entry = [&](std::size_t i, std::size_t k) {
        return f(half[i][0] * m_[k][0] + half[i][1] * m_[k][1] + half[i][2] * m_[k][2]);
    };
    const double reach_m = reach(q);
    q.xx = entry(0, 0);
    q.xy = entry(0, 1);
    q.xz = entry(0, 2);
    q.yy = entry(1, 1);
    q.yz = entry(1, 2);
    q.zz = entry(2, 2);
    q.centre = (*this)(q.centre);
    q.axis = (*this)(q.axis);
    q.rect =
        in_front(q.centre, reach_m) ? make_sphere(camera, q.centre, f(reach_m), 0).rect : Rect{};
}

Model Turn::operator()(const Camera& camera, const Model& level) const {
    Model turned = level;
    for (Quadric& q : turned.quadrics)
        turn(camera, q);
    for (Brick& b : turned.bricks) {
        b.centre = (*this)(b.centre);
        for (Vec3& axis : b.axes)
            axis = (*this)(axis);
        b.rect = {};
        if (in_front(b.centre, longest(b.half)))
            b = make_brick(camera, b.centre, b.axes, b.half, b.material);
    }
    return turned;
}

Outline Turn::outline(const Outline& level, const Model& turned) {
    Outline outline = level;
    outline.box = {};
    for (std::size_t i = 0; i < level.count; ++i) {
        const Rect& rect = turned.quadrics[level.first + i].rect;
        if (rect.x1 <= rect.x0) continue;
        outline.box = outline.box.x1 <= outline.box.x0 ? rect : unite(outline.box, rect);
    }
    return outline;
}

}  // namespace sim
