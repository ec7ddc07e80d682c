// Opening, closing and settling of stays.
#include "host/score/stay_meter.h"

#include <algorithm>
#include <utility>

#include "host/settings/line_checks.h"

namespace host {
namespace {

constexpr double kLongStay_s = 1.0;

}  // namespace

StayMeter::StayMeter(std::vector<CountingRegion> regions, double frames_per_second, bool has_truth,
                     std::int64_t memory_frames)
    : regions_(std::move(regions)),
      frames_per_second_(frames_per_second),
      has_truth_(has_truth),
      memory_frames_(memory_frames) {}

RegionArray StayMeter::add_report(std::int64_t frame, double time_s,
                                  const RegionsReported& report) {
    RegionArray running{};
    for (const RegionPerson& person : report.people)
        add_person(frame, time_s, person, running);
    return running;
}

// A track that is not reported for a while may come back with its stay going on, so only a report
// of being outside ends a stay, or one of a shorter time.
void StayMeter::add_person(std::int64_t frame, double time_s, const RegionPerson& person,
                           RegionArray& running) {
    for (int region = 0; region < VCA_RGN_NUM; ++region) {
        const RegionState& state = person.regions[static_cast<std::size_t>(region)];
        const Key key{person.track, region};
        auto open = open_.find(key);
        if (open != open_.end() && (state.inside == 0 || state.stay_ms < open->second.stay_ms)) {
            close(open->second);
            open_.erase(open);
            open = open_.end();
        }
        if (state.inside == 0) continue;
        if (open == open_.end()) {
            open = open_.emplace(key, OpenStay{}).first;
            open->second.stay = {person.track, region, frame, frame, time_s, 0.0, {}, {}};
        }
        OpenStay& stay = open->second;
        if (state.stay_ms > stay.stay_ms) ++running[static_cast<std::size_t>(region)];
        stay.stay_ms = state.stay_ms;
        stay.seen_frame = frame;
        stay.stay.last_frame = frame;
        stay.stay.stay_s = state.stay_ms / 1000.0;
        for (const auto& [id, frames] : stay.people_since)
            stay.people[id] += frames;
        stay.people_since.clear();
    }
}

void StayMeter::add_frame(std::int64_t frame, const std::vector<TruePerson>& people,
                          const Identities& identities) {
    if (has_truth_) {
        frame_before_ = std::exchange(frame_, frame);
        note_people(identities);
        note_true_stays(frame, people);
    }
    close_forgotten(frame);
    settle(false);
}

// The people of a stay are those under the track up to the last frame in which it was inside.
void StayMeter::note_people(const Identities& identities) {
    for (auto& [key, open] : open_) {
        const std::optional<int> person = identities.person_now(key.first);
        if (!person) continue;
        ++(open.stay.last_frame == frame_ ? open.people : open.people_since)[*person];
    }
}

void StayMeter::note_true_stays(std::int64_t frame, const std::vector<TruePerson>& people) {
    for (const TruePerson& person : people) {
        if (!person.in_view) continue;
        for (std::size_t r = 0; r < regions_.size(); ++r) {
            if (!is_inside(regions_[r].points, person.place)) continue;
            std::deque<TrueStay>& stays = true_stays_[{person.id, static_cast<int>(r)}];
            if (stays.empty() || stays.back().last_frame != frame_before_) {
                stays.push_back({frame, frame, 0, false});
            }
            stays.back().last_frame = frame;
            ++stays.back().frames;
        }
    }
}

void StayMeter::close(const OpenStay& open) {
    RegionStay stay = open.stay;
    stay.person = most_frequent(open.people);
    closed_.push_back(stay);
}

void StayMeter::close_forgotten(std::int64_t frame) {
    std::erase_if(open_, [&](const auto& entry) {
        if (entry.second.seen_frame + memory_frames_ >= frame) return false;
        close(entry.second);
        return true;
    });
}

void StayMeter::settle(bool all) {
    std::vector<RegionStay> waiting;
    for (RegionStay& stay : closed_)
        (try_settle(stay, all) ? settled_ : waiting).push_back(stay);
    closed_ = std::move(waiting);
    settle_true_stays(all);
}

// Not while the person is still there.
bool StayMeter::try_settle(RegionStay& stay, bool all) {
    if (!stay.person) return true;
    const auto of_person = true_stays_.find({*stay.person, stay.region});
    std::int64_t frames = 0;
    if (of_person != true_stays_.end()) {
        for (TrueStay& one : of_person->second) {
            if (!one.overlaps(stay)) continue;
            if (!all && one.last_frame == frame_) return false;
            one.reported = true;
            frames += one.frames;
        }
    }
    stay.true_stay_s = static_cast<double>(frames) / frames_per_second_;
    return true;
}

// The first frame of the stays in a region that may still turn out to be somebody's.
std::int64_t StayMeter::earliest_unsettled(int region) const {
    std::int64_t earliest = INT64_MAX;
    for (const auto& [key, open] : open_) {
        if (key.second == region) earliest = std::min(earliest, open.stay.first_frame);
    }
    for (const RegionStay& stay : closed_) {
        if (stay.region == region) earliest = std::min(earliest, stay.first_frame);
    }
    return earliest;
}

void StayMeter::settle_true_stays(bool all) {
    std::vector<std::int64_t> earliest;
    for (std::size_t r = 0; r < regions_.size(); ++r)
        earliest.push_back(earliest_unsettled(static_cast<int>(r)));
    for (auto& [key, stays] : true_stays_) {
        const std::int64_t first = earliest[static_cast<std::size_t>(key.second)];
        std::erase_if(stays, [&](const TrueStay& stay) {
            const bool over = stay.last_frame < frame_ && stay.last_frame < first;
            if (!all && !over) return false;
            if (static_cast<double>(stay.frames) / frames_per_second_ < kLongStay_s) return true;
            ++true_long_stays_;
            if (!stay.reported) ++true_long_stays_missed_;
            return true;
        });
    }
    std::erase_if(true_stays_, [](const auto& entry) { return entry.second.empty(); });
}

std::vector<RegionStay> StayMeter::take_settled(bool all) {
    if (all) {
        for (const auto& [key, open] : open_)
            close(open);
        open_.clear();
        settle(true);
    }
    return std::exchange(settled_, {});
}

}  // namespace host
