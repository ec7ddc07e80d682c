// Pixel loops of the renderer.
#include "sim/raster.h"

#include <algorithm>
#include <cmath>

namespace sim {
namespace {

// Direction to the ceiling lights, mostly straight up, a little from the upper left of the image.
constexpr float kLightX = -0.28f;
constexpr float kLightY = -0.36f;
constexpr float kLightZ = -0.89f;
constexpr float kAmbient = 95.0f;  // brightness of a surface that faces away, out of 255
constexpr float kDiffuse = 155.0f;

constexpr float kCu = static_cast<float>(kCentreU);
constexpr float kCv = static_cast<float>(kCentreV);

// Rows are drawn in whole blocks of pixels, so that no pixels are left over for scalar code.
constexpr int kBlock = 8;
static_assert(kColourWidth % kBlock == 0);

Rect clip(const Rect& r) {
    return {std::max(r.x0, 0), std::max(r.y0, 0), std::min(r.x1, kColourWidth),
            std::min(r.y1, kColourHeight)};
}

// One row of a quadric. With the ray point p = c_z * d + s * d and q = c_z * d - c (so q_z = 0),
// (q + s d)' M (q + s d) = 1 is a well-conditioned quadratic in s.
void draw_row(const Quadric& q, int x0, int blocks, float dy, float inverse_focal,
              float* __restrict z, std::int32_t* __restrict tag) {
    const float cx = q.centre[0];
    const float cz = q.centre[2];
    const float py = dy * cz - q.centre[1];
    const float xx = q.xx, xy = q.xy, xz = q.xz, yy = q.yy, yz = q.yz, zz = q.zz;
    const float ax = q.axis[0], ay = q.axis[1], az = q.axis[2];
    const float half = q.half_length;
    const float a0 = yy * dy * dy + 2.0f * yz * dy + zz;
    const float a1 = 2.0f * (xy * dy + xz);
    const int material = q.material << 8;
    const int count = blocks * kBlock;
    for (int i = 0; i < count; ++i) {
        const float dx = (static_cast<float>(x0 + i) - kCu) * inverse_focal;
        const float px = dx * cz - cx;
        const float gx = xx * px + xy * py;
        const float gy = xy * px + yy * py;
        const float gz = xz * px + yz * py;
        const float a = (xx * dx + a1) * dx + a0;
        const float b = gx * dx + gy * dy + gz;
        const float c = gx * px + gy * py - 1.0f;
        const float disc = b * b - a * c;
        const float root = std::sqrt(disc > 0.0f ? disc : 0.0f);
        const float s = (-b - root) / a;
        const float hx = px + s * dx;
        const float hy = py + s * dy;
        const float along = ax * hx + ay * hy + az * s;
        const float nx = xx * hx + xy * hy + xz * s;
        const float ny = xy * hx + yy * hy + yz * s;
        const float nz = xz * hx + yz * hy + zz * s;
        const float length = std::sqrt(nx * nx + ny * ny + nz * nz) + 1e-6f;
        const float lit = (nx * kLightX + ny * kLightY + nz * kLightZ) / length;
        const float shade = kAmbient + kDiffuse * (lit > 0.0f ? lit : 0.0f);
        const float t = cz + s;
        const bool hit = (disc > 0.0f) & (t < z[i]) & (std::abs(along) <= half);
        z[i] = hit ? t : z[i];
        tag[i] = hit ? material + static_cast<int>(shade) : tag[i];
    }
}

// The rays of a row that meet a quadric: b^2 - a c of the equation above is itself a quadratic
// form d' D d of the ray, with D = (M c)(M c)' - (c' M c - 1) M.
class Silhouette {
  public:
    explicit Silhouette(const Quadric& q) {
        const double c[3] = {q.centre[0], q.centre[1], q.centre[2]};
        const double g[3] = {q.xx * c[0] + q.xy * c[1] + q.xz * c[2],
                             q.xy * c[0] + q.yy * c[1] + q.yz * c[2],
                             q.xz * c[0] + q.yz * c[1] + q.zz * c[2]};
        const double k = g[0] * c[0] + g[1] * c[1] + g[2] * c[2] - 1.0;
        xx_ = g[0] * g[0] - k * q.xx;
        xy_ = g[0] * g[1] - k * q.xy;
        xz_ = g[0] * g[2] - k * q.xz;
        yy_ = g[1] * g[1] - k * q.yy;
        yz_ = g[1] * g[2] - k * q.yz;
        zz_ = g[2] * g[2] - k * q.zz;
    }

