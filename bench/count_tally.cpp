#include "bench/count_tally.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <tuple>
#include <utility>
#include <variant>

namespace {

constexpr double kWindow_s = 3.0;
// Who stands on a line in a jam passes it, by the truth's measure, long before or after the library
// settles on it.
constexpr double kSamePersonWindow_s = 15.0;
constexpr double kOtherPerson_s = 15.0;  // another person costs as much as this difference in time
constexpr std::int64_t kMemory_frames = 1500;

struct Pair {
    double cost_s = 0.0;
    size_t truth = 0;
    size_t counted = 0;
};

bool same_person(const Passage& truth, const Passage& counted) {
    return counted.person == truth.person;
}

std::vector<Pair> pairs_of(const std::vector<Passage>& truth, const std::vector<Passage>& counted) {
    std::vector<Pair> pairs;
    for (size_t t = 0; t < truth.size(); ++t) {
        for (size_t c = 0; c < counted.size(); ++c) {
            if (truth[t].line != counted[c].line || truth[t].direction != counted[c].direction)
                continue;
            const double apart_s = std::abs(truth[t].time_s - counted[c].time_s);
            const bool same = same_person(truth[t], counted[c]);
            if (apart_s > (same ? kSamePersonWindow_s : kWindow_s)) continue;
            pairs.push_back({apart_s + (same ? 0.0 : kOtherPerson_s), t, c});
        }
    }
    std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) {
        return std::tuple(a.cost_s, a.truth, a.counted) < std::tuple(b.cost_s, b.truth, b.counted);
    });
    return pairs;
}

// The person crossed the line, but never in this direction.
bool is_backwards(const Passage& extra, const std::vector<Passage>& truth) {
    bool other_way = false;
    for (const Passage& t : truth) {
        if (!same_person(t, extra) || t.line != extra.line) continue;
        if (t.direction == extra.direction) return false;
        other_way = true;
    }
    return other_way;
}

std::string case_text(const char* what, const Passage& passage) {
    char text[160];
    std::snprintf(text, sizeof text, "%s line %d direction %d at %.2f s person %d track %d", what,
                  passage.line, passage.direction, passage.time_s, passage.person.value_or(-1),
                  passage.track);
    return text;
}

bool overlaps_anybody(const host::PixelBox& box, const std::vector<host::TruePerson>& people) {
    return std::any_of(people.begin(), people.end(), [&](const host::TruePerson& person) {
        return host::box_overlap(box, person.box) > 0.1;
    });
}

}  // namespace

void CountTally::add(const CountTally& other) {
    truth += other.truth;
    missed += other.missed;
    extra += other.extra;
    backwards += other.backwards;
    switches += other.switches;
    gap_frames += other.gap_frames;
    tracked_frames += other.tracked_frames;
    false_boxes += other.false_boxes;
}

CountTally compare_passages(const std::vector<Passage>& truth, const std::vector<Passage>& counted,
                            std::vector<std::string>& cases) {
    std::vector<char> truth_used(truth.size());
    std::vector<char> counted_used(counted.size());
    for (const Pair& pair : pairs_of(truth, counted)) {
        if (truth_used[pair.truth] || counted_used[pair.counted]) continue;
        truth_used[pair.truth] = counted_used[pair.counted] = 1;
    }
    CountTally tally;
    tally.truth = static_cast<std::int64_t>(truth.size());
    for (size_t t = 0; t < truth.size(); ++t) {
        if (truth_used[t]) continue;
        ++tally.missed;
        cases.push_back(case_text("missed", truth[t]));
    }
    for (size_t c = 0; c < counted.size(); ++c) {
        if (counted_used[c]) continue;
        const bool backwards = is_backwards(counted[c], truth);
        ++tally.extra;
        tally.backwards += backwards ? 1 : 0;
        cases.push_back(case_text(backwards ? "backwards" : "extra", counted[c]));
    }
    return tally;
}

TallySink::TallySink(double frames_per_second, double from_s)
    : from_s_(from_s),
      tracking_(static_cast<std::int64_t>(60.0 * frames_per_second)),
      identities_(kMemory_frames) {}

void TallySink::on_frame(const host::FrameView& frame) {
    people_ = frame.people;
    if (frame.time_s < from_s_) return;
    for (const host::TrueCrossing& c : frame.crossings)
        truth_.push_back({c.line, c.direction, frame.time_s, c.person, 0});
}

void TallySink::on_event(const host::Event& event) {
    if (std::holds_alternative<host::PersonCounted>(event.payload)) counted_now_.push_back(event);
}

void TallySink::end_frame(const host::PassReport& report) {
    if (!report.blank) {
        identities_.add_frame(report.number, tracking_.add_frame(people_, report.tracks), people_);
        for (const host::TrackedBox& track : report.tracks) {
            Seen& seen = seen_.try_emplace(track.id, Seen{report.number, 0, 0}).first->second;
            seen.last = report.number;
            ++seen.frames;
        }
        count_false_boxes(report);
    }
    for (const host::Event& event : std::exchange(counted_now_, {})) {
        if (event.time_s < from_s_) continue;
        const auto& counted = std::get<host::PersonCounted>(event.payload);
        counted_.push_back({counted.line, counted.direction, event.time_s,
                            identities_.person_of(counted.track), counted.track});
    }
}

void TallySink::count_false_boxes(const host::PassReport& report) {
    for (const host::TrackedBox& track : report.tracks)
        false_boxes_ += overlaps_anybody(track.box, people_) ? 0 : 1;
}

CountTally TallySink::tally(std::vector<std::string>& cases) const {
    CountTally tally = compare_passages(truth_, counted_, cases);
    tally.switches = tracking_.score().switches;
    tally.false_boxes = false_boxes_;
    for (const auto& [track, seen] : seen_) {
        tally.tracked_frames += seen.last - seen.first + 1;
        tally.gap_frames += seen.last - seen.first + 1 - seen.frames;
    }
    return tally;
}
