// Objects against people, counts against crossings.
#include "host/score/site_eval.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/base/share.h"
#include "host/base/text.h"
#include "host/settings/site_map.h"
#include "host/tracker/assignment.h"

namespace host {
namespace {

constexpr double kTallest_m = 2.1;

double distance_m(const SitePoint& a, const SitePoint& b) {
    return std::hypot(a.x_m - b.x_m, a.y_m - b.y_m);
}

std::vector<SitePoint> places_of(const Site& site, const std::vector<MergedTrack>& tracks) {
    std::vector<SitePoint> places;
    for (const MergedTrack& track : tracks)
        places.push_back(of_master(site, track.foot));
    return places;
}

// The nearest person to a place, within reach and seen by some camera; -1 for none.
int nearest_person(const std::vector<SitePerson>& people, const SitePoint& at) {
    int best = -1;
    double least_m = MergeMeter::kReach_m;
    for (std::size_t i = 0; i < people.size(); ++i) {
        const double away_m = distance_m(people[i].at, at);
        if (people[i].cameras == 0 || away_m > least_m) continue;
        least_m = away_m;
        best = static_cast<int>(i);
    }
    return best;
}

std::vector<sim::Point> metres(const std::vector<SitePoint>& points) {
    std::vector<sim::Point> list;
    for (const SitePoint& p : points)
        list.push_back({p.x_m, p.y_m});
    return list;
}

// The filter without an area judges a person's whole way through the site: a rectangle around the
// views of the tallest heads.
std::vector<sim::Point> whole_site(const Site& site) {
    double left = std::numeric_limits<double>::max();
    double top = left;
    double right = std::numeric_limits<double>::lowest();
    double bottom = right;
    for (const SiteDevice& device : site.devices) {
        const double plane_m = std::min(kTallest_m, 0.7 * device.height_mm / 1000.0);
        for (const SitePoint& p : view_outline(device, plane_m)) {
            left = std::min(left, p.x_m);
            top = std::min(top, p.y_m);
            right = std::max(right, p.x_m);
            bottom = std::max(bottom, p.y_m);
        }
    }
    return {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
}

}  // namespace

std::vector<MergedTrack> merged_tracks(const TracksShown& message) {
    std::vector<MergedTrack> tracks;
    for (const ShownTrack& shown : message.tracks) {
        tracks.push_back({shown.track,
                          {shown.x + 0.5 * shown.w, shown.y + 0.5 * shown.h},
                          static_cast<double>(shown.height_mm)});
    }
    return tracks;
}

void count_views(const Site& site, std::vector<SitePerson>& people) {
    for (SitePerson& person : people) {
        person.cameras = static_cast<int>(
            std::count_if(site.devices.begin(), site.devices.end(), [&](const SiteDevice& d) {
                const double head_m = person.height_mm / 1000.0;
                return head_m < d.height_mm / 1000.0 && sees(d, person.at, head_m);
            }));
    }
}

double MergeScore::one_object_share() const {
    return share_of(one_object, person_frames);
}

double MergeScore::duplicate_share() const {
    return share_of(duplicate_frames, person_frames);
}

// The track of each person, as its place in the list; -1 for none. People walk 0.6 m apart:
// somebody who kept the previous frame's object at any price could keep the neighbour's for good.
// So giving one more person an object comes first, keeping it second.
std::vector<int> MergeMeter::assign(const SiteFrame& frame,
                                    const std::vector<SitePoint>& places) const {
    constexpr double kKept_m = 0.3;      // how much farther the previous frame's object may be
    constexpr double kOneMore_m = 10.0;  // beyond what distances can add up to in a crowd
    Assignment pairs;
    pairs.reset(static_cast<int>(frame.people.size()), static_cast<int>(places.size()));
    for (std::size_t i = 0; i < frame.people.size(); ++i) {
        if (frame.people[i].cameras == 0) continue;
        const auto before = track_of_.find(frame.people[i].id);
        for (std::size_t k = 0; k < places.size(); ++k) {
            const double away_m = distance_m(frame.people[i].at, places[k]);
            if (away_m >= kReach_m) continue;
            const bool kept = before != track_of_.end() && before->second == frame.tracks[k].id;
            pairs.set(static_cast<int>(i), static_cast<int>(k),
                      static_cast<float>(kOneMore_m - away_m + (kept ? kKept_m : 0.0)));
        }
    }
    return pairs.solve();
}

void MergeMeter::add_frame(const SiteFrame& frame) {
    const std::vector<SitePoint> places = places_of(site_, frame.tracks);
    const std::vector<int> track_of = assign(frame, places);
    score_.objects += static_cast<std::int64_t>(places.size());
    std::vector<bool> taken(places.size(), false);
    for (const int k : track_of)
        if (k >= 0) taken[static_cast<std::size_t>(k)] = true;

    std::vector<int> more(frame.people.size(), 0);
    for (std::size_t k = 0; k < places.size(); ++k) {
        if (taken[k]) continue;
        const int nearest = nearest_person(frame.people, places[k]);
        if (nearest < 0) {
            ++score_.stray_objects;
            continue;
        }
        const SitePerson& person = frame.people[static_cast<std::size_t>(nearest)];
        ++more[static_cast<std::size_t>(nearest)];
        if (person.cameras >= 2) add_surplus(frame.number, frame.tracks[k].id, person.id);
    }

    track_of_.clear();
    for (std::size_t i = 0; i < frame.people.size(); ++i) {
        const SitePerson& person = frame.people[i];
        const bool found = track_of[i] >= 0;
        if (found) {
            const int id = frame.tracks[static_cast<std::size_t>(track_of[i])].id;
            const auto [last, fresh] = last_track_.try_emplace(person.id, id);
            if (!fresh && last->second != id && person.cameras >= 2) ++score_.id_changes;
            last->second = id;
            track_of_[person.id] = id;
        }
        if (person.cameras < 2) continue;
        Presence& presence = presence_[person.id];
        ++presence.frames;
        presence.found += found ? 1 : 0;
        ++score_.person_frames;
        if (!found)
            ++score_.no_object;
        else if (more[i] == 0)
            ++score_.one_object;
        else
            ++score_.several_objects;
    }
}

// All frames of a second object count once it lives too long.
void MergeMeter::add_surplus(std::int64_t frame, int track, int person) {
    Surplus& run = surplus_[track];
    if (run.length == 0 || run.frame != frame - 1) run = {};
    run.frame = frame;
    ++run.length;
    run.people.insert(person);
    if (run.length <= kLongestDouble) return;
    score_.duplicate_frames += run.length == kLongestDouble + 1 ? run.length : 1;
    for (const int id : run.people)
        presence_[id].doubled = true;
}

MergeScore MergeMeter::score() const {
    MergeScore score = score_;
    for (const auto& [id, presence] : presence_) {
        ++score.people;
        if (!presence.doubled && 2 * presence.found > presence.frames) ++score.people_one_object;
    }
    return score;
}

SiteTruth::SiteTruth(const Site& site) {
    for (const SiteLine& line : site.lines) {
        sim::CountingLine on_floor{line.name, metres(line.points), {}};
        if (line.uturn_filter) {
            on_floor.uturn_area =
                line.uturn_area.empty() ? whole_site(site) : metres(line.uturn_area);
        }
        counters_.emplace_back(std::vector<sim::CountingLine>{on_floor});
        flip_.push_back(line.flip);
    }
}

std::vector<TrueCrossing> SiteTruth::add_frame(const SiteFrame& frame) {
    sim::Frame seen;
    seen.index = frame.number;
    for (const SitePerson& person : frame.people) {
        sim::PersonTruth truth;
        truth.id = person.id;
        truth.x_m = person.at.x_m;
        truth.y_m = person.at.y_m;
        truth.in_view = person.cameras > 0;
        seen.truth.push_back(truth);
    }
    std::vector<TrueCrossing> crossings;
    for (std::size_t i = 0; i < counters_.size(); ++i) {
        for (const sim::Crossing& c : counters_[i].update(seen)) {
            crossings.push_back(
                {static_cast<int>(i), c.person, c.frame, flip_[i] ? 3 - c.direction : c.direction});
        }
    }
    return crossings;
}

LineCounts no_counts(const Site& site, const std::string& who) {
    return {who, std::vector<std::optional<std::array<int, 2>>>(site.lines.size())};
}

LineCounts count_truth(const Site& site, const std::vector<TrueCrossing>& crossings) {
    LineCounts counts = no_counts(site, "true");
    for (auto& line : counts.lines)
        line = std::array<int, 2>{};
    for (const TrueCrossing& c : crossings) {
        ++(*counts.lines.at(static_cast<std::size_t>(c.line)))
              .at(static_cast<std::size_t>(c.direction - 1));
    }
    return counts;
}

RegionMeter region_meter(const Site& site) {
    std::vector<CountingRegion> regions;
    for (const SiteRegion& region : site.regions) {
        regions.push_back({region.name, {}});
        for (const SitePoint& p : region.points)
            regions.back().points.push_back({p.x_m, p.y_m});
    }
    return RegionMeter(std::move(regions));
}

std::vector<TruePerson> people_in_view(const SiteFrame& frame) {
    std::vector<TruePerson> people;
    for (const SitePerson& person : frame.people) {
        TruePerson seen;
        seen.id = person.id;
        seen.place = {person.at.x_m, person.at.y_m};
        seen.in_view = person.cameras > 0;
        people.push_back(seen);
    }
    return people;
}

std::optional<double> count_error(const LineCounts& counts, const LineCounts& truth) {
    int off = 0;
    int all = 0;
    for (std::size_t i = 0; i < truth.lines.size(); ++i) {
        if (i >= counts.lines.size() || !counts.lines[i] || !truth.lines[i]) continue;
        for (std::size_t d = 0; d < 2; ++d) {
            off += std::abs((*counts.lines[i])[d] - (*truth.lines[i])[d]);
            all += (*truth.lines[i])[d];
        }
    }
    if (all == 0) return std::nullopt;
    return static_cast<double>(off) / all;
}

namespace {

std::string region_rows(const Site& site, const std::vector<Occupancy>& regions) {
    if (regions.empty()) return "";
    std::vector<TextColumn> columns{{TextColumn::kLeft, 20, 2}};
    columns.resize(6, {TextColumn::kRight, 10, 0});
    std::string text =
        "\n" + table_row(columns, {"region", "true", "people", "error", "true peak", "peak"});
    for (std::size_t i = 0; i < regions.size(); ++i) {
        const Occupancy& o = regions[i];
        text +=
            table_row(columns, {site.regions[i].name, format_text("%.2f", o.true_mean),
                                format_text("%.2f", o.mean), format_text("%.2f", o.mean_abs_error),
                                std::to_string(o.true_peak), std::to_string(o.peak)});
    }
    return text;
}

std::string plain_region_rows(const Site& site, const std::vector<Occupancy>& regions) {
    if (regions.empty()) return "";
    std::vector<TextColumn> columns{{TextColumn::kLeft, 20, 2}};
    columns.resize(3, {TextColumn::kRight, 10, 0});
    std::string text = "\n" + table_row(columns, {"region", "people", "peak"});
    for (std::size_t i = 0; i < regions.size(); ++i)
        text += table_row(columns, {site.regions[i].name, format_text("%.2f", regions[i].mean),
                                    std::to_string(regions[i].peak)});
    return text;
}

}  // namespace

std::string site_table(const Site& site, const SiteResult& result) {
    constexpr std::size_t kCell = 10;
    std::vector<const LineCounts*> counts{&result.merged};
    if (result.has_truth) counts.insert(counts.begin(), &result.truth);
    for (const LineCounts& alone : result.alone)
        counts.push_back(&alone);
    std::vector<TextColumn> columns{{TextColumn::kLeft, 18, 2}, {TextColumn::kLeft, 2, 0}};
    columns.resize(columns.size() + counts.size(), {TextColumn::kRight, kCell, 0});

    std::vector<std::string> heading{"line, direction", ""};
    for (const LineCounts* who : counts)
        heading.push_back(cut_to(who->who, kCell));
    std::string text = table_row(columns, heading);
    for (std::size_t i = 0; i < site.lines.size(); ++i) {
        for (std::size_t d = 0; d < 2; ++d) {
            std::vector<std::string> cells{d == 0 ? site.lines[i].name : "", std::to_string(d + 1)};
            for (const LineCounts* who : counts) {
                const auto& line = who->lines.at(i);
                cells.push_back(line ? std::to_string((*line)[d]) : kNothing);
            }
            text += table_row(columns, cells);
        }
    }
    if (!result.has_truth) return text + plain_region_rows(site, result.regions);
    std::vector<std::string> errors{"error", "", ""};
    for (std::size_t k = 1; k < counts.size(); ++k) {
        const std::optional<double> error = count_error(*counts[k], result.truth);
        errors.push_back(error ? percent_text(*error, 1) : kNothing);
    }
    text += table_row(columns, errors);
    text += region_rows(site, result.regions);
    const MergeScore& merge = result.merge;
    text += "\n  seen by two cameras or more at once: " + std::to_string(merge.people) +
            " people, " + std::to_string(merge.people_one_object) + " of them one object\n" +
            "  of their " + std::to_string(merge.person_frames) + " appearances on frames " +
            percent_text(merge.one_object_share(), 1) + " were exactly one object, " +
            percent_text(merge.duplicate_share(), 1) + " duplicates of more than " +
            std::to_string(MergeMeter::kLongestDouble) + " frames\n" +
            "  objects near nobody: " + std::to_string(merge.stray_objects) + " of " +
            std::to_string(merge.objects) + " on frames\n";
    return text;
}

}  // namespace host
