// Who keeps a slot, who gets one, and which are clean.
#include "host/engine/place_slots.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace host {
namespace {

bool same_points(const std::vector<PicturePoint>& a, const std::vector<PicturePoint>& b) {
    return std::equal(
        a.begin(), a.end(), b.begin(), b.end(), [](const PicturePoint& p, const PicturePoint& q) {
            return std::lround(p.x) == std::lround(q.x) && std::lround(p.y) == std::lround(q.y);
        });
}

bool same(const CountingLine& a, const CountingLine& b) {
    return a.name == b.name && same_points(a.points, b.points) &&
           a.uturn_filter == b.uturn_filter && same_points(a.uturn_area, b.uturn_area) &&
           a.flip == b.flip;
}

bool same(const CountingRegion& a, const CountingRegion& b) {
    return a.name == b.name && same_points(a.points, b.points);
}

template <typename Place>
std::vector<std::string> names_of(const std::vector<Place>& places) {
    std::vector<std::string> names;
    for (const Place& place : places)
        names.push_back(place.name);
    return names;
}

// After these a track remembers something of the line.
bool leaves_side(const Decision& decision) {
    switch (decision.kind) {
        case VCA_DECISION_NEAR_LINE:
            return decision.detail == 1;  // across it
        case VCA_DECISION_CROSSED:
        case VCA_DECISION_SAME_SIDE:
        case VCA_DECISION_WAITS:
        case VCA_DECISION_COUNTED:
            return true;
        default:
            return false;
    }
}

}  // namespace

PlaceSlots::PlaceSlots(const std::vector<CountingLine>& lines,
                       const std::vector<CountingRegion>& regions)
    : lines_in_force_(lines), regions_in_force_(regions) {
    lines_in_force_.resize(VCA_LINE_NUM);
    regions_in_force_.resize(VCA_RGN_NUM);
    for (std::size_t i = 0; i < lines.size(); ++i)
        line_traces_.at(i).unused = false;
    for (std::size_t i = 0; i < regions.size(); ++i)
        region_traces_.at(i).unused = false;
}

// What stays keeps its slot and is wanted no more; what goes leaves its name.
template <typename Place, std::size_t kSize>
void PlaceSlots::take_out(std::vector<Place>& in_force, std::vector<Place>& wanted,
                          std::array<Traces, kSize>& traces) {
    for (std::size_t slot = 0; slot < kSize; ++slot) {
        Place& place = in_force[slot];
        if (place.points.empty()) continue;
        const auto kept = std::find_if(wanted.begin(), wanted.end(),
                                       [&](const Place& each) { return same(each, place); });
        if (kept != wanted.end()) {
            place = std::move(*kept);  // its directions may be called otherwise
            wanted.erase(kept);
            continue;
        }
        Place left;
        left.name = place.name;
        place = left;
        traces[slot].parked = false;
    }
}

template <typename Place, std::size_t kSize>
bool PlaceSlots::put_in(std::vector<Place>& in_force, std::vector<Place>& waiting,
                        std::array<Traces, kSize>& traces) {
    bool any = false;
    for (std::size_t slot = 0; slot < kSize && !waiting.empty(); ++slot) {
        if (!in_force[slot].points.empty() || !traces[slot].is_clean()) continue;
        in_force[slot] = waiting.front();
        waiting.erase(waiting.begin());
        traces[slot].unused = false;
        any = true;
    }
    return any;
}

template <typename Place, std::size_t kSize>
bool PlaceSlots::has_room(const std::vector<Place>& in_force, const std::vector<Place>& waiting,
                          const std::array<Traces, kSize>& traces) {
    if (waiting.empty()) return false;
    for (std::size_t slot = 0; slot < kSize; ++slot)
        if (in_force[slot].points.empty() && traces[slot].is_clean()) return true;
    return false;
}

void PlaceSlots::want(std::vector<CountingLine> lines, std::vector<CountingRegion> regions) {
    waiting_lines_ = std::move(lines);
    waiting_regions_ = std::move(regions);
    take_out(lines_in_force_, waiting_lines_, line_traces_);
    take_out(regions_in_force_, waiting_regions_, region_traces_);
    settle();
}

bool PlaceSlots::settle() {
    const bool lines = put_in(lines_in_force_, waiting_lines_, line_traces_);
    return put_in(regions_in_force_, waiting_regions_, region_traces_) || lines;
}

bool PlaceSlots::could_settle() const {
    return has_room(lines_in_force_, waiting_lines_, line_traces_) ||
           has_room(regions_in_force_, waiting_regions_, region_traces_);
}

std::vector<std::string> PlaceSlots::waiting_lines() const {
    return names_of(waiting_lines_);
}

std::vector<std::string> PlaceSlots::waiting_regions() const {
    return names_of(waiting_regions_);
}

void PlaceSlots::on_event(const Event& event) {
    if (const auto* decision = std::get_if<Decision>(&event.payload)) note(*decision);
}

void PlaceSlots::note(const Decision& decision) {
    const Track track{decision.list, decision.track};
    if (decision.kind == VCA_DECISION_ENDED) {
        for (Traces& traces : line_traces_)
            traces.sides.erase(track);
        return;
    }
    if (decision.place < 0 || decision.place >= VCA_LINE_NUM) return;
    Traces& traces = line_traces_.at(static_cast<std::size_t>(decision.place));
    if (leaves_side(decision)) traces.sides.insert(track);
    if (decision.kind == VCA_DECISION_COUNTED && decision.value >= 0.0f)
        traces.groups.insert(static_cast<int>(decision.value));
    if (decision.kind == VCA_DECISION_GROUP_CLOSED) traces.groups.erase(decision.detail);
}

void PlaceSlots::end_frame(const PassReport&) {
    const auto pass = [](const auto& in_force, auto& all) {
        for (std::size_t slot = 0; slot < all.size(); ++slot)
            if (in_force[slot].points.empty()) all[slot].parked = true;
    };
    pass(lines_in_force_, line_traces_);
    pass(regions_in_force_, region_traces_);
}

}  // namespace host
