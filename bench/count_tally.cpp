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
// settles on it, so the same person's passages are one however far apart they are. Another person
// costs as much as this difference in time.
constexpr double kOtherPerson_s = 15.0;
// Past a line, the library asks for a third of a box: at least 0.15 m.
constexpr double kSway_m = 0.15;
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
            if (!same && apart_s > kWindow_s) continue;
            pairs.push_back(
                {same ? std::min(apart_s, kOtherPerson_s) : apart_s + kOtherPerson_s, t, c});
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

std::vector<sim::CountingLine> on_floor(const TallySetup& setup) {
    std::vector<sim::CountingLine> lines;
    for (const host::CountingLine& line : setup.lines) {
        sim::CountingLine& floor = lines.emplace_back();
        for (const host::PicturePoint& p : line.points)
            floor.points.push_back({p.x * setup.m_per_px, p.y * setup.m_per_px});
    }
    return lines;
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

// Takes away the touch that explains an extra count.
bool take_touch(const Passage& extra, std::vector<Passage>& touches) {
    const auto touch = std::find_if(touches.begin(), touches.end(), [&](const Passage& each) {
        return each.line == extra.line && each.direction == extra.direction &&
               same_person(each, extra) && std::abs(each.time_s - extra.time_s) <= kWindow_s;
    });
    if (touch == touches.end()) return false;
    touches.erase(touch);
    return true;
}

}  // namespace

void CountTally::add(const CountTally& other) {
    truth += other.truth;
    missed += other.missed;
    extra += other.extra;
    swaying += other.swaying;
    backwards += other.backwards;
    switches += other.switches;
    gap_frames += other.gap_frames;
    tracked_frames += other.tracked_frames;
    false_boxes += other.false_boxes;
}

CountTally compare_passages(const std::vector<Passage>& truth, const std::vector<Passage>& counted,
                            std::vector<Passage> touches, double from_s,
                            std::vector<std::string>& cases) {
    std::vector<char> truth_used(truth.size());
    std::vector<char> counted_used(counted.size());
    for (const Pair& pair : pairs_of(truth, counted)) {
        if (truth_used[pair.truth] || counted_used[pair.counted]) continue;
        truth_used[pair.truth] = counted_used[pair.counted] = 1;
    }
    CountTally tally;
    const auto early = [from_s](const Passage& passage) { return passage.time_s < from_s; };
    for (size_t t = 0; t < truth.size(); ++t) {
        if (early(truth[t])) continue;
        ++tally.truth;
        if (truth_used[t]) continue;
        ++tally.missed;
        cases.push_back(case_text("missed", truth[t]));
    }
    for (size_t c = 0; c < counted.size(); ++c) {
        if (counted_used[c] || early(counted[c])) continue;
        const bool swaying = take_touch(counted[c], touches);
        const bool backwards = !swaying && is_backwards(counted[c], truth);
        ++tally.extra;
        tally.swaying += swaying ? 1 : 0;
        tally.backwards += backwards ? 1 : 0;
        const char* const what = swaying ? "swaying" : backwards ? "backwards" : "extra";
        cases.push_back(case_text(what, counted[c]));
    }
    return tally;
}

TallySetup tally_setup(const host::RunPlan& plan, double from_s) {
    const host::SourceInfo& info = plan.source->info();
    // The colour picture has twice the columns of the depth image.
    return {info.frames_per_second, from_s, plan.lines,
            info.camera.height_mm.value_or(0.0) / 1000.0 / (2.0 * info.camera.fx)};
}

TallySink::TallySink(const TallySetup& setup)
    : setup_(setup),
      sway_(on_floor(setup), kSway_m),
      tracking_(static_cast<std::int64_t>(60.0 * setup.frames_per_second)),
      identities_(kMemory_frames) {}

void TallySink::on_frame(const host::FrameView& frame) {
    people_ = frame.people;
    for (const host::TrueCrossing& c : frame.crossings)
        truth_.push_back({c.line, c.direction, frame.time_s, c.person, 0});
    sim::Frame places;
    places.index = frame.number;
    for (const host::TruePerson& person : people_) {
        sim::PersonTruth truth;
        truth.id = person.id;
        truth.x_m = person.place.x * setup_.m_per_px;
        truth.y_m = person.place.y * setup_.m_per_px;
        truth.in_view = person.in_view;
        places.truth.push_back(truth);
    }
    for (const sim::Crossing& touch : sway_.update(places)) {
        const bool flip = setup_.lines[touch.line].flip;
        touches_.push_back({static_cast<int>(touch.line),
                            flip ? 3 - touch.direction : touch.direction, frame.time_s,
                            touch.person, 0});
    }
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
    CountTally tally = compare_passages(truth_, counted_, touches_, setup_.from_s, cases);
    tally.switches = tracking_.score().switches;
    tally.false_boxes = false_boxes_;
    for (const auto& [track, seen] : seen_) {
        tally.tracked_frames += seen.last - seen.first + 1;
        tally.gap_frames += seen.last - seen.first + 1 - seen.frames;
    }
    return tally;
}
