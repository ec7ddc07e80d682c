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
constexpr float kLongestMerged_s = 0.6f;  // two heads as near as one
constexpr float kTwoHeads_m2 = 0.042f;    // a surface that is more than one head's
constexpr float kTogether_mm = 500.0f;    // heads nearer to each other may share surfaces
constexpr float kTwins_mm = 300.0f;       // heads nearer to each other may be found as one
constexpr float kApart_mm = 180.0f;   // a found head nearer than this to another is between both
constexpr float kAstray_mm = 200.0f;  // farther from where it is expected, a head is another's
constexpr int kRounds = 4;
constexpr float kLongestLeaning_s = 1.5f;
constexpr float kLongestAlone_s = 0.8f;
constexpr float kFurniture_mm = 1100.0f;  // backs of chairs, loads of carts
constexpr float kShoulder_mm = 150.0f;    // at least this far below the top of the head
constexpr float kShoulderReach_mm = 250.0f;

float distance_mm(const HeadPlace& head, float x_mm, float y_mm) {
    return std::hypot(head.x_mm - x_mm, head.y_mm - y_mm);
}

float distance_mm(const HeadPlace& a, const HeadPlace& b) {
    return distance_mm(a, b.x_mm, b.y_mm);
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
    const int u0 = std::clamp(static_cast<int>(u - reach_u), room_.x, room_.br().x);
    const int u1 = std::clamp(static_cast<int>(u + reach_u) + 1, room_.x, room_.br().x);
    const int v0 = std::clamp(static_cast<int>(v - reach_v), room_.y, room_.br().y);
    const int v1 = std::clamp(static_cast<int>(v + reach_v) + 1, room_.y, room_.br().y);
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
            visit(Sample{at, height_mm, plan_.pixel_area_m2(z_mm)});
        }
    }
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
            ++looked;
            if (!room_.contains({u, v})) continue;
            const auto z_mm = static_cast<float>(depth_mm_.at<std::uint16_t>(v, u));
            hidden += z_mm > 0.0f && z_mm < lens_to_top_mm - kNearer_mm ? 1 : 0;
        }
    }
    return looked > 0 ? static_cast<float>(hidden) / static_cast<float>(looked) : 0.0f;
}

// The expected heads that nobody was found for, and the found heads near them, each where it was
// expected: a found one may be two that stand together.
std::vector<SecondLook::Share> SecondLook::shares_of(const std::vector<ExpectedHead>& expected,
                                                     const std::vector<HeadPlace>& found) const {
    const std::vector<int> found_of = explain_heads(expected, found);
    std::vector<Share> shares;
    for (std::size_t e = 0; e < expected.size(); ++e)
        if (found_of[e] < 0) shares.push_back({expected[e].at, -1, static_cast<int>(e), {}});
    const std::size_t missing = shares.size();
    for (std::size_t f = 0; f < found.size(); ++f) {
        const bool near = std::any_of(
            shares.begin(), shares.begin() + static_cast<std::ptrdiff_t>(missing),
            [&](const Share& share) { return distance_mm(share.head, found[f]) < kTogether_mm; });
        if (near) shares.push_back({found[f], static_cast<int>(f), -1, {}});
    }
    for (std::size_t e = 0; e < expected.size(); ++e) {
        for (Share& share : shares)
            if (share.found >= 0 && share.found == found_of[e]) share.head = expected[e].at;
    }
    return shares;
}

std::vector<SecondLook::Sample> SecondLook::surfaces_of(const std::vector<Share>& shares) const {
    std::vector<Sample> samples;
    for (std::size_t i = 0; i < shares.size(); ++i) {
        visit_surface(shares[i].head, [&](const Sample& sample) {
            // What lies within reach of several comes from the first.
            for (std::size_t k = 0; k < i; ++k)
                if (distance_mm(shares[k].head, sample.at.x_mm, sample.at.y_mm) <= kReach_mm)
                    return;
            samples.push_back(sample);
        });
    }
    return samples;
}

