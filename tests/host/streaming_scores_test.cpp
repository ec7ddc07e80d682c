// Scores taken while a run goes on against the same figures worked out from everything at the end.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include "host/score/metrics.h"
#include "host/score/stay_meter.h"
#include "host/settings/line_checks.h"
#include "host/tracker/assignment.h"

namespace {

constexpr std::int64_t kMemory = 40;  // frames; nobody is away for longer and comes back
constexpr int kFrames = 6000;
constexpr double kFps = 10.0;

const std::vector<host::CountingRegion> kRegions = {
    {"left", {{0, 0}, {300, 0}, {300, 500}, {0, 500}}},
    {"middle", {{200, 0}, {600, 0}, {600, 500}, {200, 500}}}};

struct Frame {
    std::int64_t number = 0;
    std::vector<host::TruePerson> people;
    std::vector<host::TrackedBox> tracks;
    host::RegionsReported report;
};

// People who wander about for a while and never come back, and tracks that lose them, take up
// somebody else and begin anew.
class Crowd {
  public:
    explicit Crowd(unsigned seed) : random_(seed) {}

    Frame next() {
        Frame frame;
        frame.number = number_;
        number_ += one_in(50) ? 2 : 1;  // some frames were left out
        if (walkers_.size() < 6 && one_in(4)) appear();
        std::erase_if(walkers_, [](const Walker& w) { return w.left <= 0; });
        if (walkers_.size() > 1 && one_in(20)) std::swap(walkers_[0].track, walkers_[1].track);
        for (Walker& walker : walkers_)
            step(walker, frame);
        if (one_in(10)) frame.tracks.push_back({++last_track_, {900, 400, 30, 30}});
        return frame;
    }

  private:
    struct Walker {
        int person = 0;
        int track = 0;
        int x = 0;
        int y = 0;
        int left = 0;           // frames
        int lost = 0;           // frames without its track
        bool out = false;       // the person is away meanwhile
        bool reported = false;  // since it was lost
        std::array<int, 2> stay_ms{};
    };

