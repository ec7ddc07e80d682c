// Floor, shading of the final colours, and the two sensors' imperfections.
#include "sim/renderer.h"

#include <algorithm>
#include <cmath>

namespace sim {
namespace {

constexpr int kPixels = kColourWidth * kColourHeight;
constexpr int kDepthPixels = kDepthWidth * kDepthHeight;
constexpr int kNoiseLength = 1 << 16;  // a row can start anywhere in it
constexpr int kFloorShade = 255;

// Depth noise grows with the square of the distance: 2 mm at 2 m, 8 mm at 4 m.
constexpr float kDepthNoise_mm_per_m2 = 0.5f;
constexpr float kEdgeStep_m = 0.15f;          // a larger step between neighbours is an edge
constexpr std::uint16_t kEdgeLoss = 36000;    // of 65536
constexpr std::uint16_t kRandomLoss = 60;     // of 65536
constexpr std::uint64_t kHairPatchLoss = 90;  // of 256
constexpr double kColourNoise = 1.8;          // standard deviation, grey levels

std::size_t pixel_at(int x, int y) {
    return static_cast<std::size_t>(y * kColourWidth + x);
}

std::uint8_t to_byte(double value) {
    return static_cast<std::uint8_t>(clamp(value, 0.0, 255.0));
}

// Smooth random field, about -1 to 1, from hashed grid points.
double value_noise(double x, double y, std::uint64_t seed) {
    const double gx = std::floor(x);
    const double gy = std::floor(y);
    const auto corner = [&](int i, int j) {
        const auto ix = static_cast<std::uint64_t>(static_cast<std::int64_t>(gx) + i);
        const auto iy = static_cast<std::uint64_t>(static_cast<std::int64_t>(gy) + j);
        return static_cast<double>(mix64(seed ^ mix64(ix * 0x1F123BB5ULL + mix64(iy))) >> 11) *
                   0x1.0p-52 -
               1.0;
    };
    const double fx = x - gx;
    const double fy = y - gy;
    const double sx = fx * fx * (3.0 - 2.0 * fx);
    const double sy = fy * fy * (3.0 - 2.0 * fy);
    const double top = corner(0, 0) + sx * (corner(1, 0) - corner(0, 0));
    const double bottom = corner(0, 1) + sx * (corner(1, 1) - corner(0, 1));
    return top + sy * (bottom - top);
}

int noise_start(std::uint64_t seed, std::int64_t index, int row) {
    const std::uint64_t key =
        seed ^ (static_cast<std::uint64_t>(index) << 20) ^ static_cast<std::uint64_t>(row);
    return static_cast<int>(mix64(key) % kNoiseLength);
}

}  // namespace

Renderer::Renderer(const Camera& camera, const Turn& turn, std::uint64_t seed)
    : camera_(camera), turn_(turn), seed_(seed) {
    make_floor();
    make_noise();
    planes_ = floor_;
}

Renderer::FloorPlace Renderer::floor_at(int u, int v) const {
    if (turn_.is_level()) return {camera_.unproject(u, v), 1.0};
    const Vec3 ray = turn_.back({static_cast<float>((u - kCentreU) / camera_.focal_px),
                                 static_cast<float>((v - kCentreV) / camera_.focal_px), 1.0f});
    const double down = ray[2];
    const double scale = camera_.height_m / down;
    return {{scale * ray[0], scale * ray[1]}, down};
}

void Renderer::make_floor() {
    floor_z_.resize(kPixels);
    floor_.b.resize(kPixels);
    floor_.g.resize(kPixels);
    floor_.r.resize(kPixels);
    Rng rng(seed_ ^ 0xF100'0000ULL);
    // 0.1 to 0.2 degrees of tilt, in any direction.
    const double tilt = rng.uniform(0.1, 0.2) * kPi / 180.0;
    const double turn = rng.uniform(0.0, 2.0 * kPi);
    const double tilt_x = tilt * cosine(turn);
    const double tilt_y = tilt * sine(turn);
    const double tile_m = rng.uniform(0.40, 0.62);
    const double shift_x = rng.uniform(0.0, 10.0);
    const double shift_y = rng.uniform(0.0, 10.0);
    const double grey = rng.uniform(128.0, 176.0);
    const double warmth = rng.uniform(-4.0, 16.0);
    for (int v = 0; v < kColourHeight; ++v) {
        for (int u = 0; u < kColourWidth; ++u) {
            const auto [p, down] = floor_at(u, v);
            const double wave = 0.003 * value_noise(p.x_m * 0.9 + 40.0, p.y_m * 0.9 + 40.0, seed_);
            floor_z_[pixel_at(u, v)] = static_cast<float>(
                (camera_.height_m + tilt_x * p.x_m + tilt_y * p.y_m + wave) / down);
            const double tx = p.x_m / tile_m + shift_x;
            const double ty = p.y_m / tile_m + shift_y;
            const double ex = std::abs(tx - std::floor(tx) - 0.5);
            const double ey = std::abs(ty - std::floor(ty) - 0.5);
            double level = grey;
            if (std::max(ex, ey) > 0.5 - 0.004 / tile_m) {
                level *= 0.72;
            } else {
                level += 7.0 * value_noise(std::floor(tx) + 0.5, std::floor(ty) + 0.5, seed_ + 1);
                level += 5.0 * value_noise(tx * 6.0, ty * 6.0, seed_ + 2);
                level += 5.0 * value_noise(tx * 40.0, ty * 40.0, seed_ + 3);
            }
            // The lamps are near the camera, so the corners get less light.
            const double du = (u - kCentreU) / kCentreU;
            const double dv = (v - kCentreV) / kCentreU;
            level *= 1.04 - 0.16 * (du * du + dv * dv);
            floor_.r[pixel_at(u, v)] = to_byte(level + warmth);
            floor_.g[pixel_at(u, v)] = to_byte(level + 0.45 * warmth);
            floor_.b[pixel_at(u, v)] = to_byte(level - 0.6 * warmth);
        }
    }
}

void Renderer::make_noise() {
    Rng rng(seed_ ^ 0x5EED'0000ULL);
    colour_noise_.resize(kNoiseLength + kColourWidth);
    for (std::int8_t& n : colour_noise_) {
        n = static_cast<std::int8_t>(std::floor(kColourNoise * rng.normal() + 0.5));
    }
    depth_noise_.resize(kNoiseLength + kDepthWidth);
    for (float& n : depth_noise_)
        n = static_cast<float>(rng.normal());
    depth_chance_.resize(kNoiseLength + kDepthWidth);
    for (std::uint16_t& n : depth_chance_)
        n = static_cast<std::uint16_t>(rng.bits() >> 48);
}

void Renderer::render(const Model& model, const std::vector<Pose>& people, bool with_bgr,
                      Frame& frame) {
    surface_.z = floor_z_;
    surface_.tag.assign(kPixels, kFloorShade);
    const float focal = static_cast<float>(camera_.focal_px);
    for (const Pose& person : people) {
        cast_shadow({person.x_m, person.y_m});
        if (person.load != Load::kTrolley && person.load != Load::kCart) continue;
        cast_shadow({person.x_m + kTrolleyAhead_m * person.dir_x,
                     person.y_m + kTrolleyAhead_m * person.dir_y});
    }
    for (const Quadric& q : model.quadrics)
        draw(q, focal, surface_);
    for (const Brick& b : model.bricks)
        draw(b, focal, surface_);

    resolve(model);
    soften(planes_.b, scratch_);
    soften(planes_.g, scratch_);
    soften(planes_.r, scratch_);
    add_colour_noise(frame.index);
    if (with_bgr) {
        frame.bgr.resize(static_cast<std::size_t>(kPixels) * 3);
        interleave_bgr(planes_, frame.bgr.data());
    }
    frame.nv12.resize(static_cast<std::size_t>(kPixels) * 3 / 2);
    convert_nv12(planes_, frame.nv12.data());
    measure_depth(model, frame);
}

void Renderer::cast_shadow(const Point& at) {
    constexpr double kRadius_m = 0.55;
    constexpr float kStrength = 0.38f;
    const std::optional<Pixel> shown = turn_.pixel(camera_, camera_.project(at.x_m, at.y_m, 0.0));
    if (!shown) return;
    const Pixel centre = *shown;
    const double radius = kRadius_m * camera_.focal_px / camera_.height_m;
    if (centre.u < -radius || centre.u > kColourWidth + radius) return;
    if (centre.v < -radius || centre.v > kColourHeight + radius) return;
    draw_shadow(static_cast<float>(centre.u), static_cast<float>(centre.v),
                static_cast<float>(radius), kStrength, surface_);
}

void Renderer::resolve(const Model& model) {
    const std::size_t count = model.materials.size();
    std::vector<std::array<std::uint32_t, 3>> colours(count);
    for (std::size_t i = 0; i < count; ++i) {
        const Rgb c = model.materials[i].colour;
        colours[i] = {c.b, c.g, c.r};
    }
    for (std::size_t i = 0; i < kPixels; ++i) {
        const std::uint32_t tag = static_cast<std::uint32_t>(surface_.tag[i]);
        if (tag == kFloorShade) {
            planes_.b[i] = floor_.b[i];
            planes_.g[i] = floor_.g[i];
            planes_.r[i] = floor_.r[i];
            continue;
        }
        const std::uint32_t shade = (tag & 255U) + 1U;
        if (tag < 256U) {
            planes_.b[i] = static_cast<std::uint8_t>((floor_.b[i] * shade) >> 8);
            planes_.g[i] = static_cast<std::uint8_t>((floor_.g[i] * shade) >> 8);
            planes_.r[i] = static_cast<std::uint8_t>((floor_.r[i] * shade) >> 8);
            continue;
        }
        const auto& c = colours[tag >> 8];
        planes_.b[i] = static_cast<std::uint8_t>((c[0] * shade) >> 8);
        planes_.g[i] = static_cast<std::uint8_t>((c[1] * shade) >> 8);
        planes_.r[i] = static_cast<std::uint8_t>((c[2] * shade) >> 8);
    }
}

void Renderer::add_colour_noise(std::int64_t index) {
    for (int y = 0; y < kColourHeight; ++y) {
        const std::size_t at = pixel_at(0, y);
        const auto noise = [&](int plane) {
            return colour_noise_.data() + noise_start(seed_ + 11, index, y * 4 + plane);
        };
        add_noise(planes_.b.data() + at, noise(0), kColourWidth);
        add_noise(planes_.g.data() + at, noise(1), kColourWidth);
        add_noise(planes_.r.data() + at, noise(2), kColourWidth);
    }
}

void Renderer::measure_depth(const Model& model, Frame& frame) const {
    frame.raw_mm.resize(kDepthPixels);
    frame.depth_nv12.resize(static_cast<std::size_t>(kDepthPixels) * 3 / 2);
    std::fill(frame.depth_nv12.begin() + kDepthPixels, frame.depth_nv12.end(), std::uint8_t{128});
    const float grey_per_mm = static_cast<float>(219.0 / (1100.0 * camera_.height_m));
    const auto source_row = [](int row) {
        return std::min((row * kColourHeight + kDepthHeight / 2) / kDepthHeight, kColourHeight - 1);
    };
    for (int y = 0; y < kDepthHeight; ++y) {
        const float* here = surface_.z.data() + pixel_at(0, source_row(y));
        const float* above = surface_.z.data() + pixel_at(0, source_row(std::max(y - 1, 0)));
        const float* below =
            surface_.z.data() + pixel_at(0, source_row(std::min(y + 1, kDepthHeight - 1)));
        const std::int32_t* tags = surface_.tag.data() + pixel_at(0, source_row(y));
        const float* noise = depth_noise_.data() + noise_start(seed_ + 12, frame.index, y);
        const std::uint16_t* chance =
            depth_chance_.data() + noise_start(seed_ + 13, frame.index, y);
        for (int x = 0; x < kDepthWidth; ++x) {
            const int u = 2 * x;
            const float z = here[u];
            const float left = here[std::max(u - 2, 0)];
            const float right = here[std::min(u + 2, kColourWidth - 2)];
            const float low = std::min(std::min(left, right), std::min(above[u], below[u]));
            const float high = std::max(std::max(left, right), std::max(above[u], below[u]));
            const bool edge = high - z > kEdgeStep_m || z - low > kEdgeStep_m;
            bool lost = chance[x] < (edge ? kEdgeLoss : kRandomLoss);
            const int material = tags[u] >> 8;
            if (material != 0 &&
                model.materials[static_cast<std::size_t>(material)].swallows_infrared) {
                // Ragged blotches of a few pixels that stay for some frames.
                const int ragged = chance[x] & 3;
                const std::uint64_t cell = static_cast<std::uint64_t>((x + ragged) / 4) << 40 ^
                                           static_cast<std::uint64_t>((y + ragged) / 4) << 20 ^
                                           static_cast<std::uint64_t>(frame.index / 3);
                lost = lost || (mix64(cell ^ seed_) & 255U) < kHairPatchLoss;
            }
            const float mm = z * 1000.0f + noise[x] * (kDepthNoise_mm_per_m2 * z * z);
            const std::size_t at = static_cast<std::size_t>(y * kDepthWidth + x);
            const int value = lost ? 0 : static_cast<int>(mm + 0.5f);
            frame.raw_mm[at] = static_cast<std::uint16_t>(value);
            const float grey = 235.0f - grey_per_mm * static_cast<float>(value);
            frame.depth_nv12[at] = static_cast<std::uint8_t>(lost || grey < 16.0f ? 16.0f : grey);
        }
    }
}

double Renderer::visible_share(const Model& model, const Outline& outline) const {
    constexpr int kStep = 4;  // every fourth pixel in each direction is enough for a share
    constexpr float kMargin_m = 0.02f;  // more than rounding, less than any other body's distance
    const float inverse = 1.0f / static_cast<float>(camera_.focal_px);
    int inside = 0;
    int seen = 0;
    const Rect& r = outline.box;
    for (int y = std::max(r.y0, 0); y < std::min(r.y1, kColourHeight); y += kStep) {
        for (int x = std::max(r.x0, 0); x < std::min(r.x1, kColourWidth); x += kStep) {
            const float dx = static_cast<float>(x - kColourWidth / 2) * inverse;
            const float dy = static_cast<float>(y - kColourHeight / 2) * inverse;
            float t = 1e9f;
            for (std::size_t i = 0; i < outline.count; ++i) {
                t = std::min(t, hit_distance(model.quadrics[outline.first + i], dx, dy));
            }
            if (t > 1e8f) continue;
            ++inside;
            if (surface_.z[pixel_at(x, y)] > t - kMargin_m) ++seen;
        }
    }
    return inside == 0 ? 0.0 : static_cast<double>(seen) / inside;
}

}  // namespace sim