    // Narrows [x0, x1) to the pixels that can meet the surface.
    void narrow(double dy, double focal_px, int& x0, int& x1) const {
        const double b = xy_ * dy + xz_;
        const double c = yy_ * dy * dy + 2.0 * yz_ * dy + zz_;
        const double square = b * b - xx_ * c;
        if (!(xx_ < 0.0) || square < 0.0) return;
        const double root = std::sqrt(square);
        const double low = kCentreU + focal_px * (-b + root) / xx_;
        const double high = kCentreU + focal_px * (-b - root) / xx_;
        constexpr double kMargin_px = 1.5;  // single precision in the pixel loop
        if (low - kMargin_px > x0) x0 = static_cast<int>(std::min(low - kMargin_px, 1e6));
        if (high + kMargin_px < x1) x1 = static_cast<int>(std::max(high + kMargin_px, -1.0)) + 1;
    }

  private:
    double xx_, xy_, xz_, yy_, yz_, zz_;
};

struct Slab {
    float along_x, along_rest;  // axis . ray = along_x * dx + along_rest
    float low, high;
    float shade_front, shade_back;  // face towards rays with positive and negative axis . ray
};

void draw_row(const std::array<Slab, 3>& slabs, int material, int x0, int count,
              float inverse_focal, float* __restrict z, std::int32_t* __restrict tag) {
    for (int i = 0; i < count; ++i) {
        const float dx = (static_cast<float>(x0 + i) - kCu) * inverse_focal;
        float enter = 0.0f;
        float leave = 1e9f;
        float shade = 0.0f;
        for (const Slab& slab : slabs) {
            const float a = slab.along_x * dx + slab.along_rest;
            const float t1 = slab.low / a;
            const float t2 = slab.high / a;
            const float first = t1 < t2 ? t1 : t2;
            const float last = t1 < t2 ? t2 : t1;
            const float face = a > 0.0f ? slab.shade_front : slab.shade_back;
            shade = first > enter ? face : shade;
            enter = first > enter ? first : enter;
            leave = last < leave ? last : leave;
        }
        const bool hit = (enter < leave) & (enter < z[i]);
        z[i] = hit ? enter : z[i];
        tag[i] = hit ? material + static_cast<int>(shade) : tag[i];
    }
}

float face_shade(float lit) {
    return kAmbient + kDiffuse * std::max(lit, 0.0f);
}

}  // namespace

void draw(const Quadric& quadric, float focal_px, Surface& surface) {
    const Rect r = clip(quadric.rect);
    const float inverse = 1.0f / focal_px;
    const Silhouette silhouette(quadric);
    for (int y = r.y0; y < r.y1; ++y) {
        const float dy = (static_cast<float>(y) - kCv) * inverse;
        int x0 = r.x0;
        int x1 = r.x1;
        silhouette.narrow(dy, focal_px, x0, x1);
        if (x1 <= x0) continue;
        x0 = x0 / kBlock * kBlock;
        const std::size_t at = static_cast<std::size_t>(y * kColourWidth + x0);
        draw_row(quadric, x0, (x1 - x0 + kBlock - 1) / kBlock, dy, inverse, surface.z.data() + at,
                 surface.tag.data() + at);
    }
}

void draw(const Brick& brick, float focal_px, Surface& surface) {
    const Rect r = clip(brick.rect);
    if (r.x1 <= r.x0) return;
    const float inverse = 1.0f / focal_px;
    for (int y = r.y0; y < r.y1; ++y) {
        const float dy = (static_cast<float>(y) - kCv) * inverse;
        std::array<Slab, 3> slabs{};
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3& n = brick.axes[i];
            const float c =
                n[0] * brick.centre[0] + n[1] * brick.centre[1] + n[2] * brick.centre[2];
            const float lit = n[0] * kLightX + n[1] * kLightY + n[2] * kLightZ;
            slabs[i] = {n[0],
                        n[1] * dy + n[2],
                        c - brick.half[i],
                        c + brick.half[i],
                        face_shade(-lit),
                        face_shade(lit)};
        }
        const std::size_t at = static_cast<std::size_t>(y * kColourWidth + r.x0);
        draw_row(slabs, brick.material << 8, r.x0, r.x1 - r.x0, inverse, surface.z.data() + at,
                 surface.tag.data() + at);
    }
}

