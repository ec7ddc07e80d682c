// Looks at the patch of depth in which the top of a head should lie.
#include "host/inference/second_look.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "host/base/picture.h"

namespace host {

namespace {

constexpr float kSamePerson_mm = 300.0f;  // between an expected head and the one that was found
constexpr float kSameHeight_mm = 350.0f;  // likewise, of their heights
constexpr float kReach_mm = 160.0f;       // of a head's surface around its middle
constexpr float kHeadDepth_mm = 150.0f;   // the surface of a head lies within this below its top
constexpr float kNod_mm = 80.0f;          // a walking head bobs and bends by this
constexpr float kLeastApart_mm = 150.0f;  // two heads cannot be nearer to each other
constexpr float kLeastArea_m2 = 0.004f;   // of the 0.03 m2 of a whole head
constexpr float kGoodArea_m2 = 0.012f;    // enough to tell where the head is
constexpr float kNearer_mm = 100.0f;      // what hides a head is nearer to the camera by this
constexpr float kMostlyBlocked = 0.5f;
constexpr float kLongestHidden_s = 1.0f;
constexpr int kSplitRounds = 4;

float distance_mm(const HeadPlace& head, float x_mm, float y_mm) {
    return std::hypot(head.x_mm - x_mm, head.y_mm - y_mm);
}

float distance_mm(const HeadPlace& a, const HeadPlace& b) {
    return distance_mm(a, b.x_mm, b.y_mm);
}

bool nearer_to_another(const PlanPoint& at, const HeadPlace& head,
                       const std::vector<HeadPlace>& found) {
    const float own_mm = distance_mm(head, at.x_mm, at.y_mm);
    return std::any_of(found.begin(), found.end(), [&](const HeadPlace& other) {
        return distance_mm(other, at.x_mm, at.y_mm) < own_mm;
    });
}

bool is_taken(const HeadPlace& head, const std::vector<HeadPlace>& found) {
    return std::any_of(found.begin(), found.end(), [&](const HeadPlace& other) {
        return distance_mm(head, other) < kLeastApart_mm;
    });
}

}  // namespace

std::vector<int> explain_heads(const std::vector<ExpectedHead>& expected,
                               const std::vector<HeadPlace>& found) {
    std::vector<std::tuple<float, std::size_t, std::size_t>> pairs;
    for (std::size_t e = 0; e < expected.size(); ++e) {
        for (std::size_t f = 0; f < found.size(); ++f) {
            const float apart_mm = distance_mm(expected[e].at, found[f]);
            const float height_mm = std::fabs(expected[e].at.top_mm - found[f].top_mm);
            if (apart_mm > kSamePerson_mm || height_mm > kSameHeight_mm) continue;
            pairs.emplace_back(apart_mm + 0.5f * height_mm, e, f);
        }
    }
    std::sort(pairs.begin(), pairs.end());
    std::vector<int> found_of(expected.size(), -1);
    std::vector<char> used(found.size());
    for (const auto& [cost, e, f] : pairs) {
        if (found_of[e] >= 0 || used[f]) continue;
        found_of[e] = static_cast<int>(f);
        used[f] = 1;
    }
    return found_of;
}

void SecondLook::Patch::add(const Sample& sample) {
    area_m2 += sample.area_m2;
    x_mm += sample.area_m2 * sample.at.x_mm;
    y_mm += sample.area_m2 * sample.at.y_mm;
    top_mm = std::max(top_mm, sample.height_mm);
}

void SecondLook::Patch::settle() {
    if (area_m2 <= 0.0f) return;
    x_mm /= area_m2;
    y_mm /= area_m2;
}

template <typename Visit>
void SecondLook::visit_surface(const HeadPlace& head, Visit visit) const {
    const float lens_to_top_mm = std::max(plan_.height_mm() - head.top_mm, 100.0f);
    const float u = head.x_mm / lens_to_top_mm * plan_.fx() + plan_.cx();
    const float v = head.y_mm / lens_to_top_mm * plan_.fy() + plan_.cy();
    const float reach_u = kReach_mm * plan_.fx() / lens_to_top_mm + 1.0f;
    const float reach_v = kReach_mm * plan_.fy() / lens_to_top_mm + 1.0f;
    const int u0 = std::clamp(static_cast<int>(u - reach_u), 0, kDepthWidth);
    const int u1 = std::clamp(static_cast<int>(u + reach_u) + 1, 0, kDepthWidth);
    const int v0 = std::clamp(static_cast<int>(v - reach_v), 0, kDepthHeight);
    const int v1 = std::clamp(static_cast<int>(v + reach_v) + 1, 0, kDepthHeight);
    const float pixel_m2 = 1e-6f / (plan_.fx() * plan_.fy());
    for (int row = v0; row < v1; ++row) {
        const auto* depth = depth_mm_.ptr<std::uint16_t>(row);
        for (int col = u0; col < u1; ++col) {
            const auto z_mm = static_cast<float>(depth[col]);
            const float height_mm = plan_.height_mm() - z_mm;
            if (z_mm <= 0.0f || height_mm > head.top_mm + kNod_mm ||
                height_mm < head.top_mm - kHeadDepth_mm - kNod_mm)
                continue;
            const PlanPoint at = plan_.pixel_to_plan(col, row, z_mm);
            if (distance_mm(head, at.x_mm, at.y_mm) > kReach_mm) continue;
            visit(Sample{at, height_mm, z_mm * z_mm * pixel_m2});
        }
    }
}

SecondLook::Patch SecondLook::patch_at(const HeadPlace& head,
                                       const std::vector<HeadPlace>& found) const {
    Patch patch;
    visit_surface(head, [&](const Sample& sample) {
        if (!nearer_to_another(sample.at, head, found)) patch.add(sample);
    });
    patch.settle();
    return patch;
}

float SecondLook::blocked(const HeadPlace& head) const {
    constexpr float kHeadHalf_mm = 100.0f;
    const float lens_to_top_mm = std::max(plan_.height_mm() - head.top_mm, 100.0f);
    int looked = 0;
    int hidden = 0;
    for (float y = -kHeadHalf_mm; y <= kHeadHalf_mm; y += 0.25f * kHeadHalf_mm) {
        for (float x = -kHeadHalf_mm; x <= kHeadHalf_mm; x += 0.25f * kHeadHalf_mm) {
            const int u = static_cast<int>(
                std::floor((head.x_mm + x) / lens_to_top_mm * plan_.fx() + plan_.cx()));
            const int v = static_cast<int>(
                std::floor((head.y_mm + y) / lens_to_top_mm * plan_.fy() + plan_.cy()));
            if (u < 0 || v < 0 || u >= kDepthWidth || v >= kDepthHeight) continue;
            const auto z_mm = static_cast<float>(depth_mm_.at<std::uint16_t>(v, u));
            ++looked;
            hidden += z_mm > 0.0f && z_mm < lens_to_top_mm - kNearer_mm ? 1 : 0;
        }
    }
    return looked > 0 ? static_cast<float>(hidden) / static_cast<float>(looked) : 0.0f;
}

std::optional<SeenAgain> SecondLook::at(const ExpectedHead& expected,
                                        const std::vector<HeadPlace>& found) const {
    const Patch patch = patch_at(expected.at, found);
    const HeadPlace seen{patch.x_mm, patch.y_mm, expected.at.top_mm};
    const bool as_tall = patch.top_mm > expected.at.top_mm - kNod_mm;
    if (patch.area_m2 >= kGoodArea_m2 && as_tall && !is_taken(seen, found))
        return SeenAgain{seen, true};
    if (expected.unseen_s > kLongestHidden_s || is_taken(expected.at, found)) return std::nullopt;
    if ((patch.area_m2 >= kLeastArea_m2 && as_tall) || blocked(expected.at) >= kMostlyBlocked)
        return SeenAgain{expected.at, false};
    return std::nullopt;
}

// Two means on the surfaces of both heads, from where they are expected (Lloyd, Least Squares
// Quantization in PCM, 1982). One head splits into halves that are too near to each other.
std::optional<std::pair<HeadPlace, HeadPlace>> SecondLook::split(
    const HeadPlace& one, const HeadPlace& other, const std::vector<HeadPlace>& found,
    std::size_t merged) const {
    std::vector<HeadPlace> others = found;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(merged));
    std::vector<Sample> samples;
    const auto keep = [&](const HeadPlace& own, const HeadPlace& twin, bool first) {
        visit_surface(own, [&](const Sample& sample) {
            if (nearer_to_another(sample.at, own, others)) return;
            // What lies within reach of both comes from the first.
            if (!first && distance_mm(twin, sample.at.x_mm, sample.at.y_mm) <= kReach_mm) return;
            samples.push_back(sample);
        });
    };
    keep(one, other, true);
    keep(other, one, false);
    HeadPlace a = one;
    HeadPlace b = other;
    Patch of_a, of_b;
    for (int round = 0; round < kSplitRounds; ++round) {
        of_a = of_b = {};
        for (const Sample& sample : samples) {
            const bool to_a = distance_mm(a, sample.at.x_mm, sample.at.y_mm) <
                              distance_mm(b, sample.at.x_mm, sample.at.y_mm);
            (to_a ? of_a : of_b).add(sample);
        }
        of_a.settle();
        of_b.settle();
        if (std::min(of_a.area_m2, of_b.area_m2) < kGoodArea_m2) return std::nullopt;
        a.x_mm = of_a.x_mm, a.y_mm = of_a.y_mm;
        b.x_mm = of_b.x_mm, b.y_mm = of_b.y_mm;
    }
    if (distance_mm(a, b) < kLeastApart_mm) return std::nullopt;
    return std::pair{a, b};
}

}  // namespace host