    bool one_in(int n) { return random_() % static_cast<unsigned>(n) == 0; }
    int up_to(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

    void appear() {
        walkers_.push_back({++last_person_,
                            ++last_track_,
                            60 * up_to(14),
                            60 * up_to(8),
                            20 + up_to(120),
                            0,
                            false,
                            {}});
    }

    void step(Walker& walker, Frame& frame) {
        --walker.left;
        walker.x = std::clamp(walker.x + up_to(61) - 30, 0, 850);
        walker.y = std::clamp(walker.y + up_to(31) - 15, 0, 450);
        const host::PixelBox box{walker.x, walker.y, 60, 60};
        const host::PicturePoint place{walker.x + 30.0, walker.y + 30.0};
        if (walker.reported && one_in(25)) {
            walker.lost = 1 + up_to(static_cast<int>(kMemory) / 2);
            walker.out = one_in(2);
        }
        if (walker.lost == 0 || !walker.out) {
            frame.people.push_back(
                {walker.person, box, 1700.0, !one_in(8), place, !one_in(30), false});
        }
        if (walker.lost > 0) {
            walker.reported = false;
            // Sometimes somebody is found again under a new number.
            if (--walker.lost == 0 && one_in(2)) {
                walker.track = ++last_track_;
                walker.stay_ms = {};
            }
            return;
        }
        frame.tracks.push_back({walker.track, {box.x + up_to(9), box.y + up_to(9), 60, 60}});
        walker.reported = true;
        report(walker, place, frame.report);
    }

    // Late, with moments on the edge, and sometimes for somebody who is not there.
    void report(Walker& walker, const host::PicturePoint& place, host::RegionsReported& report) {
        host::RegionPerson person;
        person.track = walker.track;
        for (std::size_t r = 0; r < kRegions.size(); ++r) {
            const bool inside = host::is_inside(kRegions[r].points, place) != one_in(15);
            if (!inside) walker.stay_ms[r] = 0;
            if (inside && !one_in(6)) walker.stay_ms[r] += 100;
            person.regions[r] = {inside ? 1 : 0, walker.stay_ms[r]};
            report.inside[r] += inside ? 1 : 0;
        }
        report.people.push_back(person);
    }

    std::mt19937 random_;
    std::int64_t number_ = 0;
    int last_person_ = 0;
    int last_track_ = 0;
    std::vector<Walker> walkers_;
};

// ---- Identity scores ----

// Boxes explained by the best one-to-one naming of all tracks of the run at once.
std::int64_t best_naming_of_all(const std::map<std::pair<int, int>, int>& together, int people,
                                int tracks) {
    host::Assignment assignment;
    assignment.reset(people + 1, tracks + 1);
    for (const auto& [pair, frames] : together)
        assignment.set(pair.first, pair.second, static_cast<float>(frames));
    const std::vector<int>& column = assignment.solve();
    std::int64_t matches = 0;
    for (const auto& [pair, frames] : together)
        if (column[static_cast<std::size_t>(pair.first)] == pair.second) matches += frames;
    return matches;
}

class StreamingScores : public ::testing::TestWithParam<unsigned> {};

TEST_P(StreamingScores, IdentitiesEqualOneNamingOfTheWholeRun) {
    Crowd crowd(GetParam());
    host::TrackingMeter meter(kMemory);
    host::TrackingMeter patient(100 * kFrames);
    std::map<std::pair<int, int>, int> together;
    std::map<int, int> last_track;
    int people = 0;
    int tracks = 0;
    std::int64_t switches = 0;
    for (int i = 0; i < kFrames; ++i) {
        const Frame frame = crowd.next();
        const std::map<int, int> match = meter.add_frame(frame.people, frame.tracks);
        ASSERT_EQ(match, patient.add_frame(frame.people, frame.tracks)) << i;
        for (const host::TrackedBox& track : frame.tracks)
            tracks = std::max(tracks, track.id);
        for (const host::TruePerson& person : frame.people) {
            people = std::max(people, person.id);
            const auto found = match.find(person.id);
            if (found == match.end()) continue;
            const auto [last, fresh] = last_track.try_emplace(person.id, found->second);
            if (!fresh && last->second != found->second) ++switches;
            last->second = found->second;
            if (person.clear) ++together[{person.id, found->second}];
        }
    }
    const host::TrackingScore score = meter.score();
    EXPECT_GT(people, 200);
    EXPECT_GT(tracks, 2 * people);
    EXPECT_EQ(score.identity_matches, best_naming_of_all(together, people, tracks));
    EXPECT_EQ(score.switches, switches);
    EXPECT_GT(switches, 100);
    EXPECT_DOUBLE_EQ(score.idf1(), patient.score().idf1());
    EXPECT_DOUBLE_EQ(score.mota(), patient.score().mota());
    EXPECT_LT(score.idf1(), 0.95);
    EXPECT_GT(score.idf1(), 0.3);
}

// ---- Stays ----

// Track, region, first and last frame, time, person, true time in frames (-1: no person).
using Stay = std::tuple<int, int, std::int64_t, std::int64_t, double, int, std::int64_t>;

struct Stays {
    std::multiset<Stay> all;
    int true_long = 0;
    int missed = 0;
};

// Keeps everything and compares at the end.
class PlainStays {
  public:
    void add(const Frame& frame, const std::map<int, int>& track_of_person) {
        for (const host::RegionPerson& person : frame.report.people)
            add_report(frame.number, person);
        for (const host::TruePerson& person : frame.people) {
            const auto found = track_of_person.find(person.id);
            if (found != track_of_person.end()) under_[found->second][frame.number] = person.id;
            if (person.in_view) add_truth(frame.number, person);
        }
        before_ = frame.number;
    }

    Stays stays() const {
        Stays result;
        std::set<const TrueStay*> reported;
        for (const Reported& stay : reported_) {
            const int person = person_during(stay);
            std::int64_t frames = person < 0 ? -1 : 0;
            if (const auto of_person = truth_.find({person, stay.region});
                of_person != truth_.end())
                for (const TrueStay& one : of_person->second) {
                    if (one.first > stay.last || one.last < stay.first) continue;
                    reported.insert(&one);
                    frames += one.frames;
                }
            result.all.insert({stay.track, stay.region, stay.first, stay.last,
                               stay.stay_ms / 1000.0, person, frames});
        }
        for (const auto& [key, stays] : truth_)
            for (const TrueStay& one : stays) {
                if (static_cast<double>(one.frames) < kFps) continue;  // less than a second
                ++result.true_long;
                result.missed += reported.contains(&one) ? 0 : 1;
            }
        return result;
    }

