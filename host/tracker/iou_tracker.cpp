// Prediction at constant velocity, three rounds of matching, confirmation and ageing.
#include "host/tracker/iou_tracker.h"

#include <algorithm>
#include <cmath>

#include "host/base/overlap.h"

namespace host {

namespace {

constexpr float kMinOverlap = 0.1f;     // less does not suggest the same person
constexpr float kLostPenalty = 0.01f;   // overlap that a frame without a match costs
constexpr float kVelocityGain = 0.35f;  // share of a prediction error that changes the velocity
constexpr float kCoasting = 0.9f;       // velocity kept per frame without a match
constexpr int kYoung = 2;               // matches that are too few for a velocity
constexpr int kUnconfirmedLost = 1;     // frames an unconfirmed target may miss
constexpr float kYoungReach = 1.0f;     // search radius in box sizes
constexpr float kReach = 0.6f;
constexpr float kRival = 1.6f;      // a rival must be farther away by this factor
constexpr int kLargestSide = 8192;  // pixels
constexpr int kLargestOffset = 65536;
// Heads on the floor plan. A walker's speed changes by about a third within kPace_s; nobody who
// comes into view walks faster than kFastest, and whoever is followed strays from the expected way
// at less than kStray.
constexpr float kHeadReach_mm = 150.0f;
constexpr float kFastest_mm_s = 2500.0f;
constexpr float kStray_mm_s = 1500.0f;
constexpr float kFarthest_mm = 800.0f;
constexpr float kPace_s = 0.15f;
constexpr float kCoasting_s = 0.6f;
constexpr float kHeightReach_mm = 400.0f;
constexpr float kConfirm_s = 0.12f;  // at few frames a second two matches this far apart are enough
constexpr int kLeastHits = 2;
constexpr float kLongestInterval_s = 1.0f;
constexpr float kLongestLost_s = 0.9f;

bool usable(const IOU_TRK_OBJ_S& object) {
    const auto near = [](int value) { return value > -kLargestOffset && value < kLargestOffset; };
    return object.w > 0 && object.h > 0 && object.w <= kLargestSide && object.h <= kLargestSide &&
           near(object.x) && near(object.y) && std::isfinite(object.score);
}

float finite_or_zero(float value) {
    return std::isfinite(value) ? value : 0.0f;
}

}  // namespace

IouTracker::IouTracker(int max_lost, int min_hits)
    : max_lost_(std::clamp(max_lost, 0, 1000)), min_hits_(std::clamp(min_hits, 1, 1000)) {
    inputs_.reserve(kMaxInputs);
    targets_.reserve(kMaxTargets);
    free_targets_.reserve(kMaxTargets);
    free_inputs_.reserve(kMaxInputs);
}

void IouTracker::set_conf_thresh(float lo, float hi) {
    lo_ = finite_or_zero(lo);
    hi_ = std::max(finite_or_zero(hi), lo_);
}

bool IouTracker::add_object(const IOU_TRK_OBJ_S& object, const std::optional<HeadPlace>& head,
                            bool head_seen) {
    if (inputs_.size() == kMaxInputs || !usable(object)) return false;
    Input input;
    input.object = object;
    input.head = head;
    input.head_seen = head_seen;
    input.place.w = static_cast<float>(object.w);
    input.place.h = static_cast<float>(object.h);
    input.place.x = static_cast<float>(object.x) + 0.5f * input.place.w;
    input.place.y = static_cast<float>(object.y) + 0.5f * input.place.h;
    inputs_.push_back(input);
    return true;
}

float IouTracker::overlap(const Place& a, const Place& b) {
    const auto edges = [](const Place& place) {
        return BoxEdges<float>{place.x - 0.5f * place.w, place.y - 0.5f * place.h,
                               place.x + 0.5f * place.w, place.y + 0.5f * place.h};
    };
    return intersection_over_union(edges(a), edges(b));
}

// How far two heads are apart in place and height, as a share of what one person can do within a
// frame: 1 for none, 0 and less for too far.
float IouTracker::head_likeness(const Target& target, const Input& input) const {
    const float speed = target.age < kYoung ? kFastest_mm_s : kStray_mm_s;
    const float frames = 1.0f + 0.5f * static_cast<float>(target.lost);
    const float reach_mm = std::min(kHeadReach_mm + speed * interval_s_ * frames, kFarthest_mm);
    const float apart =
        std::hypot(target.head->x_mm - input.head->x_mm, target.head->y_mm - input.head->y_mm) /
        reach_mm;
    const float taller = std::fabs(target.head->top_mm - input.head->top_mm) / kHeightReach_mm;
    return 1.0f - std::hypot(apart, taller);
}

float IouTracker::likeness(const Target& target, const Input& input) const {
    if (target.head && input.head) return head_likeness(target, input);
    const float iou = overlap(target.expected, input.place);
    return iou < kMinOverlap ? 0.0f : iou;
}

void IouTracker::predict() {
    for (Target& target : targets_) {
        target.input = -1;
        target.followed_s += interval_s_;
        target.unseen_s += interval_s_;
        target.unfound_s += interval_s_;
        if (target.head) {
            if (target.lost > 0 || target.unseen_s > 1.5f * interval_s_) {
                const float keep = std::exp(-interval_s_ / kCoasting_s);
                target.head_vx *= keep;
                target.head_vy *= keep;
            }
            target.head->x_mm += target.head_vx * interval_s_;
            target.head->y_mm += target.head_vy * interval_s_;
        }
        if (target.lost > 0) {
            target.vx *= kCoasting;
            target.vy *= kCoasting;
        }
        target.expected.x += target.vx;
        target.expected.y += target.vy;
    }
}

// Free targets against free inputs with scores in [score_from, score_below), largest total overlap.
void IouTracker::match_by_overlap(float score_from, float score_below) {
    free_targets_.clear();
    free_inputs_.clear();
    for (std::size_t i = 0; i < targets_.size(); ++i) {
        if (targets_[i].input < 0) free_targets_.push_back(i);
    }
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const float score = inputs_[i].object.score;
        if (!inputs_[i].taken && score >= score_from && score < score_below) {
            free_inputs_.push_back(i);
        }
    }
    assignment_.reset(static_cast<int>(free_targets_.size()),
                      static_cast<int>(free_inputs_.size()));
    for (std::size_t t = 0; t < free_targets_.size(); ++t) {
        const Target& target = targets_[free_targets_[t]];
        for (std::size_t i = 0; i < free_inputs_.size(); ++i) {
            const float like = likeness(target, inputs_[free_inputs_[i]]);
            if (like <= 0.0f) continue;
            const float penalty = kLostPenalty * static_cast<float>(target.lost);
            assignment_.set(static_cast<int>(t), static_cast<int>(i),
                            std::max(like - penalty, 0.001f));
        }
    }
    const std::vector<int>& column = assignment_.solve();
    for (std::size_t t = 0; t < free_targets_.size(); ++t) {
        if (column[t] < 0) continue;
        take(targets_[free_targets_[t]], free_inputs_[static_cast<std::size_t>(column[t])]);
    }
}

