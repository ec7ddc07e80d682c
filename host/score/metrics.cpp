// Matching of boxes to people and the scores computed from it.
#include "host/score/metrics.h"

#include <algorithm>
#include <set>

#include "host/base/overlap.h"
#include "host/base/share.h"
#include "host/tracker/assignment.h"

namespace host {
namespace {

constexpr int kNone = -1;
constexpr double kExcuseIou = 0.2;  // a box overlapping a hidden person this much is not false

// For each person the index of the box matched, kNone for none: overlaps of at least kMatchIou,
// largest total overlap. `fixed` pairs of person and box index are kept as they are. Clear people
// come first: one who is not clear only gets a box that no clear person wants.
std::vector<int> match_boxes(const std::vector<TruePerson>& people,
                             const std::vector<PixelBox>& boxes, std::vector<int> fixed) {
    std::vector<bool> taken(boxes.size(), false);
    for (const int box : fixed) {
        if (box != kNone) taken[static_cast<std::size_t>(box)] = true;
    }
    Assignment assignment;
    for (const bool clear : {true, false}) {
        assignment.reset(static_cast<int>(people.size()), static_cast<int>(boxes.size()));
        for (std::size_t p = 0; p < people.size(); ++p) {
            if (people[p].clear != clear || fixed[p] != kNone) continue;
            for (std::size_t b = 0; b < boxes.size(); ++b) {
                const double iou = taken[b] ? 0.0 : box_overlap(people[p].box, boxes[b]);
                if (iou >= kMatchIou) {
                    assignment.set(static_cast<int>(p), static_cast<int>(b),
                                   static_cast<float>(iou));
                }
            }
        }
        const std::vector<int>& column = assignment.solve();
        for (std::size_t p = 0; p < people.size(); ++p) {
            if (column[p] < 0) continue;
            fixed[p] = column[p];
            taken[static_cast<std::size_t>(column[p])] = true;
        }
    }
    return fixed;
}

// Boxes that are neither matched to a person nor lie on somebody who need not be found.
std::int64_t count_false(const std::vector<TruePerson>& people, const std::vector<PixelBox>& boxes,
                         const std::vector<int>& box_of_person) {
    std::int64_t count = 0;
    for (std::size_t b = 0; b < boxes.size(); ++b) {
        const bool used = std::find(box_of_person.begin(), box_of_person.end(),
                                    static_cast<int>(b)) != box_of_person.end();
        const bool excused =
            std::any_of(people.begin(), people.end(), [&](const TruePerson& person) {
                return !person.clear && box_overlap(person.box, boxes[b]) >= kExcuseIou;
            });
        if (!used && !excused) ++count;
    }
    return count;
}

// Boxes explained by the best one-to-one naming of tracks: pairs of person and track and the frames
// that they were matched.
std::int64_t best_naming(const std::map<std::pair<int, int>, std::int64_t>& together) {
    std::map<int, int> row_of_person;
    std::map<int, int> column_of_track;
    for (const auto& [pair, frames] : together) {
        row_of_person.try_emplace(pair.first, static_cast<int>(row_of_person.size()));
        column_of_track.try_emplace(pair.second, static_cast<int>(column_of_track.size()));
    }
    Assignment assignment;
    assignment.reset(static_cast<int>(row_of_person.size()),
                     static_cast<int>(column_of_track.size()));
    for (const auto& [pair, frames] : together) {
        assignment.set(row_of_person.at(pair.first), column_of_track.at(pair.second),
                       static_cast<float>(frames));
    }
    const std::vector<int>& column = assignment.solve();
    std::int64_t matches = 0;
    for (const auto& [pair, frames] : together) {
        if (column[static_cast<std::size_t>(row_of_person.at(pair.first))] ==
            column_of_track.at(pair.second)) {
            matches += frames;
        }
    }
    return matches;
}

}  // namespace

double box_overlap(const PixelBox& a, const PixelBox& b) {
    const auto edges = [](const PixelBox& box) {
        return BoxEdges<double>{static_cast<double>(box.x), static_cast<double>(box.y),
                                static_cast<double>(box.x) + box.w,
                                static_cast<double>(box.y) + box.h};
    };
    return intersection_over_union(edges(a), edges(b));
}

double DetectionScore::recall() const {
    return share_of(found, truths);
}

double DetectionScore::precision() const {
    return share_of(found, found + false_boxes);
}

void DetectionMeter::add_frame(const std::vector<TruePerson>& people,
                               const std::vector<PixelBox>& boxes) {
    const std::vector<int> match =
        match_boxes(people, boxes, std::vector<int>(people.size(), kNone));
    for (std::size_t p = 0; p < people.size(); ++p) {
        if (!people[p].clear) continue;
        ++score_.truths;
        if (match[p] != kNone) ++score_.found;
    }
    score_.false_boxes += count_false(people, boxes, match);
}

double TrackingScore::mota() const {
    return 1.0 - share_of(misses + false_boxes + switches, truths);
}

double TrackingScore::idf1() const {
    return share_of(2 * identity_matches, truths + reported);
}

std::map<int, int> TrackingMeter::add_frame(const std::vector<TruePerson>& people,
                                            const std::vector<TrackedBox>& tracks) {
    ++frame_;
    for (const TruePerson& person : people)
        person_seen_[person.id] = frame_;
    std::vector<PixelBox> boxes;
    for (const TrackedBox& track : tracks) {
        boxes.push_back(track.box);
        track_seen_[track.id] = frame_;
    }
    std::vector<int> kept(people.size(), kNone);
    for (std::size_t p = 0; p < people.size(); ++p) {
        const auto previous = current_track_.find(people[p].id);
        if (previous == current_track_.end()) continue;
        const auto track = std::find_if(tracks.begin(), tracks.end(), [&](const TrackedBox& t) {
            return t.id == previous->second;
        });
        if (track != tracks.end() && box_overlap(people[p].box, track->box) >= kMatchIou) {
            kept[p] = static_cast<int>(track - tracks.begin());
        }
    }
    const std::vector<int> match = match_boxes(people, boxes, std::move(kept));
    current_track_.clear();
    for (std::size_t p = 0; p < people.size(); ++p) {
        const TruePerson& person = people[p];
        if (person.clear) ++score_.truths;
        if (match[p] == kNone) {
            if (person.clear) ++score_.misses;
            continue;
        }
        const int track = tracks[static_cast<std::size_t>(match[p])].id;
        current_track_[person.id] = track;
        const auto last = last_track_.find(person.id);
        if (last != last_track_.end() && last->second != track) ++score_.switches;
        last_track_[person.id] = track;
        if (!person.clear) continue;
        ++score_.reported;
        ++together_[{person.id, track}];
    }
    const std::int64_t false_boxes = count_false(people, boxes, match);
    score_.false_boxes += false_boxes;
    score_.reported += false_boxes;
    if (frame_ % memory_frames_ == 0) settle_gone();
    return current_track_;
}

TrackingScore TrackingMeter::score() const {
    TrackingScore result = score_;
    result.identity_matches += best_naming(together_);
    return result;
}

// A pair holds both of its members back if either was seen recently, and so on through the group:
// what is held back grows until nothing changes.
void TrackingMeter::settle_gone() {
    const auto gone = [this](std::int64_t seen) { return seen + memory_frames_ < frame_; };
    std::set<int> people;  // held back
    std::set<int> tracks;
    for (const auto& [person, seen] : person_seen_)
        if (!gone(seen)) people.insert(person);
    for (const auto& [track, seen] : track_seen_)
        if (!gone(seen)) tracks.insert(track);
    for (bool grown = true; grown;) {
        grown = false;
        for (const auto& [pair, frames] : together_) {
            if (people.contains(pair.first)) grown = tracks.insert(pair.second).second || grown;
            if (tracks.contains(pair.second)) grown = people.insert(pair.first).second || grown;
        }
    }
    Together settled;
    std::erase_if(together_, [&](const auto& entry) {
        if (people.contains(entry.first.first)) return false;
        settled.insert(entry);
        return true;
    });
    score_.identity_matches += best_naming(settled);
    std::erase_if(person_seen_, [&](const auto& entry) { return !people.contains(entry.first); });
    std::erase_if(track_seen_, [&](const auto& entry) { return !tracks.contains(entry.first); });
    std::erase_if(last_track_, [&](const auto& entry) { return !people.contains(entry.first); });
}

}  // namespace host
