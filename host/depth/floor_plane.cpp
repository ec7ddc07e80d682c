// A plane n . p = d seen by a pinhole camera: a pixel with the ray r = (x, y, 1) measures the depth
// z with n . r z = d, so 1/z = m . r with m = n/d. That is linear in m, and the noise of 1/z is
// the same everywhere for a sensor whose noise grows with the square of the distance.
//
// Triples of pixels give candidates (Fischler and Bolles, Random Sample Consensus, 1981); the best
// one is refined by least squares over the measurements that lie on it.
#include "host/depth/floor_plane.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <random>

#include "host/base/picture.h"

namespace host {
namespace {

constexpr double kDegree = 3.14159265358979323846 / 180.0;
constexpr double kMostLean_deg = 21.0;  // 20, and what the floor itself may lean

constexpr int kStep_px = 3;            // between the pixels that are looked at
constexpr std::size_t kJudges = 1500;  // measurements that a candidate is judged by
constexpr int kCandidates = 400;       // a triple on a floor of 40 % is missed by 1 in 10^11

// How far a measurement may lie off the plane, as a share of its distance.
constexpr double kWidest = 0.015;
constexpr double kNarrowest = 0.004;
constexpr double kBeyond = 0.03;  // certainly behind it
constexpr int kRefinements = 6;

constexpr double kLeastShare = 0.25;     // of the measurements
constexpr double kLeastMeasured = 0.08;  // of the pixels
constexpr double kLeastSpread = 0.08;    // standard deviation of the rays across the floor

struct Measurement {
    double x, y;  // ray (x, y, 1)
    double z;     // metres
};

struct Plane {
    double a = 0.0, b = 0.0, c = 0.0;  // m

    // Share of its distance by which a measurement lies behind the plane; negative before it.
    double behind(const Measurement& p) const { return p.z * (a * p.x + b * p.y + c) - 1.0; }
    double length() const { return std::sqrt(a * a + b * b + c * c); }
};

std::vector<Measurement> measurements(const std::vector<std::uint16_t>& depth_mm,
                                      const CameraModel& camera) {
    std::vector<Measurement> list;
    for (int v = 0; v < kDepthHeight; v += kStep_px) {
        for (int u = 0; u < kDepthWidth; u += kStep_px) {
            const std::uint16_t mm = depth_mm[static_cast<std::size_t>(v * kDepthWidth + u)];
            if (mm == 0) continue;
            list.push_back({(u - camera.cx) / camera.fx, (v - camera.cy) / camera.fy, mm / 1000.0});
        }
    }
    return list;
}

// Solves a system of three equations by Cramer's rule; empty when it is singular.
std::optional<Plane> solve(const std::array<std::array<double, 4>, 3>& e) {
    const auto det = [&e](std::size_t i, std::size_t j, std::size_t k) {
        return e[0][i] * (e[1][j] * e[2][k] - e[1][k] * e[2][j]) -
               e[0][j] * (e[1][i] * e[2][k] - e[1][k] * e[2][i]) +
               e[0][k] * (e[1][i] * e[2][j] - e[1][j] * e[2][i]);
    };
    const double all = det(0, 1, 2);
    if (std::abs(all) < 1e-12) return std::nullopt;
    return Plane{det(3, 1, 2) / all, det(0, 3, 2) / all, det(0, 1, 3) / all};
}

std::optional<Plane> through(const Measurement& p, const Measurement& q, const Measurement& r) {
    return solve(
        {{{p.x, p.y, 1.0, 1.0 / p.z}, {q.x, q.y, 1.0, 1.0 / q.z}, {r.x, r.y, 1.0, 1.0 / r.z}}});
}

bool is_level_enough(const Plane& plane) {
    return plane.c >= std::cos(kMostLean_deg * kDegree) * plane.length();
}

// A table top has the floor behind it, the floor nothing, so what lies behind counts against.
int score_of(const Plane& plane, const std::vector<Measurement>& judges) {
    int score = 0;
    for (const Measurement& p : judges) {
        const double off = plane.behind(p);
        score += std::abs(off) < kWidest ? 1 : 0;
        score -= off > kBeyond ? 1 : 0;
    }
    return score;
}

std::optional<Plane> best_candidate(const std::vector<Measurement>& all) {
    std::minstd_rand random(1);
    const auto any = [&]() -> const Measurement& { return all[random() % all.size()]; };
    std::vector<Measurement> judges;
    for (std::size_t i = 0; i < kJudges; ++i)
        judges.push_back(any());
    std::optional<Plane> best;
    int most = 0;
    for (int i = 0; i < kCandidates; ++i) {
        const Measurement& p = any();
        const Measurement& q = any();
        const Measurement& r = any();
        const std::optional<Plane> plane = through(p, q, r);
        if (!plane || !is_level_enough(*plane)) continue;
        const int score = score_of(*plane, judges);
        if (score <= most) continue;
        most = score;
        best = plane;
    }
    return best;
}

// What least squares need of the measurements on a plane.
struct Sums {
    double n = 0, x = 0, y = 0, xx = 0, xy = 0, yy = 0, d = 0, xd = 0, yd = 0, squares = 0;