  private:
    struct Reported {
        int track, region;
        std::int64_t first, last;
        int stay_ms;
    };
    struct TrueStay {
        std::int64_t first, last, frames;
    };

    void add_report(std::int64_t frame, const host::RegionPerson& person) {
        for (int r = 0; r < static_cast<int>(kRegions.size()); ++r) {
            const host::RegionState& state = person.regions[static_cast<std::size_t>(r)];
            auto open = open_.find({person.track, r});
            if (open != open_.end() &&
                (state.inside == 0 || state.stay_ms < reported_[open->second].stay_ms)) {
                open_.erase(open);
                open = open_.end();
            }
            if (state.inside == 0) continue;
            if (open == open_.end()) {
                open = open_.emplace(std::pair{person.track, r}, reported_.size()).first;
                reported_.push_back({person.track, r, frame, frame, 0});
            }
            reported_[open->second].last = frame;
            reported_[open->second].stay_ms = state.stay_ms;
        }
    }

    void add_truth(std::int64_t frame, const host::TruePerson& person) {
        for (int r = 0; r < static_cast<int>(kRegions.size()); ++r) {
            if (!host::is_inside(kRegions[static_cast<std::size_t>(r)].points, person.place))
                continue;
            std::vector<TrueStay>& stays = truth_[{person.id, r}];
            if (stays.empty() || stays.back().last != before_) stays.push_back({frame, frame, 0});
            stays.back().last = frame;
            ++stays.back().frames;
        }
    }

    // Who was under the track in most frames; of equal ones the one with the lower number.
    int person_during(const Reported& stay) const {
        std::map<int, int> frames;
        if (const auto track = under_.find(stay.track); track != under_.end())
            for (const auto& [frame, person] : track->second)
                if (frame >= stay.first && frame <= stay.last) ++frames[person];
        int best = -1;
        for (const auto& [person, count] : frames)
            if (best < 0 || count > frames.at(best)) best = person;
        return best;
    }

    std::int64_t before_ = -1;
    std::vector<Reported> reported_;
    std::map<std::pair<int, int>, std::size_t> open_;
    std::map<std::pair<int, int>, std::vector<TrueStay>> truth_;
    std::map<int, std::map<std::int64_t, int>> under_;  // person by track and frame
};

void take(const std::vector<host::RegionStay>& settled, Stays& stays) {
    for (const host::RegionStay& stay : settled)
        stays.all.insert({stay.track, stay.region, stay.first_frame, stay.last_frame, stay.stay_s,
                          stay.person.value_or(-1),
                          stay.true_stay_s ? std::llround(*stay.true_stay_s * kFps) : -1});
}

TEST_P(StreamingScores, StaysEqualThoseOfThePlainComparison) {
    Crowd crowd(GetParam());
    host::TrackingMeter tracking(kMemory);
    host::Identities identities(2 * kMemory);
    host::StayMeter meter(kRegions, kFps, true, kMemory);
    PlainStays plain;
    Stays streamed;
    for (int i = 0; i < kFrames; ++i) {
        const Frame frame = crowd.next();
        const std::map<int, int> match = tracking.add_frame(frame.people, frame.tracks);
        meter.add_report(frame.number, static_cast<double>(frame.number) / kFps, frame.report);
        identities.add_frame(frame.number, match, frame.people);
        meter.add_frame(frame.number, frame.people, identities);
        plain.add(frame, match);
        take(meter.take_settled(), streamed);
    }
    const Stays expected = plain.stays();
    EXPECT_GT(streamed.all.size() * 20, expected.all.size() * 19);  // settled before the end
    take(meter.take_settled(true), streamed);
    EXPECT_GT(expected.all.size(), 500u);
    EXPECT_EQ(streamed.all, expected.all);
    EXPECT_GT(expected.true_long, 100);
    EXPECT_GT(expected.missed, 0);
    EXPECT_EQ(meter.true_long_stays(), expected.true_long);
    EXPECT_EQ(meter.true_long_stays_missed(), expected.missed);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StreamingScores, ::testing::Values(1u, 2u, 3u, 4u, 5u));

}  // namespace