// As many means as there are heads, from where these are expected (Lloyd, Least Squares
// Quantization in PCM, 1982).
void SecondLook::share_out(std::vector<Share>& shares) const {
    const std::vector<Sample> samples = surfaces_of(shares);
    for (int round = 0; round < kRounds; ++round) {
        for (Share& share : shares)
            share.patch = {};
        for (const Sample& sample : samples) {
            Share* nearest = nullptr;
            float least_mm = kReach_mm + 1.0f;
            for (Share& share : shares) {
                const float apart_mm = distance_mm(share.head, sample.at.x_mm, sample.at.y_mm);
                if (apart_mm >= least_mm) continue;
                least_mm = apart_mm;
                nearest = &share;
            }
            if (nearest != nullptr) nearest->patch.add(sample);
        }
        for (Share& share : shares) {
            share.patch.settle();
            if (share.patch.area_m2 < kGoodArea_m2) continue;
            share.head.x_mm = share.patch.x_mm;
            share.head.y_mm = share.patch.y_mm;
        }
    }
}

// A shoulder keeps its place beside a taller head; a person who stands as near soon stands out.
bool SecondLook::leans_on(const Share& share, const std::vector<Share>& others) {
    return std::any_of(others.begin(), others.end(), [&](const Share& other) {
        return other.found >= 0 && other.head.top_mm > share.head.top_mm + kShoulder_mm &&
               distance_mm(share.head, other.head) < kShoulderReach_mm;
    });
}

// Nobody is near enough to hide a head or to blend with it: a child who stands so soon stands out,
// and a chair that was once taken for one does not.
bool SecondLook::is_alone(const Share& share, const std::vector<Share>& others) {
    return std::none_of(others.begin(), others.end(), [&](const Share& other) {
        return &other != &share && distance_mm(share.head, other.head) < kTogether_mm;
    });
}

// The head that is known to be where another is thought to be.
const SecondLook::Share* SecondLook::taker_of(const HeadPlace& head, const Share& share,
                                              const std::vector<Share>& others) {
    const auto taker = std::find_if(others.begin(), others.end(), [&](const Share& other) {
        const bool sure = other.found >= 0 || other.patch.area_m2 >= kGoodArea_m2;
        return &other != &share && sure && distance_mm(head, other.head) < kLeastApart_mm;
    });
    return taker == others.end() ? nullptr : &*taker;
}

std::optional<SeenAgain> SecondLook::judge(const Share& share, const ExpectedHead& expected,
                                           const std::vector<Share>& others) const {
    if (expected.unfound_s > kLongestLeaning_s && leans_on(share, others)) return std::nullopt;
    if (expected.at.top_mm < kFurniture_mm && expected.unfound_s > kLongestAlone_s &&
        is_alone(share, others))
        return std::nullopt;
    const bool as_tall = share.patch.top_mm > expected.at.top_mm - kNod_mm;
    if (share.patch.area_m2 >= kGoodArea_m2 && as_tall &&
        distance_mm(share.head, expected.at) < kAstray_mm &&
        taker_of(share.head, share, others) == nullptr)
        return SeenAgain{share.head, true};
    const SeenAgain hidden{expected.at, false};
    if (const Share* const taker = taker_of(expected.at, share, others)) {
        const bool both = share.patch.area_m2 + taker->patch.area_m2 >= kTwoHeads_m2;
        return both && expected.unseen_s <= kLongestMerged_s ? std::optional(hidden) : std::nullopt;
    }
    if (expected.unseen_s > kLongestHidden_s) return std::nullopt;
    if ((share.patch.area_m2 >= kLeastArea_m2 && as_tall) || blocked(expected.at) >= kMostlyBlocked)
        return hidden;
    return std::nullopt;
}

// Found heads that had been taken for one move apart from those who are seen beside them.
void SecondLook::move_apart(const Share& seen, const std::vector<Share>& shares,
                            std::vector<HeadPlace>& found) {
    for (const Share& other : shares) {
        if (other.found < 0 || other.patch.area_m2 < kGoodArea_m2) continue;
        HeadPlace& head = found[static_cast<std::size_t>(other.found)];
        if (distance_mm(seen.head, other.head) > kTwins_mm ||
            distance_mm(seen.head, head) >= kApart_mm)
            continue;
        head.x_mm = other.head.x_mm;
        head.y_mm = other.head.y_mm;
    }
}

SecondLookResult SecondLook::look(const std::vector<ExpectedHead>& expected,
                                  const std::vector<HeadPlace>& found) const {
    SecondLookResult result{{}, found};
    std::vector<Share> shares = shares_of(expected, found);
    share_out(shares);
    for (const Share& share : shares) {
        if (share.expected < 0) continue;
        const auto seen = judge(share, expected[static_cast<std::size_t>(share.expected)], shares);
        if (!seen) continue;
        result.seen.push_back(*seen);
        if (seen->head_seen) move_apart(share, shares, result.found);
    }
    return result;
}

}  // namespace host