    Sums(const std::vector<Measurement>& all, const Plane& plane, double tolerance) {
        for (const Measurement& p : all) {
            const double off = plane.behind(p);
            if (std::abs(off) >= tolerance) continue;
            const double inverse = 1.0 / p.z;
            n += 1.0;
            x += p.x;
            y += p.y;
            xx += p.x * p.x;
            xy += p.x * p.y;
            yy += p.y * p.y;
            d += inverse;
            xd += p.x * inverse;
            yd += p.y * inverse;
            squares += off * off;
        }
    }

    std::optional<Plane> plane() const {
        return solve({{{xx, xy, x, xd}, {xy, yy, y, yd}, {x, y, n, d}}});
    }

    // Standard deviation of the rays in the direction in which they vary least.
    double spread() const {
        if (n == 0.0) return 0.0;
        const double vx = xx / n - (x / n) * (x / n);
        const double vy = yy / n - (y / n) * (y / n);
        const double vxy = xy / n - (x / n) * (y / n);
        const double least = 0.5 * (vx + vy - std::hypot(vx - vy, 2.0 * vxy));
        return std::sqrt(std::max(least, 0.0));
    }
};

Tilt tilt_of(const Plane& plane) {
    const double length = plane.length();
    // The camera sees the plumb line as (-sin roll, sin pitch cos roll, cos pitch cos roll).
    return {std::asin(-plane.a / length) / kDegree, std::atan2(plane.b, plane.c) / kDegree};
}

}  // namespace

double lean_deg(const Tilt& tilt) {
    const double cosine = std::cos(tilt.roll_deg * kDegree) * std::cos(tilt.pitch_deg * kDegree);
    return std::acos(std::min(cosine, 1.0)) / kDegree;
}

std::optional<FloorPlane> fit_floor(const std::vector<std::uint16_t>& depth_mm,
                                    const CameraModel& camera) {
    constexpr double kPixels = (kDepthWidth / kStep_px) * (kDepthHeight / kStep_px);
    const std::vector<Measurement> all = measurements(depth_mm, camera);
    const auto measured = static_cast<double>(all.size());
    if (measured < kLeastMeasured * kPixels) return std::nullopt;
    std::optional<Plane> plane = best_candidate(all);
    if (!plane) return std::nullopt;
    double tolerance = kWidest;
    for (int i = 0; i < kRefinements; ++i) {
        const Sums on_it(all, *plane, tolerance);
        if (on_it.spread() < kLeastSpread) return std::nullopt;
        plane = on_it.plane();
        if (!plane) return std::nullopt;
        tolerance = std::clamp(2.5 * std::sqrt(on_it.squares / on_it.n), kNarrowest, kWidest);
    }
    const double share = Sums(all, *plane, kWidest).n / measured;
    if (share < kLeastShare || share * measured < kLeastMeasured * kPixels) return std::nullopt;
    if (!is_level_enough(*plane)) return std::nullopt;
    return FloorPlane{tilt_of(*plane), 1000.0 / plane->length(), share};
}

}  // namespace host