// A target without a velocity, or one that turned sharply, may be out of its expected place. It
// takes the nearest free input within reach, but only when neither has a rival nearly as near: in
// a crowd a wrong id is worse than a new one.
void IouTracker::match_by_distance() {
    const auto reach_of = [](const Target& target) {
        return target.age < kYoung ? kYoungReach : kReach;
    };
    const auto distance = [](const Target& target, const Input& input) {
        const float size = std::sqrt(target.place.w * target.place.h);
        return std::hypot(target.expected.x - input.place.x, target.expected.y - input.place.y) /
               size;
    };
    const auto candidate = [](const Target& target) {
        return target.input < 0 && target.lost == 0;
    };
    const auto open = [this](const Input& input) {
        return !input.taken && input.object.score >= hi_;
    };
    const auto by_heads = [](const Target& target, const Input& input) {
        return target.head && input.head;
    };
    for (Target& target : targets_) {
        if (!candidate(target)) continue;
        float best = reach_of(target);
        std::size_t chosen = inputs_.size();
        for (std::size_t i = 0; i < inputs_.size(); ++i) {
            if (open(inputs_[i]) && !by_heads(target, inputs_[i]) &&
                distance(target, inputs_[i]) < best) {
                best = distance(target, inputs_[i]);
                chosen = i;
            }
        }
        if (chosen == inputs_.size()) continue;
        const float clear_of = kRival * best;
        bool rival = false;
        for (std::size_t i = 0; i < inputs_.size() && !rival; ++i) {
            rival = i != chosen && open(inputs_[i]) && distance(target, inputs_[i]) < clear_of;
        }
        for (std::size_t i = 0; i < targets_.size() && !rival; ++i) {
            rival = &targets_[i] != &target && candidate(targets_[i]) &&
                    distance(targets_[i], inputs_[chosen]) < clear_of;
        }
        if (!rival) take(target, chosen);
    }
}

