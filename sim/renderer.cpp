// Floor, shading of the final colours, and what the two sensors make of them.
#include "sim/renderer.h"

#include <algorithm>
#include <cmath>

namespace sim {
namespace {

constexpr int kPixels = kColourWidth * kColourHeight;
constexpr int kNoiseLength = 1 << 16;  // a row can start anywhere in it
constexpr int kFloorShade = 255;

constexpr double kColourNoise = 1.8;  // standard deviation, grey levels

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

Renderer::Renderer(const Camera& camera, const Turn& turn, std::uint64_t seed, Noise noise)
    : camera_(camera), turn_(turn), seed_(seed) {
    make_floor();
    make_noise(noise);
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

void Renderer::make_noise(Noise noise) {
    Rng rng(seed_ ^ 0x5EED'0000ULL);
    colour_noise_.resize(kNoiseLength + kColourWidth);
    for (std::int8_t& n : colour_noise_) {
        n = static_cast<std::int8_t>(std::floor(kColourNoise * rng.normal() + 0.5));
    }
    sensor_ = make_sensor(noise, camera_, NoiseRows(seed_, rng));
}

void Renderer::render(const Model& model, const std::vector<Pose>& people, Colours colours,
                      Frame& frame) {
    draw_surfaces(model, people);
    find_sun(model);
    if (colours != Colours::kNone) paint(model, colours, frame);
    measure_depth(model, frame);
}

void Renderer::draw_surfaces(const Model& model, const std::vector<Pose>& people) {
    surface_.z = floor_z_;
    surface_.tag.assign(kPixels, kFloorShade);
    const float focal = static_cast<float>(camera_.focal_px);
    for (const Pose& person : people) {
        cast_shadow({person.x_m, person.y_m});
        if (!is_pushed(person.load)) continue;
        cast_shadow({person.x_m + kTrolleyAhead_m * person.dir_x,
                     person.y_m + kTrolleyAhead_m * person.dir_y});
    }
    for (const Quadric& q : model.quadrics)
        draw(q, focal, surface_);
    for (const Brick& b : model.bricks)
        draw(b, focal, surface_);
}

void Renderer::paint(const Model& model, Colours colours, Frame& frame) {
    resolve(model);
    brighten();
    soften(planes_.b, scratch_);
    soften(planes_.g, scratch_);
    soften(planes_.r, scratch_);
    add_colour_noise(frame.index);
    if (colours == Colours::kAll) {
        frame.bgr.resize(static_cast<std::size_t>(kPixels) * 3);
        interleave_bgr(planes_, frame.bgr.data());
    }
    frame.nv12.resize(static_cast<std::size_t>(kPixels) * 3 / 2);
    convert_nv12(planes_, frame.nv12.data());
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

// What the sun falls on: its light comes in aslant, so who stands in a patch is lit where the way
// of the light ends in it.
void Renderer::find_sun(const Model& model) {
    constexpr float kSlant = 0.6f;  // metres towards x for each metre of height
    sunlit_.clear();
    if (model.suns.empty()) return;
    sunlit_.assign(kPixels, 0);
    const float inverse = static_cast<float>(1.0 / camera_.focal_px);
    const float floor_m = static_cast<float>(camera_.height_m);
    for (int v = 0; v < kColourHeight; ++v) {
        const float slope_y = static_cast<float>(v - kColourHeight / 2) * inverse;
        for (int u = 0; u < kColourWidth; ++u) {
            const float z = surface_.z[pixel_at(u, v)];
            const float slope_x = static_cast<float>(u - kColourWidth / 2) * inverse;
            const Vec3 at = turn_.back({slope_x * z, slope_y * z, z});
            const float x = at[0] + kSlant * (floor_m - at[2]);
            for (const SunPatch& sun : model.suns) {
                const float ex =
                    (x - static_cast<float>(sun.centre.x_m)) / static_cast<float>(sun.half_x_m);
                const float ey =
                    (at[1] - static_cast<float>(sun.centre.y_m)) / static_cast<float>(sun.half_y_m);
                if (ex * ex + ey * ey < 1.0f) sunlit_[pixel_at(u, v)] = 1;
            }
        }
    }
}

void Renderer::brighten() {
    const auto bright = [](std::uint8_t level, int gain) {
        return static_cast<std::uint8_t>(std::min(30 + level * gain / 16, 255));
    };
    for (std::size_t i = 0; i < sunlit_.size(); ++i) {
        if (sunlit_[i] == 0) continue;
        planes_.b[i] = bright(planes_.b[i], 22);
        planes_.g[i] = bright(planes_.g[i], 25);
        planes_.r[i] = bright(planes_.r[i], 26);
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

void Renderer::view_depth(const Model& model) {
    view_.materials = model.materials;
    view_.z_m.resize(kDepthPixels);
    view_.material.resize(kDepthPixels);
    view_.sunlit.resize(sunlit_.empty() ? 0 : kDepthPixels);
    for (int y = 0; y < kDepthHeight; ++y) {
        const int row = (y * kColourHeight + kDepthHeight / 2) / kDepthHeight;
        const std::size_t from = pixel_at(0, std::min(row, kColourHeight - 1));
        const std::size_t to = static_cast<std::size_t>(y * kDepthWidth);
        for (std::size_t x = 0; x < kDepthWidth; ++x) {
            view_.z_m[to + x] = surface_.z[from + 2 * x];
            view_.material[to + x] = static_cast<std::uint16_t>(surface_.tag[from + 2 * x] >> 8);
            if (!sunlit_.empty()) view_.sunlit[to + x] = sunlit_[from + 2 * x];
        }
    }
}

void Renderer::measure_depth(const Model& model, Frame& frame) {
    view_depth(model);
    view_.frame = frame.index;
    view_.time_s = frame.time_s;
    sensor_->measure(view_, frame.raw_mm);
    frame.depth_nv12.resize(static_cast<std::size_t>(kDepthPixels) * 3 / 2);
    std::fill(frame.depth_nv12.begin() + kDepthPixels, frame.depth_nv12.end(), std::uint8_t{128});
    const float grey_per_mm = static_cast<float>(219.0 / (1100.0 * camera_.height_m));
    for (std::size_t i = 0; i < kDepthPixels; ++i) {
        const std::uint16_t mm = frame.raw_mm[i];
        const float grey = 235.0f - grey_per_mm * static_cast<float>(mm);
        frame.depth_nv12[i] = static_cast<std::uint8_t>(mm == 0 || grey < 16.0f ? 16.0f : grey);
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