void draw_shadow(float u, float v, float radius_px, float strength, Surface& surface) {
    const Rect r = clip({static_cast<int>(u - radius_px), static_cast<int>(v - radius_px),
                         static_cast<int>(u + radius_px) + 2, static_cast<int>(v + radius_px) + 2});
    const float inverse = 1.0f / (radius_px * radius_px);
    for (int y = r.y0; y < r.y1; ++y) {
        const float ey = static_cast<float>(y) - v;
        std::int32_t* __restrict tag =
            surface.tag.data() + static_cast<std::size_t>(y * kColourWidth);
        for (int x = r.x0; x < r.x1; ++x) {
            const float ex = static_cast<float>(x) - u;
            const float near = 1.0f - (ex * ex + ey * ey) * inverse;
            const float w = near > 0.0f ? near : 0.0f;
            tag[x] = static_cast<int>(static_cast<float>(tag[x]) * (1.0f - strength * w * w));
        }
    }
}

void soften(std::vector<std::uint8_t>& plane, std::vector<std::uint8_t>& scratch) {
    scratch.resize(plane.size());
    for (int y = 0; y < kColourHeight; ++y) {
        const std::uint8_t* __restrict in =
            plane.data() + static_cast<std::size_t>(y * kColourWidth);
        std::uint8_t* __restrict out = scratch.data() + static_cast<std::size_t>(y * kColourWidth);
        out[0] = in[0];
        for (int x = 1; x < kColourWidth - 1; ++x) {
            out[x] = static_cast<std::uint8_t>((in[x - 1] + 2 * in[x] + in[x + 1] + 2) >> 2);
        }
        out[kColourWidth - 1] = in[kColourWidth - 1];
    }
    for (int y = 0; y < kColourHeight; ++y) {
        const int up = std::max(y - 1, 0);
        const int down = std::min(y + 1, kColourHeight - 1);
        const std::uint8_t* __restrict a =
            scratch.data() + static_cast<std::size_t>(up * kColourWidth);
        const std::uint8_t* __restrict b =
            scratch.data() + static_cast<std::size_t>(y * kColourWidth);
        const std::uint8_t* __restrict c =
            scratch.data() + static_cast<std::size_t>(down * kColourWidth);
        std::uint8_t* __restrict out = plane.data() + static_cast<std::size_t>(y * kColourWidth);
        for (int x = 0; x < kColourWidth; ++x) {
            out[x] = static_cast<std::uint8_t>((a[x] + 2 * b[x] + c[x] + 2) >> 2);
        }
    }
}

void add_noise(std::uint8_t* __restrict row, const std::int8_t* __restrict noise, int count) {
    for (int i = 0; i < count; ++i) {
        const int value = row[i] + noise[i];
        row[i] = static_cast<std::uint8_t>(value < 0 ? 0 : (value > 255 ? 255 : value));
    }
}

void interleave_bgr(const Planes& planes, std::uint8_t* __restrict bgr) {
    const std::uint8_t* __restrict b = planes.b.data();
    const std::uint8_t* __restrict g = planes.g.data();
    const std::uint8_t* __restrict r = planes.r.data();
    for (int i = 0; i < kColourWidth * kColourHeight; ++i) {
        bgr[3 * i] = b[i];
        bgr[3 * i + 1] = g[i];
        bgr[3 * i + 2] = r[i];
    }
}

void convert_nv12(const Planes& planes, std::uint8_t* __restrict nv12) {
    const std::uint8_t* __restrict b = planes.b.data();
    const std::uint8_t* __restrict g = planes.g.data();
    const std::uint8_t* __restrict r = planes.r.data();
    constexpr int kPixels = kColourWidth * kColourHeight;
    for (int i = 0; i < kPixels; ++i) {
        const int luma = (66 * r[i] + 129 * g[i] + 25 * b[i] + 128) >> 8;
        nv12[i] = static_cast<std::uint8_t>(luma + 16);
    }
    std::uint8_t* __restrict uv = nv12 + kPixels;
    for (int y = 0; y < kColourHeight; y += 2) {
        const int row = y * kColourWidth;
        for (int x = 0; x < kColourWidth; x += 2) {
            const int i = row + x;
            const int j = i + kColourWidth;
            const int sr = r[i] + r[i + 1] + r[j] + r[j + 1];
            const int sg = g[i] + g[i + 1] + g[j] + g[j + 1];
            const int sb = b[i] + b[i + 1] + b[j] + b[j + 1];
            // Sums of four: 4 * 256 in all; the offset keeps the shifted value positive.
            const int cb = (-38 * sr - 74 * sg + 112 * sb + 131072 + 512) >> 10;
            const int cr = (112 * sr - 94 * sg - 18 * sb + 131072 + 512) >> 10;
            *uv++ = static_cast<std::uint8_t>(cb);
            *uv++ = static_cast<std::uint8_t>(cr);
        }
    }
}

}  // namespace sim
