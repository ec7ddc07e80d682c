// Comparison of what the analysis said about places with the truth of the frames.
#include "host/score/region_stats.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <stdexcept>

#include "host/report/run_result.h"
#include "host/settings/line_checks.h"

namespace host {
namespace {

constexpr double kLongStay_s = 1.0;
constexpr double kShownLongEnough_s = 2.0;

// Cells of the heat map that one contribution reaches, away from the border: those within 4 of the
// middle.
constexpr int kHeatRadius = 4;

int cells_of_contribution() {
    int cells = 0;
    for (int y = -kHeatRadius; y <= kHeatRadius; ++y)
        for (int x = -kHeatRadius; x <= kHeatRadius; ++x)
            cells += x * x + y * y <= kHeatRadius * kHeatRadius ? 1 : 0;
    return cells;
}

double share(int part, int whole) {
    return whole == 0 ? 1.0 : static_cast<double>(part) / whole;
}

// A person's uninterrupted time in a region.
struct TrueStay {
    std::int64_t first_frame = 0;
    std::int64_t last_frame = 0;
    std::int64_t frames = 0;

    bool overlaps(const RegionStay& stay) const {
        return first_frame <= stay.last_frame && last_frame >= stay.first_frame;
    }
};

// By person and region, in the order of time.
using TrueStays = std::map<std::pair<int, int>, std::vector<TrueStay>>;

struct Truth {
    TrueStays stays;
    std::map<std::int64_t, std::vector<int>> people;  // of each region, by frame
    double view_frames = 0.0;                         // times people in view
};

Truth true_regions(const RunResult& result) {
    Truth truth;
    std::map<std::pair<int, int>, std::size_t> last_seen;  // index of the frame
    const int regions = static_cast<int>(result.regions.size());
    for (std::size_t i = 0; i < result.frames.size(); ++i) {
        const FrameRecord& frame = result.frames[i];
        if (frame.blank) continue;
        std::vector<int>& people = truth.people[frame.number];
        people.assign(result.regions.size(), 0);
        for (const TruePerson& person : frame.people) {
            if (!person.in_view) continue;
            truth.view_frames += 1.0;
            for (int r = 0; r < regions; ++r) {
                const auto at = static_cast<std::size_t>(r);
                if (!is_inside(result.regions[at].points, person.place)) continue;
                ++people[at];
                const auto key = std::pair{person.id, r};
                std::vector<TrueStay>& stays = truth.stays[key];
                const auto last = last_seen.find(key);
                if (last == last_seen.end() || last->second + 1 != i) {
                    stays.push_back({frame.number, frame.number, 0});
                }
                stays.back().last_frame = frame.number;
                ++stays.back().frames;
                last_seen[key] = i;
            }
        }
    }
    return truth;
}

// Counts by frame; a frame without a report has nobody.
std::map<std::int64_t, RegionCount> counts_by_frame(const RunResult& result) {
    std::map<std::int64_t, RegionCount> counts;
    for (const RegionCount& count : result.region_log.counts())
        counts[count.frame] = count;
    return counts;
}

// Sums over the frames of one second.
struct SecondSum {
    int frames = 0;
    std::vector<double> people;
    std::vector<double> inside;
    std::vector<double> true_people;
};

void measure_occupancy(const RunResult& result, const Truth& truth, RegionStats& stats) {
    const std::size_t regions = result.regions.size();
    stats.regions.assign(regions, {});
    const auto counts = counts_by_frame(result);
    std::map<std::int64_t, SecondSum> seconds;
    double frames = 0.0;
    for (const FrameRecord& frame : result.frames) {
        if (frame.blank) continue;
        frames += 1.0;
        const auto found = counts.find(frame.number);
        const std::vector<int>& true_people = truth.people.at(frame.number);
        SecondSum& second = seconds[static_cast<std::int64_t>(std::floor(frame.time_s))];
        ++second.frames;
        second.people.resize(regions);
        second.inside.resize(regions);
        second.true_people.resize(regions);
        for (std::size_t r = 0; r < regions; ++r) {
            const int people = found == counts.end() ? 0 : found->second.people[r];
            const int inside = found == counts.end() ? 0 : found->second.inside[r];
            Occupancy& o = stats.regions[r];
            o.mean += people;
            o.peak = std::max(o.peak, people);
            o.true_mean += true_people[r];
            o.true_peak = std::max(o.true_peak, true_people[r]);
            o.mean_abs_error += std::abs(people - true_people[r]);
            o.inside_mean += inside;
            o.inside_abs_error += std::abs(inside - true_people[r]);
            second.people[r] += people;
            second.inside[r] += inside;
            second.true_people[r] += true_people[r];
        }
    }
    for (Occupancy& o : stats.regions) {
        if (frames == 0.0) continue;
        o.mean /= frames;
        o.true_mean /= frames;
        o.mean_abs_error /= frames;
        o.inside_mean /= frames;
        o.inside_abs_error /= frames;
    }
    for (const auto& [number, sum] : seconds)
        for (std::size_t r = 0; r < regions; ++r)
            stats.seconds.push_back({number, static_cast<int>(r), sum.people[r] / sum.frames,
                                     sum.inside[r] / sum.frames, sum.true_people[r] / sum.frames});
}

// A reported stay may bridge moments on the region's edge that part the true one, so it is compared
// with all true stays of the person that it overlaps.
void compare_stays(const RunResult& result, const Truth& truth, const Identities& identities,
                   RegionStats& stats) {
    std::map<std::pair<int, int>, std::vector<bool>> reported;
    for (const auto& [key, stays] : truth.stays)
        reported[key].assign(stays.size(), false);
    for (RegionStay& stay : stats.stays) {
        stay.person = identities.person_during(stay.track, stay.first_frame, stay.last_frame);
        if (!stay.person) continue;
        const auto of_person = truth.stays.find({*stay.person, stay.region});
        double true_s = 0.0;
        if (of_person != truth.stays.end()) {
            for (std::size_t i = 0; i < of_person->second.size(); ++i) {
                const TrueStay& one = of_person->second[i];
                if (!one.overlaps(stay)) continue;
                reported[of_person->first][i] = true;
                true_s += static_cast<double>(one.frames) / result.source.frames_per_second;
            }
        }
        stay.true_stay_s = true_s;
        stats.stay_errors_s.push_back(stay.stay_s - true_s);
        stats.stay_error_sizes_s.push_back(std::abs(stay.stay_s - true_s));
    }
    for (const auto& [key, stays] : truth.stays) {
        for (std::size_t i = 0; i < stays.size(); ++i) {
            const double time_s =
                static_cast<double>(stays[i].frames) / result.source.frames_per_second;
            if (time_s < kLongStay_s) continue;
            ++stats.true_long_stays;
            if (!reported.at(key)[i]) ++stats.true_long_stays_missed;
        }
    }
}

StaffScore score_staff(const RunResult& result, const Identities& identities) {
    StaffScore score;
    for (const auto& [id, track] : result.shown_tracks) {
        if (track.last_s - track.first_s < kShownLongEnough_s) continue;
        const std::optional<int> person = identities.person_during(id, 0, INT64_MAX);
        if (!person) continue;
        const bool truth = identities.staff(*person);
        if (track.staff) {
            ++(truth ? score.right_staff : score.wrong_staff);
        } else {
            ++(truth ? score.missed : score.right_others);
        }
    }
    return score;
}

// A field of a CSV file: in quotes when it holds what parts fields.
std::string csv_text(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

void finish(std::ofstream& out, const std::string& path) {
    out.close();
    if (!out) throw std::runtime_error("cannot write \"" + path + "\"");
}

// Reports name regions by number; those beyond the configured ones have none.
std::string region_name(const RunResult& result, int region) {
    const auto at = static_cast<std::size_t>(region);
    return at < result.regions.size() ? csv_text(result.regions[at].name) : "";
}

}  // namespace

void Identities::add_frame(std::int64_t frame, const std::map<int, int>& track_of_person,
                           const std::vector<TruePerson>& people) {
    for (const TruePerson& person : people) {
        traits_[person.id] = {person.height_mm, person.staff};
        const auto found = track_of_person.find(person.id);
        if (found != track_of_person.end()) on_[found->second][frame] = person.id;
    }
}

std::optional<int> Identities::person_of(int track, std::int64_t frame) const {
    const auto found = on_.find(track);
    if (found == on_.end()) return std::nullopt;
    const auto after = found->second.upper_bound(frame);
    if (after == found->second.begin()) return std::nullopt;
    return std::prev(after)->second;
}

std::optional<int> Identities::person_during(int track, std::int64_t first,
                                             std::int64_t last) const {
    const auto found = on_.find(track);
    if (found == on_.end()) return std::nullopt;
    std::map<int, int> frames;
    const auto end = found->second.upper_bound(last);
    for (auto at = found->second.lower_bound(first); at != end; ++at)
        ++frames[at->second];
    const auto most =
        std::max_element(frames.begin(), frames.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most == frames.end()) return std::nullopt;
    return most->first;
}

bool Identities::any_staff() const {
    return std::any_of(traits_.begin(), traits_.end(),
                       [](const auto& entry) { return entry.second.staff; });
}

double StaffScore::precision() const {
    return share(right_staff, right_staff + wrong_staff);
}

double StaffScore::recall() const {
    return share(right_staff, right_staff + missed);
}

double StaffScore::accuracy() const {
    return share(right_staff + right_others, tracks());
}

RegionStats measure_regions(const RunResult& result, const Identities& identities) {
    RegionStats stats;
    const Truth truth = true_regions(result);
    measure_occupancy(result, truth, stats);
    stats.stays = result.region_log.stays();
    for (const RegionStay& stay : stats.stays) {
        const auto at = static_cast<std::size_t>(stay.region);
        if (at < stats.regions.size()) ++stats.regions[at].stays;
    }
    if (!result.source.has_truth) return stats;
    compare_stays(result, truth, identities, stats);
    stats.true_view_s = truth.view_frames / result.source.frames_per_second;
    if (identities.any_staff()) stats.staff = score_staff(result, identities);
    return stats;
}

double mean_of_regions(const RegionStats& stats, double Occupancy::*figure) {
    double sum = 0.0;
    for (const Occupancy& o : stats.regions)
        sum += o.*figure;
    return stats.regions.empty() ? 0.0 : sum / static_cast<double>(stats.regions.size());
}

double heat_seconds(const HeatMapReported& heat) {
    const std::int64_t sum_ms =
        std::accumulate(heat.dwell_ms.begin(), heat.dwell_ms.end(), std::int64_t{0});
    return static_cast<double>(sum_ms) / cells_of_contribution() / 1000.0;
}

void write_regions_csv(const RunResult& result, const std::string& path) {
    std::ofstream out(path);
    out << "second,region,people,inside,true_people\n";
    for (const RegionSecond& second : result.region_stats.seconds) {
        out << second.second << ',' << region_name(result, second.region) << ',' << second.people
            << ',' << second.inside << ',';
        if (result.source.has_truth) out << second.true_people;
        out << '\n';
    }
    finish(out, path);
}

void write_stays_csv(const RunResult& result, const std::string& path) {
    std::ofstream out(path);
    out << "track,region,entered_s,stay_s,person,true_stay_s\n";
    for (const RegionStay& stay : result.region_stats.stays) {
        out << stay.track << ',' << region_name(result, stay.region) << ',' << stay.entered_s << ','
            << stay.stay_s << ',';
        if (stay.person) out << *stay.person;
        out << ',';
        if (stay.true_stay_s) out << *stay.true_stay_s;
        out << '\n';
    }
    finish(out, path);
}

}  // namespace host