void IouTracker::take(Target& target, std::size_t input) {
    const Place& seen = inputs_[input].place;
    const auto frames = static_cast<float>(target.lost + 1);
    if (target.age < kYoung) {
        target.vx = (seen.x - target.place.x) / frames;
        target.vy = (seen.y - target.place.y) / frames;
    } else {
        target.vx += kVelocityGain * (seen.x - target.expected.x) / frames;
        target.vy += kVelocityGain * (seen.y - target.expected.y) / frames;
    }
    take_head(target, inputs_[input]);
    target.place = target.expected = seen;
    target.input = static_cast<int>(input);
    target.lost = 0;
    ++target.hits;
    ++target.age;
    inputs_[input].taken = true;
}

// Follows the head with a gain that forgets an old speed within kPace_s, however often frames come.
void IouTracker::take_head(Target& target, const Input& input) const {
    if (!input.head) {
        target.head.reset();
        return;
    }
    if (!target.head) {
        target.head_vx = target.head_vy = 0.0f;
    } else if (input.head_seen) {
        const float elapsed_s = interval_s_ * static_cast<float>(target.lost + 1);
        const float gain = target.age < kYoung ? 1.0f : 1.0f - std::exp(-interval_s_ / kPace_s);
        target.head_vx += gain * (input.head->x_mm - target.head->x_mm) / elapsed_s;
        target.head_vy += gain * (input.head->y_mm - target.head->y_mm) / elapsed_s;
    }
    target.head = input.head;
    if (input.head_seen) target.unseen_s = 0.0f;
    if (input.object.score >= hi_) target.unfound_s = 0.0f;
}

void IouTracker::drop_lost() {
    for (Target& target : targets_) {
        if (target.input >= 0) continue;
        ++target.lost;
        target.hits = 0;
    }
    std::erase_if(targets_, [this](const Target& target) {
        if (target.id == 0) return target.lost > std::min(max_lost_, kUnconfirmedLost);
        const float lost_s = interval_s_ * static_cast<float>(target.lost);
        return target.lost > max_lost_ || (target.head && lost_s > kLongestLost_s);
    });
}

void IouTracker::start_targets() {
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        if (inputs_[i].taken || inputs_[i].object.score < hi_) continue;
        if (targets_.size() == kMaxTargets) return;
        Target target;
        target.place = target.expected = inputs_[i].place;
        target.head = inputs_[i].head;
        target.hits = target.age = 1;
        target.input = static_cast<int>(i);
        targets_.push_back(target);
    }
}

bool IouTracker::is_confirmed(const Target& target) const {
    if (target.hits >= min_hits_) return true;
    return target.head && target.hits >= kLeastHits && target.followed_s >= kConfirm_s;
}

std::vector<ExpectedHead> IouTracker::expected_heads() const {
    std::vector<ExpectedHead> heads;
    for (const Target& target : targets_) {
        if (target.id == 0 || !target.head) continue;
        HeadPlace at = *target.head;
        at.x_mm += target.head_vx * interval_s_;
        at.y_mm += target.head_vy * interval_s_;
        heads.push_back({at, target.unseen_s, target.unfound_s});
    }
    return heads;
}

// Targets are kept in the order they started in; ids are given in the order of confirmation.
void IouTracker::report(IOU_TRK_RSLT_S& result) {
    result.num = 0;
    for (Target& target : targets_) {
        if (target.input < 0) continue;
        if (target.id == 0 && is_confirmed(target)) target.id = next_id_++;
        if (target.id == 0 || result.num == VCA_TRK_MAX) continue;
        IOU_TRK_OBJ_S& out = result.objs[result.num++];
        out = inputs_[static_cast<std::size_t>(target.input)].object;
        out.id = target.id;
    }
    std::sort(result.objs, result.objs + result.num,
              [](const IOU_TRK_OBJ_S& a, const IOU_TRK_OBJ_S& b) { return a.id < b.id; });
}

void IouTracker::update(IOU_TRK_RSLT_S& result, float interval_s) {
    interval_s_ = std::clamp(interval_s, 0.001f, kLongestInterval_s);
    for (Input& input : inputs_)
        input.taken = false;
    predict();
    match_by_overlap(hi_, INFINITY);
    match_by_overlap(lo_, hi_);
    match_by_distance();
    drop_lost();
    start_targets();
    report(result);
}

}  // namespace host
